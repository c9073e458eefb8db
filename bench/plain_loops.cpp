// bench/plain_loops.cpp: every kernel as a plain loop, in the style that a user would write it.
// Compiled at -O3 with the vectorizer at work, by g++ and clang++, with and without -ffast-math, once
// per instruction set; PLAIN names the result.
#include "bench/plain.h"

#include <cfloat>
#include <cmath>
#include <cstring>

namespace {

void fill_loop(float* dst, size_t n, float value)
{
    for (size_t i = 0; i < n; ++i)
        dst[i] = value;
}

void copy_loop(void* dst, const void* src, size_t n)
{
    auto* to = static_cast<char*>(dst);
    const auto* from = static_cast<const char*>(src);
    for (size_t i = 0; i < n; ++i)
        to[i] = from[i];
}

void swap_loop(const uint32_t* src, size_t n, uint32_t* dst)
{
    for (size_t i = 0; i < n; ++i)
        dst[i] = src[i] << 16 | src[i] >> 16;
}

template <class T>
T min_loop(const T* p, size_t n)
{
    T m = p[0];
    for (size_t i = 1; i < n; ++i)
        m = p[i] < m ? p[i] : m;
    return m;
}

template <class T>
T max_loop(const T* p, size_t n)
{
    T m = p[0];
    for (size_t i = 1; i < n; ++i)
        m = p[i] > m ? p[i] : m;
    return m;
}

template <class T>
void minmax_loop(const T* p, size_t n, T* min, T* max)
{
    T low = p[0];
    T high = p[0];
    for (size_t i = 1; i < n; ++i) {
        low = p[i] < low ? p[i] : low;
        high = p[i] > high ? p[i] : high;
    }
    *min = low;
    *max = high;
}

template <class T, class U, int codes, bool centred>
void pack_loop(const T* src, size_t n, U* dst, T* step, T* offset)
{
    T low;
    T high;
    minmax_loop(src, n, &low, &high);
    const T unit = (high - low) / T(codes);
    const T origin = centred ? ((low + high) + unit) * T(0.5) : low;
    const T scale = T(1) / unit;
    *step = unit;
    *offset = origin;
    for (size_t i = 0; i < n; ++i)
        dst[i] = static_cast<U>(static_cast<int32_t>((src[i] - origin) * scale));
}

template <class U, class T>
void unpack_loop(const U* src, size_t n, T* dst, T step, T offset)
{
    for (size_t i = 0; i < n; ++i)
        dst[i] = static_cast<T>(src[i]) * step + offset;
}

void unpack_alt_loop(const int16_t* src, size_t n, double* dst0, double* dst1, double scale,
                     double offset)
{
    for (size_t i = 0; i < n; ++i) {
        dst0[i] = src[2 * i] * scale + offset;
        dst1[i] = src[2 * i + 1] * scale + offset;
    }
}

void unpack_cmb_loop(const int16_t* src0, const int16_t* src1, size_t n, double* dst, double scale,
                     double offset)
{
    for (size_t i = 0; i < n; ++i) {
        dst[2 * i] = src0[i] * scale + offset;
        dst[2 * i + 1] = src1[i] * scale + offset;
    }
}

template <class T>
T avg_loop(const T* x, size_t n)
{
    T sum = 0;
    for (size_t i = 0; i < n; ++i)
        sum += x[i];
    return sum / static_cast<T>(n);
}

template <class T>
T avg_lvl_loop(const T* x, size_t n, T level)
{
    T sum = 0;
    size_t count = 0;
    for (size_t i = 0; i < n; ++i)
        if (x[i] <= level) {
            sum += x[i];
            ++count;
        }
    return count == 0 ? T(0) : sum / static_cast<T>(count);
}

uint64_t avg_abs_loop(const int16_t* x, size_t n)
{
    uint64_t total = 0;
    for (size_t i = 0; i < n; ++i)
        total += static_cast<uint64_t>(x[i] < 0 ? -x[i] : x[i]);
    return n == 0 ? 0 : total / n;
}

template <class T>
void minmaxmed_loop(const T* p, size_t n, T* min, T* max, T* mean)
{
    T low = p[0];
    T high = p[0];
    T sum = 0;
    for (size_t i = 0; i < n; ++i) {
        low = p[i] < low ? p[i] : low;
        high = p[i] > high ? p[i] : high;
        sum += p[i];
    }
    *min = low;
    *max = high;
    *mean = sum / static_cast<T>(n);
}

template <class T>
void max_array_loop(T* dst, const T* src, size_t n)
{
    for (size_t i = 0; i < n; ++i)
        dst[i] = src[i] > dst[i] ? src[i] : dst[i];
}

template <class T>
void mult_loop(T* dst, const T* a, const T* b, size_t n)
{
    for (size_t i = 0; i < n; ++i)
        dst[i] = a[i] * b[i];
}

void mult_add_loop(float* x, size_t n, float scale, float offset)
{
    for (size_t i = 0; i < n; ++i)
        x[i] = x[i] * scale + offset;
}

void mix_loop(const double* re, const double* im, size_t n, double* out)
{
    for (size_t i = 0; i < n; ++i) {
        out[2 * i] = re[i];
        out[2 * i + 1] = im[i];
    }
}

template <class T>
void fft_abs_loop(const T* in, size_t n, T* out)
{
    const size_t half = n / 2;
    for (size_t i = 0; i < half; ++i)
        out[half + i] = in[2 * i] * in[2 * i] + in[2 * i + 1] * in[2 * i + 1];
    for (size_t i = half; i < 2 * half; ++i)
        out[i - half] = in[2 * i] * in[2 * i] + in[2 * i + 1] * in[2 * i + 1];
}

void spec_log_f32_loop(const float* in, size_t n, float* out, float offset)
{
    for (size_t i = 0; i < n; ++i)
        out[i] = std::log10(in[i] > FLT_MIN ? in[i] : FLT_MIN) * 10.0F - offset;
}

void spec_log_f64_loop(const double* in, size_t n, double* out, double offset)
{
    for (size_t i = 0; i < n; ++i)
        out[i] = std::log10(in[i] > DBL_MIN ? in[i] : DBL_MIN) * 10.0 - offset;
}

template <class T>
void fir_step_loop(const T* re, const T* im, const T* taps, size_t n, T* out_re, T* out_im)
{
    T sum_re = 0;
    T sum_im = 0;
    for (size_t i = 0; i < n; ++i) {
        sum_re += re[i] * taps[i];
        sum_im += im[i] * taps[i];
    }
    *out_re = sum_re;
    *out_im = sum_im;
}

template <class S>
void fir_loop(const S* in, uint64_t count, const double* taps, uint64_t last, int64_t* pos,
              double* hist_re, double* hist_im, double* out, double scale, double offset)
{
    int64_t p = *pos;
    for (uint64_t k = 0; k < count; ++k) {
        hist_re[p] = static_cast<double>(in[2 * k]) * scale + offset;
        hist_im[p] = static_cast<double>(in[2 * k + 1]) * scale + offset;
        const size_t newer = last + 1 - static_cast<uint64_t>(p);
        double re[2];
        double im[2];
        fir_step_loop(hist_re + p, hist_im + p, taps, newer, re, im);
        fir_step_loop(hist_re, hist_im, taps + newer, static_cast<size_t>(p), re + 1, im + 1);
        out[2 * k] = re[0] + re[1];
        out[2 * k + 1] = im[0] + im[1];
        p = p == 0 ? static_cast<int64_t>(last) : p - 1;
    }
    *pos = p;
}

template <class S>
void fir_plain_loop(const S* in, uint64_t count, const double* taps, uint64_t last, int64_t* pos,
                    double* hist_re, double* hist_im, double* out)
{
    fir_loop(in, count, taps, last, pos, hist_re, hist_im, out, 1.0, 0.0);
}

template <class T>
void iir1_loop(const T* x, size_t n, T* y, T a)
{
    for (size_t i = 0; i < n; ++i)
        y[i] = (x[i] - y[i]) * a + y[i];
}

template <class T>
void vfilter_loop(const T* x, int32_t n, const T* taps, int32_t len, T* y)
{
    const int32_t half = len >> 1;
    for (int32_t i = 0; i < n; ++i) {
        T sum = 0;
        if (i >= half && i < n - half) {
            for (int32_t k = 0; k <= 2 * half; ++k)
                sum += x[i - half + k] * taps[k];
        } else {
            for (int32_t k = 0; k <= 2 * half; ++k) {
                const int32_t at = i - half + k;
                sum += x[at < 0 ? 0 : at >= n ? n - 1 : at] * taps[k];
            }
        }
        y[i] = sum;
    }
}

float vfilter2_loop(const float* x, const float* w, size_t n, float c)
{
    float num = 0;
    float den = 0;
    for (size_t i = 0; i < n; ++i) {
        const float d = (x[i] - c) * 0.15F;
        const float g = std::exp(-d * d) * w[i];
        num += x[i] * g;
        den += g;
    }
    return num / den;
}

} // namespace

extern const PlainLoops PLAIN;
const PlainLoops PLAIN = {
    .fill_f32 = fill_loop,
    .memcpy_fast = copy_loop,
    .swap_words_u32 = swap_loop,
    .pack_f32_u8 = pack_loop<float, uint8_t, 255, false>,
    .pack_f32_s16 = pack_loop<float, int16_t, 65535, true>,
    .pack_f64_u8 = pack_loop<double, uint8_t, 255, false>,
    .pack_f64_s16 = pack_loop<double, int16_t, 65535, true>,
    .pack_f64_u16 = pack_loop<double, uint16_t, 65535, false>,
    .unpack_u8_f32 = unpack_loop<uint8_t, float>,
    .unpack_s16_f32 = unpack_loop<int16_t, float>,
    .unpack_u8_f64 = unpack_loop<uint8_t, double>,
    .unpack_s16_f64 = unpack_loop<int16_t, double>,
    .unpack_u16_f64 = unpack_loop<uint16_t, double>,
    .unpack_alt_s16_f64 = unpack_alt_loop,
    .unpack_cmb_s16_f64 = unpack_cmb_loop,
    .min_u8 = min_loop<uint8_t>,
    .max_u8 = max_loop<uint8_t>,
    .min_s16 = min_loop<int16_t>,
    .max_s16 = max_loop<int16_t>,
    .minmax_s16 = minmax_loop<int16_t>,
    .min_f32 = min_loop<float>,
    .max_f32 = max_loop<float>,
    .minmax_f32 = minmax_loop<float>,
    .min_f64 = min_loop<double>,
    .max_f64 = max_loop<double>,
    .minmax_f64 = minmax_loop<double>,
    .avg_f32 = avg_loop<float>,
    .avg_f64 = avg_loop<double>,
    .avg_lvl_f32 = avg_lvl_loop<float>,
    .avg_lvl_f64 = avg_lvl_loop<double>,
    .avg_abs_s16 = avg_abs_loop,
    .minmaxmed_f32 = minmaxmed_loop<float>,
    .minmaxmed_f64 = minmaxmed_loop<double>,
    .max_array_f32 = max_array_loop<float>,
    .max_array_f64 = max_array_loop<double>,
    .mult_f32 = mult_loop<float>,
    .mult_f64 = mult_loop<double>,
    .mult_add_f32 = mult_add_loop,
    .mix_f64 = mix_loop,
    .fft_abs_f32 = fft_abs_loop<float>,
    .fft_abs_f64 = fft_abs_loop<double>,
    .spec_log_f32 = spec_log_f32_loop,
    .spec_log_f64 = spec_log_f64_loop,
    .fir_step_c32 = fir_step_loop<float>,
    .fir_step_c64 = fir_step_loop<double>,
    .iir1_f32 = iir1_loop<float>,
    .iir1_f64 = iir1_loop<double>,
    .vfilter_f32 = vfilter_loop<float>,
    .vfilter_f64 = vfilter_loop<double>,
    .vfilter2_chunk = vfilter2_loop,
    .fir_c16_alt = fir_loop<int16_t>,
    .fir_c32_alt = fir_plain_loop<float>,
    .fir_c64_alt = fir_plain_loop<double>,
};
