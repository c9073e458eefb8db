// tools/waterfall/unpack.h: samples of any format to doubles.
#ifndef WATERFALL_UNPACK_H
#define WATERFALL_UNPACK_H

#include "waterfall/format.h"
#include "waterfall/timings.h"

#include <cstddef>
#include <cstdint>

namespace waterfall {

/// Real numbers in a sample.
inline std::size_t parts_of(Format format) { return is_complex(format) ? 2 : 1; }

/// Quantisation of the integer formats: value = code * step + offset, full scale 1;
/// codes are those of a prepared block.
struct Scale {
    double step, offset;
};
Scale scale_of(Format format);

/// What stands between reading and all else: the codes of cs8 and s8 get their sign bit flipped, in
/// place, since the kernels take unsigned bytes. Other formats stay as they are.
void prepare(Format format, void* block, std::size_t samples);

/// Writes samples * parts_of(format) doubles; what was interleaved stays interleaved. Both buffers
/// start on 64-byte boundaries; the block is prepared.
void unpack(Format format, const void* block, std::size_t samples, double* out, Timings& timings);

} // namespace waterfall

#endif // WATERFALL_UNPACK_H
