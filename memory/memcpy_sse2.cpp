// memory/memcpy_sse2.cpp: memcpy_fast for SSE2, 64 bytes a step past the caches.
#include "memory/memcpy.h"

// head  bytes until src, and dst with it, is 16-byte aligned
// bulk  64 bytes: four streaming loads (SSE4.1), four streaming stores; no fence after the last
// tail  up to 63 bytes
DEMANDS_SSE41 void memcpy_fast_sse2(void* to, const void* from, size_t n)
{
    char* dst = static_cast<char*>(to);
    const char* src = static_cast<const char*>(from);
    if (!same_offset<16>(dst, src)) {
        memcpy(dst, src, n);
        return;
    }

    const std::size_t head = head_bytes<16>(src, n);
    copy_small(dst, src, head);
    dst += head;
    src += head;
    n -= head;

    for (; n >= 64; n -= 64, dst += 64, src += 64) {
        const auto* in = reinterpret_cast<const __m128i*>(src);
        auto* out = reinterpret_cast<__m128i*>(dst);
        const __m128i b0 = stream_load(in);
        const __m128i b1 = stream_load(in + 1);
        const __m128i b2 = stream_load(in + 2);
        const __m128i b3 = stream_load(in + 3);
        stream_store(out, b0);
        stream_store(out + 1, b1);
        stream_store(out + 2, b2);
        stream_store(out + 3, b3);
    }

    copy_small(dst, src, n);
}
