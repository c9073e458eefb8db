#include "rig/call.h"

#include "rig/gate.h"

#include <cpuid.h>
#include <csetjmp>
#include <csignal>
#include <cstring>
#include <xmmintrin.h>

namespace rig {
namespace {

std::uint64_t xgetbv(std::uint32_t index)
{
    std::uint32_t low;
    std::uint32_t high;
    asm volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(index));
    return static_cast<std::uint64_t>(high) << 32 | low;
}

bool has_avx()
{
    static const bool yes = __builtin_cpu_supports("avx") != 0;
    return yes;
}

void dirty_upper_halves()
{
    asm volatile("vcmptrueps %%ymm0, %%ymm0, %%ymm15\n\tvcmptrueps %%ymm0, %%ymm0, %%ymm7" ::
                     : "xmm15", "xmm7");
}

void clear_upper_halves()
{
    if (has_avx())
        asm volatile("vzeroupper");
}

void run(void* body) { (*static_cast<const std::function<void()>*>(body))(); }

} // namespace

bool upper_halves_visible()
{
    static const bool yes = [] {
        unsigned a = 0;
        unsigned b = 0;
        unsigned c = 0;
        unsigned d = 0;
        if (!has_avx() || __get_cpuid_count(13, 1, &a, &b, &c, &d) == 0 || (a & 4) == 0)
            return false;
        dirty_upper_halves();
        const bool dirty_shows = (xgetbv(1) & 4) != 0;
        clear_upper_halves();
        return dirty_shows && (xgetbv(1) & 4) == 0; // an emulator may call them in use for good
    }();
    return yes;
}

float Dirtying::call(float v)
{
    if (upper_halves_visible())
        found_dirty = found_dirty || (xgetbv(1) & 4) != 0;
    dirty_upper_halves();
    return v;
}

Outcome watch(bool dirty, const std::function<void()>& body, unsigned mxcsr)
{
    Outcome outcome;
    sigjmp_buf here;
    sigjmp_buf* const outer = land_at(nullptr);
    const GateMark gates;
    const unsigned before = _mm_getcsr();
    if (const int signal = sigsetjmp(here, 0); signal != 0) {
        gates.rewind();
        outcome.signal = signal;
    } else {
        land_at(&here);
        if (dirty && has_avx())
            dirty_upper_halves();
        _mm_setcsr(mxcsr);
        outcome.changed = watch_gates(run, const_cast<std::function<void()>*>(&body));
        outcome.mxcsr = _mm_getcsr();
        if (upper_halves_visible())
            outcome.dirty_upper = (xgetbv(1) & 4) != 0;
    }
    land_at(outer);
    _mm_setcsr(before);
    clear_upper_halves();
    return outcome;
}

testing::AssertionResult armed(Level level, const std::function<void()>& body, unsigned mxcsr,
                               unsigned* flags)
{
    const bool wide = level == Level::avx || level == Level::avx2;
    const Outcome outcome = watch(wide, body, mxcsr);
    if (outcome.signal != 0)
        return testing::AssertionFailure() << "the call ended with: " << strsignal(outcome.signal);
    if (wide && outcome.dirty_upper)
        return testing::AssertionFailure() << "upper halves of the vector registers left dirty";
    if (((outcome.mxcsr ^ mxcsr) & ~exception_flags) != 0)
        return testing::AssertionFailure() << "MXCSR control bits changed";
    if ((mxcsr & exception_flags & ~outcome.mxcsr) != 0)
        return testing::AssertionFailure() << "MXCSR exception flags cleared";
    if (flags != nullptr)
        *flags = outcome.mxcsr & exception_flags;
    if (!outcome.changed.empty())
        return testing::AssertionFailure() << "changed: " << outcome.changed;
    return testing::AssertionSuccess();
}

bool faults(const std::function<void()>& body, unsigned mxcsr)
{
    const int signal = watch(false, body, mxcsr).signal;
    return signal == SIGSEGV || signal == SIGBUS;
}

} // namespace rig
