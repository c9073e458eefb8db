#include "bench/plain_builds.h"

#define EACH_SET(X) X(sse2) X(sse3) X(ssse3) X(sse41) X(avx) X(avx2)

#define DECLARE(set) extern const PlainLoops plain_gxx_##set, plain_gxx_fast_##set;
#ifdef BENCH_HAVE_GXX
EACH_SET(DECLARE)
#endif
#undef DECLARE
#define DECLARE(set) extern const PlainLoops plain_clangxx_##set, plain_clangxx_fast_##set;
#ifdef BENCH_HAVE_CLANGXX
EACH_SET(DECLARE)
#endif
#undef DECLARE

namespace bench {

const std::vector<PlainBuild>& plain_builds()
{
    using enum rig::Level;
    static const std::vector<PlainBuild> builds = {
#ifdef BENCH_HAVE_GXX
#define STRICT(set) {"g++", false, set, &plain_gxx_##set},
#define FAST(set) {"g++", true, set, &plain_gxx_fast_##set},
        EACH_SET(STRICT) EACH_SET(FAST)
#undef STRICT
#undef FAST
#endif
#ifdef BENCH_HAVE_CLANGXX
#define STRICT(set) {"clang++", false, set, &plain_clangxx_##set},
#define FAST(set) {"clang++", true, set, &plain_clangxx_fast_##set},
            EACH_SET(STRICT) EACH_SET(FAST)
#undef STRICT
#undef FAST
#endif
    };
    return builds;
}

const PlainLoops& plain_reference() { return *plain_builds().front().loops; }

} // namespace bench
