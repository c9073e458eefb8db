#include "rig/call.h"

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

struct Thunk {
    const std::function<void()>* body;
};

extern "C" void rig_run_thunk(void* thunk);
void rig_run_thunk(void* thunk) { (*static_cast<Thunk*>(thunk)->body)(); }

// Calls rig_run_thunk(thunk) with known values in the callee-saved registers; returns 0 if all
// kept. The body's own frames save and restore them too, so what shows here is what a variant
// leaked through every frame above it.
extern "C" long rig_call_checked(void* thunk);
asm(R"(
    .text
    .type rig_call_checked, @function
rig_call_checked:
    push %rbx
    push %rbp
    push %r12
    push %r13
    push %r14
    push %r15
    sub $8, %rsp
    mov $0x1122334455667788, %rbx
    mov $0x2233445566778899, %rbp
    mov $0x33445566778899aa, %r12
    mov $0x445566778899aabb, %r13
    mov $0x5566778899aabbcc, %r14
    mov $0x66778899aabbccdd, %r15
    call rig_run_thunk@PLT
    xor %eax, %eax
    mov $0x1122334455667788, %rcx
    cmp %rcx, %rbx
    setne %al
    mov $0x2233445566778899, %rcx
    cmp %rcx, %rbp
    setne %dl
    or %dl, %al
    mov $0x33445566778899aa, %rcx
    cmp %rcx, %r12
    setne %dl
    or %dl, %al
    mov $0x445566778899aabb, %rcx
    cmp %rcx, %r13
    setne %dl
    or %dl, %al
    mov $0x5566778899aabbcc, %rcx
    cmp %rcx, %r14
    setne %dl
    or %dl, %al
    mov $0x66778899aabbccdd, %rcx
    cmp %rcx, %r15
    setne %dl
    or %dl, %al
    movzbl %al, %eax
    add $8, %rsp
    pop %r15
    pop %r14
    pop %r13
    pop %r12
    pop %rbp
    pop %rbx
    ret
    .size rig_call_checked, . - rig_call_checked
)");

} // namespace

bool upper_halves_visible()
{
    static const bool yes = [] {
        unsigned a = 0;
        unsigned b = 0;
        unsigned c = 0;
        unsigned d = 0;
        return has_avx() && __get_cpuid_count(13, 1, &a, &b, &c, &d) != 0 && (a & 4) != 0;
    }();
    return yes;
}

Outcome watch(bool dirty, const std::function<void()>& body)
{
    Outcome outcome;
    sigjmp_buf here;
    sigjmp_buf* const outer = land_at(nullptr);
    const unsigned before = _mm_getcsr();
    if (const int signal = sigsetjmp(here, 0); signal != 0) {
        outcome.signal = signal;
    } else {
        land_at(&here);
        if (dirty && has_avx())
            dirty_upper_halves();
        Thunk thunk{&body};
        outcome.saved_registers = rig_call_checked(&thunk) != 0;
        if (upper_halves_visible())
            outcome.dirty_upper = (xgetbv(1) & 4) != 0;
    }
    land_at(outer);
    std::uint64_t flags;
    asm volatile("sub $128, %%rsp\n\tpushfq\n\tpop %0\n\tlea 128(%%rsp), %%rsp\n\tcld" // red zone
                 : "=r"(flags));
    outcome.direction = (flags & 0x400) != 0;
    outcome.control_word = ((_mm_getcsr() ^ before) & ~0x3FU) != 0;
    _mm_setcsr(before);
    clear_upper_halves();
    return outcome;
}

testing::AssertionResult armed(Level level, const std::function<void()>& body)
{
    const bool wide = level == Level::avx || level == Level::avx2;
    const Outcome outcome = watch(wide, body);
    if (outcome.signal != 0)
        return testing::AssertionFailure() << "the call ended with: " << strsignal(outcome.signal);
    if (wide && outcome.dirty_upper)
        return testing::AssertionFailure() << "upper halves of the vector registers left dirty";
    if (outcome.control_word)
        return testing::AssertionFailure() << "MXCSR control bits changed";
    if (outcome.direction)
        return testing::AssertionFailure() << "direction flag left set";
    if (outcome.saved_registers)
        return testing::AssertionFailure() << "a callee-saved register changed";
    return testing::AssertionSuccess();
}

bool faults(const std::function<void()>& body)
{
    const int signal = watch(false, body).signal;
    return signal == SIGSEGV || signal == SIGBUS;
}

} // namespace rig
