#include "bench/peers.h"

#include "bench/library.h"
#include "libsimd.h"

#include <cstring>
#include <cwchar>

namespace bench {
namespace {

void memcpy_of_libc(void* dst, const void* src, std::size_t n) { std::memcpy(dst, src, n); }

void wmemset_of_libc(float* dst, std::size_t n, float value)
{
    static_assert(sizeof(wchar_t) == sizeof(float));
    wchar_t word;
    std::memcpy(&word, &value, sizeof word);
    std::wmemset(reinterpret_cast<wchar_t*>(dst), word, n);
}

} // namespace

PeerList glibc_peers()
{
    static const Peer rows[] = {
        BENCH_PEER(memcpy_fast, "glibc", memcpy_of_libc, "memcpy",
                   "goes through the caches up to its own threshold", {}, Needs::nothing),
        BENCH_PEER(fill_f32, "glibc", wmemset_of_libc, "wmemset", "", {}, Needs::nothing),
    };
    return {rows, std::size(rows)};
}

const std::vector<Peer>& peers()
{
    static const std::vector<Peer> all = [] {
        std::vector<Peer> list;
        const auto add = [&list](const PeerList& more) {
            list.insert(list.end(), more.rows, more.rows + more.count);
        };
        add(glibc_peers());
#ifdef BENCH_HAVE_VOLK
        add(volk_peers());
#endif
        if (!runs_here(Level::avx2))
            return list;
#ifdef BENCH_HAVE_HIGHWAY
        add(highway_peers());
#endif
#ifdef BENCH_HAVE_XSIMD
        add(xsimd_peers());
#endif
#ifdef BENCH_HAVE_EIGEN
        add(eigen_peers());
#endif
        return list;
    }();
    return all;
}

} // namespace bench
