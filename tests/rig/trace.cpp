#include "rig/trace.h"

#include <csignal>
#include <ucontext.h>

namespace rig {
namespace {

const std::function<bool(const unsigned char*)>* wanted_now = nullptr;
volatile std::size_t count = 0;

void on_trap(int, siginfo_t*, void* context)
{
    const auto& regs = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
    if ((*wanted_now)(reinterpret_cast<const unsigned char*>(regs[REG_RIP])))
        count = count + 1;
}

struct Opcode {
    unsigned map = 0;    // 1: 0F, 2: 0F 38; 0: another
    unsigned prefix = 0; // 0: none, 1: 66
    unsigned byte = 0;
};

/// The opcode of an SSE instruction or of its VEX form.
Opcode opcode(const unsigned char* code)
{
    if (code[0] == 0xC5) // two-byte VEX
        return {1, code[1] & 3U, code[2]};
    if (code[0] == 0xC4)
        return {code[1] & 0x1FU, code[2] & 3U, code[3]};
    Opcode o;
    if (*code == 0x66) {
        o.prefix = 1;
        ++code;
    }
    if ((*code & 0xF0) == 0x40) // REX
        ++code;
    if (*code++ != 0x0F)
        return {};
    o.map = *code == 0x38 ? 2 : 1;
    o.byte = o.map == 2 ? code[1] : code[0];
    return o;
}

} // namespace

std::size_t executed(const std::function<void()>& body,
                     const std::function<bool(const unsigned char* code)>& wanted)
{
    struct sigaction action {};
    struct sigaction before {};
    action.sa_sigaction = on_trap;
    action.sa_flags = SA_SIGINFO;
    sigaction(SIGTRAP, &action, &before);
    wanted_now = &wanted;
    count = 0;
    // Below the stack pointer may lie the function's red zone.
    asm volatile("sub $128, %%rsp\n\tpushfq\n\torq $0x100, (%%rsp)\n\tpopfq\n\t"
                 "lea 128(%%rsp), %%rsp" ::
                     : "memory", "cc");
    body();
    asm volatile("sub $128, %%rsp\n\tpushfq\n\tandq $~0x100, (%%rsp)\n\tpopfq\n\t"
                 "lea 128(%%rsp), %%rsp" ::
                     : "memory", "cc");
    sigaction(SIGTRAP, &before, nullptr);
    return count;
}

bool is_streaming_load(const unsigned char* code)
{
    const Opcode o = opcode(code);
    return o.map == 2 && o.prefix == 1 && o.byte == 0x2A;
}

bool is_streaming_store(const unsigned char* code)
{
    const Opcode o = opcode(code);
    const bool integers = o.byte == 0xE7 && o.prefix == 1;
    const bool floats = o.byte == 0x2B; // what clang++ takes for the same store
    return o.map == 1 && o.prefix <= 1 && (integers || floats);
}

} // namespace rig
