// What simd-waterfall does by default, by VOLK and FFTW in single precision.
#include "bench/chain_volk.h"

#include <cmath>
#include <fftw3.h>
#include <memory>
#include <numbers>

namespace bench {
namespace {

constexpr std::size_t fft = 2048;
constexpr std::size_t hop = fft / 2;

std::vector<float> hann()
{
    std::vector<float> list(fft);
    for (std::size_t i = 0; i < fft; ++i)
        list[i] = static_cast<float>(
            (1 - std::cos(2 * std::numbers::pi * static_cast<double>(i) / fft)) / fft);
    return list;
}

/// Mean and peak power of each bin, and a row of codes for each frame.
class VolkWaterfall {
public:
    explicit VolkWaterfall(std::size_t n)
        : codes_(coded_samples(n)), line_(n), weights_(hann()), in_(fft), out_(fft), power_(fft),
          sum_(fft), peak_(fft), db_(fft), rows_((n / hop) * fft),
          plan_(fftwf_plan_dft_1d(fft, reinterpret_cast<fftwf_complex*>(in_.data()),
                                  reinterpret_cast<fftwf_complex*>(out_.data()), FFTW_FORWARD,
                                  FFTW_ESTIMATE))
    {
    }
    ~VolkWaterfall() { fftwf_destroy_plan(plan_); }
    VolkWaterfall(const VolkWaterfall&) = delete;
    VolkWaterfall& operator=(const VolkWaterfall&) = delete;

    void block()
    {
        volk_16i_s32f_convert_32f(reinterpret_cast<float*>(line_.data()), codes_.data(), 32768.0F,
                                  count(codes_.size()));
        std::fill_n(sum_.data(), fft, 0.0F);
        std::fill_n(peak_.data(), fft, 0.0F);
        frames_ = 0;
        for (std::size_t at = 0; at + fft <= line_.size(); at += hop)
            frame(line_.data() + at);
        volk_32f_s32f_multiply_32f(sum_.data(), sum_.data(), 1.0F / static_cast<float>(frames_),
                                   fft);
    }
    std::vector<double> spectrum()
    {
        std::vector<double> list;
        for (const Volk<float>* power : {&sum_, &peak_}) {
            decibels(power->data());
            list.insert(list.end(), db_.data(), db_.data() + fft);
        }
        return list;
    }

private:
    void frame(const Complex* samples)
    {
        volk_32fc_32f_multiply_32fc(in_.data(), samples, weights_.data(), fft);
        fftwf_execute(plan_);
        volk_32fc_magnitude_squared_32f(power_.data(), out_.data() + fft / 2, fft / 2);
        volk_32fc_magnitude_squared_32f(power_.data() + fft / 2, out_.data(), fft / 2);
        volk_32f_x2_add_32f(sum_.data(), sum_.data(), power_.data(), fft);
        volk_32f_x2_max_32f(peak_.data(), peak_.data(), power_.data(), fft);
        decibels(power_.data());
        volk_32f_s32f_convert_8i(rows_.data() + frames_ * fft, db_.data(), 1.0F, fft);
        ++frames_;
    }
    void decibels(const float* power)
    {
        volk_32f_log2_32f(db_.data(), power, fft);
        volk_32f_s32f_multiply_32f(db_.data(), db_.data(), 3.0103F, fft);
    }

    std::vector<std::int16_t> codes_;
    Volk<Complex> line_;
    Volk<float> weights_;
    Volk<Complex> in_, out_;
    Volk<float> power_, sum_, peak_, db_;
    Volk<std::int8_t> rows_;
    fftwf_plan plan_;
    std::size_t frames_ = 0;
};

} // namespace

Work volk_waterfall(std::size_t samples)
{
    const auto volk = std::make_shared<VolkWaterfall>(samples);
    return {"VOLK", 0.05, [volk] { volk->block(); }, [volk] { return volk->spectrum(); }};
}

} // namespace bench
