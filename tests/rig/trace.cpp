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

/// Bytes of a legacy instruction's prefixes, or of a VEX prefix; 0 if `code` is not of map `map`.
/// Returns the position of the opcode byte.
std::size_t opcode_at(const unsigned char* code, int map)
{
    if (code[0] == 0xC5) // two-byte VEX: map 1
        return map == 1 && (code[1] & 3) == 1 ? 2 : 0;
    if (code[0] == 0xC4)
        return (code[1] & 0x1F) == map && (code[2] & 3) == 1 ? 3 : 0;
    if (code[0] != 0x66)
        return 0;
    std::size_t at = 1;
    if ((code[at] & 0xF0) == 0x40) // REX
        ++at;
    if (code[at++] != 0x0F)
        return 0;
    if (map == 2 && code[at++] != 0x38)
        return 0;
    return at;
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
    asm volatile("pushfq\n\torq $0x100, (%%rsp)\n\tpopfq" ::: "memory", "cc");
    body();
    asm volatile("pushfq\n\tandq $~0x100, (%%rsp)\n\tpopfq" ::: "memory", "cc");
    sigaction(SIGTRAP, &before, nullptr);
    return count;
}

bool is_streaming_load(const unsigned char* code)
{
    const std::size_t at = opcode_at(code, 2);
    return at != 0 && code[at] == 0x2A;
}

bool is_streaming_store(const unsigned char* code)
{
    const std::size_t at = opcode_at(code, 1);
    return at != 0 && code[at] == 0xE7;
}

} // namespace rig
