#include "bench/chain_others.h"

namespace bench {

std::vector<Complex> complex_samples(std::size_t n)
{
    std::vector<Complex> in(n);
    for (std::size_t i = 0; i < n; ++i)
        in[i] = {static_cast<float>(sample(2 * i)), static_cast<float>(sample(2 * i + 1))};
    return in;
}

std::vector<float> real_samples(std::size_t n)
{
    std::vector<float> in(n);
    for (std::size_t i = 0; i < n; ++i)
        in[i] = static_cast<float>(sample(i));
    return in;
}

std::vector<double> parts(const Complex* values, std::size_t n)
{
    std::vector<double> list;
    for (std::size_t i = 0; i < n; ++i) {
        list.push_back(static_cast<double>(values[i].real()));
        list.push_back(static_cast<double>(values[i].imag()));
    }
    return list;
}

std::vector<Work> fir_of_others([[maybe_unused]] std::size_t samples,
                                [[maybe_unused]] std::size_t taps)
{
    return {
#ifdef BENCH_HAVE_VOLK
        volk_fir(samples, taps),
#endif
#ifdef BENCH_HAVE_LIQUID
        liquid_fir(samples, taps),
#endif
    };
}

std::vector<Work> smoothing_of_others([[maybe_unused]] std::size_t samples,
                                      [[maybe_unused]] std::size_t taps)
{
    return {
#ifdef BENCH_HAVE_VOLK
        volk_smoothing(samples, taps),
#endif
#ifdef BENCH_HAVE_LIQUID
        liquid_smoothing(samples, taps),
#endif
    };
}

std::vector<Work> quantising_of_others([[maybe_unused]] std::size_t samples)
{
    return {
#ifdef BENCH_HAVE_VOLK
        volk_quantising(samples),
#endif
    };
}

std::vector<Work> whole_of_others([[maybe_unused]] std::size_t samples)
{
    return {
#ifdef BENCH_HAVE_VOLK
        volk_whole(samples),
#endif
    };
}

std::vector<Work> waterfall_of_others([[maybe_unused]] std::size_t samples)
{
    return
    {
#if defined(BENCH_HAVE_VOLK) && defined(BENCH_HAVE_WATERFALL)
        volk_waterfall(samples),
#endif
    };
}

std::vector<ChainPeer> chain_peers()
{
    return {
#ifdef BENCH_HAVE_VOLK
        {"fir_c32_alt", "VOLK", "32fc_32f_dot_prod a sample",
         "single precision throughout; history before the block instead of a ring"},
        {"vfilter_f32", "VOLK", "32f_x2_dot_prod an output",
         "the ends are replicated into a copy; fused products"},
        {"quantise f32 to s16", "VOLK", "as in pack_f32_s16 and unpack_s16_f32", "seven passes"},
        {"whole chain", "VOLK", "all of these, 32fc_magnitude_squared, 32f_log2",
         "single precision throughout"},
#ifdef BENCH_HAVE_WATERFALL
        {"simd-waterfall", "VOLK", "a pass for each step, FFTW",
         "single precision throughout; no levels of the samples; rows in whole decibels"},
#endif
#endif
#ifdef BENCH_HAVE_LIQUID
        {"fir_c32_alt", "liquid-dsp", "firfilt_crcf_execute_block", "single precision throughout"},
        {"vfilter_f32", "liquid-dsp", "firfilt_rrrf_execute_block",
         "the ends are replicated into a copy"},
#endif
    };
}

} // namespace bench
