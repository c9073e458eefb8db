// VOLK: one tuned loop per operation, chosen by the processor. What takes several of them is called
// as a user would, with scratch arrays in between.
#include "bench/peers.h"
#include "libsimd.h"

#include <algorithm>
#include <volk/volk.h>

namespace bench {
namespace {

unsigned count(std::size_t n) { return static_cast<unsigned>(n); }

/// Scratch from VOLK's own allocator, which aligns as its kernels like it.
float* scratch(std::size_t n)
{
    struct Memory {
        float* data = nullptr;
        std::size_t size = 0;
        Memory() = default;
        Memory(const Memory&) = delete;
        Memory& operator=(const Memory&) = delete;
        ~Memory() { volk_free(data); }
    };
    thread_local Memory memory;
    if (memory.size < n) {
        volk_free(memory.data);
        memory.data = static_cast<float*>(volk_malloc(n * sizeof(float), volk_get_alignment()));
        memory.size = n;
    }
    return memory.data;
}

void mult_f32_volk(float* dst, const float* a, const float* b, std::size_t n)
{
    volk_32f_x2_multiply_32f(dst, a, b, count(n));
}
void mult_f64_volk(double* dst, const double* a, const double* b, std::size_t n)
{
    volk_64f_x2_multiply_64f(dst, a, b, count(n));
}
void mult_add_volk(float* x, std::size_t n, float scale, float offset)
{
    volk_32f_s32f_multiply_32f(x, x, scale, count(n));
    volk_32f_s32f_add_32f(x, x, offset, count(n));
}
void max_array_f32_volk(float* dst, const float* src, std::size_t n)
{
    volk_32f_x2_max_32f(dst, src, dst, count(n));
}
void max_array_f64_volk(double* dst, const double* src, std::size_t n)
{
    volk_64f_x2_max_64f(dst, src, dst, count(n));
}

float min_volk(const float* p, std::size_t n)
{
    std::uint32_t at = 0;
    volk_32f_index_min_32u(&at, p, count(n));
    return p[at];
}
float max_volk(const float* p, std::size_t n)
{
    std::uint32_t at = 0;
    volk_32f_index_max_32u(&at, p, count(n));
    return p[at];
}
void minmax_volk(const float* p, std::size_t n, float* min, float* max)
{
    *min = min_volk(p, n);
    *max = max_volk(p, n);
}
float avg_volk(const float* x, std::size_t n)
{
    float sum = 0;
    volk_32f_accumulator_s32f(&sum, x, count(n));
    return sum / static_cast<float>(n);
}

void unpack_volk(const std::int16_t* src, std::size_t n, float* dst, float step, float offset)
{
    volk_16i_s32f_convert_32f(dst, src, 1.0F / step, count(n));
    volk_32f_s32f_add_32f(dst, dst, offset, count(n));
}
void pack_volk(const float* src, std::size_t n, std::int16_t* dst, float* step, float* mid)
{
    float low;
    float high;
    minmax_volk(src, n, &low, &high);
    *step = (high - low) / 65535.0F;
    *mid = ((low + high) + *step) * 0.5F;
    float* moved = scratch(n);
    volk_32f_s32f_add_32f(moved, src, -*mid, count(n));
    volk_32f_s32f_convert_16i(dst, moved, 1.0F / *step, count(n));
}

void power_volk(const float* in, std::size_t n, float* out)
{
    const auto* x = reinterpret_cast<const lv_32fc_t*>(in);
    volk_32fc_magnitude_squared_32f(out + n / 2, x, count(n / 2));
    volk_32fc_magnitude_squared_32f(out, x + n / 2, count(n / 2));
}
void log_volk(const float* in, std::size_t n, float* out, float offset)
{
    volk_32f_log2_32f(out, in, count(n));
    volk_32f_s32f_multiply_32f(out, out, 3.0103F, count(n)); // 10 * log10(2)
    volk_32f_s32f_add_32f(out, out, -offset, count(n));
}
void fir_step_volk(const float* re, const float* im, const float* taps, std::size_t n,
                   float* out_re, float* out_im)
{
    volk_32f_x2_dot_prod_32f(out_re, re, taps, count(n));
    volk_32f_x2_dot_prod_32f(out_im, im, taps, count(n));
}

} // namespace

PeerList volk_peers()
{
    const auto any = Needs::nothing;
    const char* const own = "VOLK";
    const Tolerance sums{.units = 4, .root_n = 4};
    static const Peer rows[] = {
        BENCH_PEER(mult_f32, own, mult_f32_volk, "32f_x2_multiply", "", {}, any),
        BENCH_PEER(mult_f64, own, mult_f64_volk, "64f_x2_multiply", "", {}, any),
        BENCH_PEER(mult_add_f32, own, mult_add_volk, "32f_s32f_multiply, 32f_s32f_add",
                   "two passes", {}, any),
        BENCH_PEER(max_array_f32, own, max_array_f32_volk, "32f_x2_max",
                   "NaN and signed zeros by the processor's maximum", {}, any),
        BENCH_PEER(max_array_f64, own, max_array_f64_volk, "64f_x2_max",
                   "NaN and signed zeros by the processor's maximum", {}, any),
        BENCH_PEER(min_f32, own, min_volk, "32f_index_min", "finds the place too; NaN unspecified",
                   {}, any),
        BENCH_PEER(max_f32, own, max_volk, "32f_index_max", "finds the place too; NaN unspecified",
                   {}, any),
        BENCH_PEER(minmax_f32, own, minmax_volk, "32f_index_min, 32f_index_max",
                   "two passes; finds the places too; NaN unspecified", {}, any),
        BENCH_PEER(avg_f32, own, avg_volk, "32f_accumulator", "sums in an order of its own", sums,
                   any),
        BENCH_PEER(unpack_s16_f32, own, unpack_volk, "16i_s32f_convert_32f, 32f_s32f_add",
                   "two passes; multiplies by 1 / (1 / step)", {.units = 4}, any),
        BENCH_PEER(pack_f32_s16, own, pack_volk,
                   "32f_index_min, 32f_index_max, 32f_s32f_add, 32f_s32f_convert_16i",
                   "four passes; NaN unspecified", (Tolerance{.units = 8, .codes = 1}), any),
        BENCH_PEER(fft_abs_f32, own, power_volk, "32fc_magnitude_squared",
                   "true powers at every level, where ours are irregular", {.units = 4}, any),
        BENCH_PEER(spec_log_f32, own, log_volk, "32f_log2, 32f_s32f_multiply, 32f_s32f_add",
                   "three passes; shorter polynomial; no floor for 0 and below", {.absolute = 5e-3},
                   any),
        BENCH_PEER(fir_step_c32, own, fir_step_volk, "32f_x2_dot_prod (twice)",
                   "sums in an order of its own, fused products; two passes over the taps", sums,
                   Needs::alignment),
    };
    return {rows, std::size(rows)};
}

} // namespace bench
