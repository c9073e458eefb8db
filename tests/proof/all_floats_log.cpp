// tests/proof/all_floats_log.cpp: the logarithm is read off directly: arrays of floats, offset +0.
#include "models/spec_log.h"
#include "proof/all_floats.h"

namespace all_floats {

void log_chunk(std::size_t chunk, Shared& shared)
{
    constexpr std::size_t n = 4096;
    alignas(64) static float in[n];
    alignas(64) static float out[2][n];
    spec_log_f32_fn* const kernels[2] = {KERNEL(rig::at(rig::Level::sse2), spec_log_f32),
                                         KERNEL(rig::at(rig::Level::avx2), spec_log_f32)};
    Hash hash[2];
    for (std::uint64_t first = chunk * chunk_floats; first < (chunk + 1) * chunk_floats;
         first += n) {
        for (std::size_t i = 0; i < n; ++i)
            in[i] = model::from_bits<float>(static_cast<std::uint32_t>(first + i));
        for (std::size_t k = 0; k < 2; ++k)
            kernels[k](in, n, out[k], 0.0F);
        for (std::size_t i = 0; i < n; ++i) {
            const float want = spec_log::block_model(in[i], 0.0F);
            for (std::size_t k = 0; k < 2; ++k) {
                hash[k].take(out[k][i]);
                if (rig::bits_of(out[k][i]) != rig::bits_of(want))
                    shared.differs(names[k], rig::bits_of(in[i]), want, out[k][i]);
            }
        }
    }
    for (std::size_t k = 0; k < 2; ++k)
        shared.hash[k][chunk] = hash[k].state();
}

} // namespace all_floats
