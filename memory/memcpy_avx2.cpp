// memory/memcpy_avx2.cpp: memcpy_fast for AVX2, 64 bytes a step past the caches.
#include "memory/memcpy.h"

namespace {

/// Pinned: a compiler that sees no difference to a plain load makes it one.
SIMD_INLINE __m256i stream_load(const __m256i* in)
{
    __m256i r;
    asm("vmovntdqa %1, %0" : "=x"(r) : "m"(*in));
    return r;
}

} // namespace

// head  bytes until src, and dst with it, is 32-byte aligned
// bulk  64 bytes: two streaming loads, two streaming stores; no fence after the last
// tail  up to 63 bytes
void memcpy_fast_avx2(void* to, const void* from, size_t n)
{
    char* dst = static_cast<char*>(to);
    const char* src = static_cast<const char*>(from);
    if (!same_offset<32>(dst, src)) {
        _mm256_zeroupper();
        memcpy(dst, src, n);
        return;
    }

    const std::size_t head = head_bytes<32>(src, n);
    copy_small(dst, src, head);
    dst += head;
    src += head;
    n -= head;

    for (; n >= 64; n -= 64, dst += 64, src += 64) {
        const auto* in = reinterpret_cast<const __m256i*>(src);
        auto* out = reinterpret_cast<__m256i*>(dst);
        const __m256i b0 = stream_load(in);
        const __m256i b1 = stream_load(in + 1);
        _mm256_stream_si256(out, b0);
        _mm256_stream_si256(out + 1, b1);
    }
    _mm256_zeroupper();

    copy_small(dst, src, n);
}
