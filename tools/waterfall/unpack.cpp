#include "waterfall/unpack.h"

#include "libsimd.h"

#include <algorithm>

namespace waterfall {

Scale scale_of(Format format)
{
    switch (format) {
    case Format::cu8:
    case Format::u8:
        return {1.0 / 127.5, -1.0}; // zero lies between codes 127 and 128
    case Format::cs8:
    case Format::s8:
        return {1.0 / 128.0, -1.0}; // after prepare()
    case Format::cs16:
    case Format::s16:
        return {1.0 / 32768.0, 0.0};
    default:
        return {1.0, 0.0};
    }
}

void prepare(Format format, void* block, std::size_t samples)
{
    if (format != Format::cs8 && format != Format::s8)
        return;
    auto* const codes = static_cast<std::uint8_t*>(block);
    const std::size_t n = samples * parts_of(format);
    for (std::size_t i = 0; i < n; ++i)
        codes[i] = static_cast<std::uint8_t>(codes[i] ^ 0x80U);
}

// Interleaved samples are as many codes in a row: the one-channel kernels serve. Doubles from the
// start, since the power kernel that keeps every bin is double; unpack_s16_f64 also has a baseline,
// which unpack_s16_f32 has not.
void unpack(Format format, const void* block, std::size_t samples, double* out, Timings& timings)
{
    const std::size_t n = samples * parts_of(format);
    const Scale scale = scale_of(format);
    switch (format) {
    case Format::cs8:
    case Format::cu8:
    case Format::s8:
    case Format::u8: {
        const Timed timed(timings.kernels);
        unpack_u8_f64(static_cast<const std::uint8_t*>(block), n, out, scale.step, scale.offset);
        break;
    }
    case Format::cs16:
    case Format::s16: {
        const Timed timed(timings.kernels);
        unpack_s16_f64(static_cast<const std::int16_t*>(block), n, out, scale.step, scale.offset);
        break;
    }
    case Format::cf32:
    case Format::f32: // no kernel widens floats but the FIR
        std::copy_n(static_cast<const float*>(block), n, out);
        break;
    case Format::cf64:
    case Format::f64:
        std::copy_n(static_cast<const double*>(block), n, out);
        break;
    }
}

} // namespace waterfall
