// memory/memcpy_avx2.cpp: memcpy_fast for AVX2, 64 bytes a step past the caches.
#include "memory/memcpy.h"

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
        stream_store(out, b0);
        stream_store(out + 1, b1);
    }
    _mm256_zeroupper();

    copy_small(dst, src, n);
}
