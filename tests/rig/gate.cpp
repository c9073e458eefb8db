#include "rig/gate.h"

#include <cstdint>
#include <cstring>
#include <map>
#include <stdexcept>
#include <sys/mman.h>

// Stack pointers of the gates that a call is in, the innermost last, and what they noticed.
extern "C" {
void* rig_gate_frames[64];
void** rig_gate_top = rig_gate_frames;
std::uint64_t rig_gate_noticed;
void rig_gate();
}

// r10 holds the function to call. rsp is 8 modulo 16 at entry, and again after six pushes; with 264
// bytes of canaries below it is 0, as a call wants it. rax, rdx and xmm0 come back as the function
// left them.
asm(R"(
    .text
    .type rig_gate, @function
    .globl rig_gate
    .hidden rig_gate, rig_gate_top, rig_gate_noticed
rig_gate:
    push %rbx
    push %rbp
    push %r12
    push %r13
    push %r14
    push %r15
    mov rig_gate_top(%rip), %r11
    mov %rsp, (%r11)
    addq $8, rig_gate_top(%rip)
    mov $0x6b8f19c35d2a74e1, %r11
    mov $33, %ebx
1:  push %r11
    dec %ebx
    jnz 1b
    mov $0x1122334455667788, %rbx
    mov $0x2233445566778899, %rbp
    mov $0x33445566778899aa, %r12
    mov $0x445566778899aabb, %r13
    mov $0x5566778899aabbcc, %r14
    mov $0x66778899aabbccdd, %r15
    call *%r10

    subq $8, rig_gate_top(%rip)
    mov rig_gate_top(%rip), %r11
    mov (%r11), %r11
    lea -264(%r11), %r10
    xor %r8d, %r8d
    cmp %r10, %rsp
    mov %r10, %rsp
    setne %r8b
    shl $6, %r8d
    pushfq
    pop %rcx
    cld
    and $0x400, %ecx
    shr $2, %ecx
    or %rcx, %r8

    .macro rig_gate_kept register, value, bit
    xor %ecx, %ecx
    mov $\value, %rsi
    cmp %rsi, %\register
    setne %cl
    shl $\bit, %ecx
    or %rcx, %r8
    .endm
    rig_gate_kept rbx, 0x1122334455667788, 0
    rig_gate_kept rbp, 0x2233445566778899, 1
    rig_gate_kept r12, 0x33445566778899aa, 2
    rig_gate_kept r13, 0x445566778899aabb, 3
    rig_gate_kept r14, 0x5566778899aabbcc, 4
    rig_gate_kept r15, 0x66778899aabbccdd, 5

    mov $0x6b8f19c35d2a74e1, %rsi
    mov $33, %ecx
2:  cmp %rsi, -8(%rsp,%rcx,8)
    je 3f
    or $0x80, %r8
3:  dec %ecx
    jnz 2b

    or %r8, rig_gate_noticed(%rip)
    mov %r11, %rsp
    pop %r15
    pop %r14
    pop %r13
    pop %r12
    pop %rbp
    pop %rbx
    ret
    .size rig_gate, . - rig_gate
)");

namespace rig {
namespace {

constexpr const char* notices[] = {"rbx", "rbp",           "r12",          "r13",           "r14",
                                   "r15", "stack pointer", "stack canary", "direction flag"};

/// mov $target, %r10; mov $rig_gate, %r11; jmp *%r11
struct [[gnu::packed]] Code {
    unsigned char to_r10[2] = {0x49, 0xBA};
    std::uint64_t target;
    unsigned char to_r11[2] = {0x49, 0xBB};
    std::uint64_t gate;
    unsigned char jump[3] = {0x41, 0xFF, 0xE3};
};

struct Gates {
    static constexpr std::size_t room = std::size_t{1} << 16;
    std::map<const void*, void*> by_target;
    std::map<const void*, const void*> by_gate;
    unsigned char* next = nullptr;
    unsigned char* end = nullptr;

    unsigned char* take()
    {
        if (next == end) {
            void* map = mmap(nullptr, room, PROT_READ | PROT_WRITE | PROT_EXEC,
                             MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
            if (map == MAP_FAILED)
                throw std::runtime_error("no memory for gates");
            next = static_cast<unsigned char*>(map);
            end = next + room;
        }
        return next += 32, next - 32;
    }
};

Gates& gates()
{
    static Gates all;
    return all;
}

} // namespace

void* gate_to(void* target)
{
    void*& gate = gates().by_target[target];
    if (gate == nullptr) {
        Code code;
        code.target = reinterpret_cast<std::uint64_t>(target);
        code.gate = reinterpret_cast<std::uint64_t>(rig_gate);
        gate = std::memcpy(gates().take(), &code, sizeof code);
        gates().by_gate[gate] = target;
    }
    return gate;
}

const void* behind_gate(const void* address)
{
    const auto it = gates().by_gate.find(address);
    return it == gates().by_gate.end() ? address : it->second;
}

std::string watch_gates(void (*body)(void*), void* argument)
{
    const std::uint64_t outer = rig_gate_noticed;
    rig_gate_noticed = 0;
    gated(body)(argument);
    std::string text;
    for (int bit = 0; bit < 9; ++bit)
        if ((rig_gate_noticed >> bit & 1) != 0)
            text += (text.empty() ? "" : ", ") + std::string(notices[bit]);
    rig_gate_noticed = outer;
    return text;
}

GateMark::GateMark() : top_(rig_gate_top) {}
void GateMark::rewind() const { rig_gate_top = static_cast<void**>(top_); }

} // namespace rig
