// tests/vector_access.h: whether a call reaches an array by aligned or by unaligned accesses. Where
// the address suits both, nothing but the executed instruction tells them apart.
#pragma once

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <ucontext.h>

namespace rig {

enum class Access { load, store };

/// The address that `code` reads or writes if it is movups, movupd or movdqu (16 or 32 bytes) from
/// or to memory; 0 if it is anything else.
inline std::uint64_t unaligned_address(const unsigned char* code, Access access,
                                       const greg_t* registers)
{
    unsigned prefix = 0; // 1: 66, 2: F3, 3: F2
    unsigned high_index = 0;
    unsigned high_base = 0;
    if (code[0] == 0xC5) {
        prefix = code[1] & 3U;
        code += 2;
    } else if (code[0] == 0xC4) {
        if ((code[1] & 0x1F) != 1)
            return 0;
        high_index = (code[1] & 0x40) != 0 ? 0 : 8;
        high_base = (code[1] & 0x20) != 0 ? 0 : 8;
        prefix = code[2] & 3U;
        code += 3;
    } else {
        if (*code == 0x66 || *code == 0xF3 || *code == 0xF2) {
            prefix = *code == 0x66 ? 1 : *code == 0xF3 ? 2 : 3;
            ++code;
        }
        if ((*code & 0xF0) == 0x40) { // REX
            high_index = (*code & 2) != 0 ? 8 : 0;
            high_base = (*code & 1) != 0 ? 8 : 0;
            ++code;
        }
        if (*code++ != 0x0F)
            return 0;
    }
    const unsigned char floats = access == Access::load ? 0x10 : 0x11;
    const unsigned char integers = access == Access::load ? 0x6F : 0x7F;
    if (!(*code == floats && prefix <= 1) && !(*code == integers && prefix == 2))
        return 0;
    ++code;

    static constexpr int order[] = {REG_RAX, REG_RCX, REG_RDX, REG_RBX, REG_RSP, REG_RBP,
                                    REG_RSI, REG_RDI, REG_R8,  REG_R9,  REG_R10, REG_R11,
                                    REG_R12, REG_R13, REG_R14, REG_R15};
    const auto held = [&](unsigned number) {
        return static_cast<std::uint64_t>(registers[order[number]]);
    };
    const unsigned mode = *code >> 6U;
    unsigned base = *code++ & 7U;
    if (mode == 3 || (mode == 0 && base == 5)) // a register; relative to the code, so a constant
        return 0;
    std::uint64_t address = 0;
    bool based = true;
    if (base == 4) {
        const unsigned scale = *code >> 6U;
        const unsigned index = (*code >> 3U & 7U) | high_index;
        base = *code++ & 7U;
        if (index != 4)
            address += held(index) << scale;
        based = mode != 0 || base != 5;
    }
    if (based)
        address += held(base | high_base);
    if (mode == 1)
        return address + static_cast<std::uint64_t>(static_cast<signed char>(*code));
    if (mode == 2 || !based) {
        std::int32_t displacement;
        std::memcpy(&displacement, code, sizeof displacement);
        address += static_cast<std::uint64_t>(std::int64_t{displacement});
    }
    return address;
}

struct WatchedArray {
    Access access;
    std::uint64_t first, last;
    volatile std::size_t count;
};
inline WatchedArray* watched_array = nullptr;

/// How many unaligned vector accesses of this kind `body` executes to the `bytes` bytes at `array`,
/// step by step by the processor's trap flag.
inline std::size_t unaligned_accesses(Access access, const void* array, std::size_t bytes,
                                      const std::function<void()>& body)
{
    const auto first = reinterpret_cast<std::uint64_t>(array);
    WatchedArray watched{access, first, first + bytes, 0};
    watched_array = &watched;
    struct sigaction action {};
    struct sigaction before {};
    action.sa_sigaction = [](int, siginfo_t*, void* context) {
        const greg_t* registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
        WatchedArray& w = *watched_array;
        const std::uint64_t at = unaligned_address(
            reinterpret_cast<const unsigned char*>(registers[REG_RIP]), w.access, registers);
        if (at >= w.first && at < w.last)
            w.count = w.count + 1;
    };
    action.sa_flags = SA_SIGINFO;
    sigaction(SIGTRAP, &action, &before);
    asm volatile("pushfq\n\torq $0x100, (%%rsp)\n\tpopfq" ::: "memory", "cc");
    body();
    asm volatile("pushfq\n\tandq $~0x100, (%%rsp)\n\tpopfq" ::: "memory", "cc");
    sigaction(SIGTRAP, &before, nullptr);
    return watched.count;
}

} // namespace rig
