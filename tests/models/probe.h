// tests/models/probe.h: which CPUID queries the probe makes, and which levels then pass.
#pragma once

#include "rig/library.h"

#include <cstdint>
#include <string>
#include <vector>

namespace probing {

using rig::Processor;
using rig::Query;
using rig::Words;

constexpr std::uint32_t extended = 0x80000000;

constexpr unsigned bit_of(rig::Level level) { return 1U << static_cast<unsigned>(level); }

struct ModelRun {
    unsigned passed = 1; // bit per level
    std::vector<Query> queries;
};

/// A processor under the rule of one query, register by register: what the machine holds after each
/// instruction. ECX at the first one may be anything.
class Machine {
public:
    Machine(const Processor& processor, std::uint32_t ecx, std::vector<Query>& queries)
        : processor_(processor), ecx_(ecx), queries_(queries)
    {
    }

    /// Whether the range reaches the leaf; nothing is written to w if it does not.
    bool query(std::uint32_t leaf, Words& w)
    {
        const std::uint32_t most = cpuid(leaf >= extended ? extended : 0).eax;
        if (most == 0 || most < leaf)
            return false;
        w = cpuid(leaf);
        return true;
    }

private:
    Words cpuid(std::uint32_t leaf)
    {
        queries_.push_back({leaf, ecx_});
        const Words w = processor_.answer(leaf, ecx_);
        ecx_ = w.ecx;
        return w;
    }

    const Processor& processor_;
    std::uint32_t ecx_;
    std::vector<Query>& queries_;
};

inline ModelRun model_run(const Processor& processor, std::uint32_t first_ecx)
{
    ModelRun run;
    Machine machine(processor, first_ecx, run.queries);
    std::uint32_t a = 0;
    std::uint32_t b = 0;
    std::uint32_t c = 0;
    std::uint32_t d = 0;
    const auto ask = [&](std::uint32_t leaf) {
        if (Words w{}; machine.query(leaf, w))
            a = w.eax, b = w.ebx, c = w.ecx, d = w.edx;
    };
    ask(0);
    std::string vendor;
    for (const std::uint32_t word : {b, d, c})
        for (int i = 0; i < 4; ++i)
            vendor += static_cast<char>(word >> (8 * i));
    vendor = vendor.c_str(); // ends at the first zero byte
    ask(1);
    if ((d & 0x02000000) != 0)
        run.passed |= bit_of(rig::Level::sse);
    if ((d & 0x04000000) != 0)
        run.passed |= bit_of(rig::Level::sse2);
    if ((c & 0x00000001) != 0)
        run.passed |= bit_of(rig::Level::sse3);
    if ((c & 0x00000200) != 0)
        run.passed |= bit_of(rig::Level::ssse3);
    if ((c & 0x00080000) != 0)
        run.passed |= bit_of(rig::Level::sse41);
    if ((c & 0x10000000) != 0)
        run.passed |= bit_of(rig::Level::avx);
    ask(7);
    if ((b & 0x00000020) != 0)
        run.passed |= bit_of(rig::Level::avx2);
    if (vendor == "AuthenticAMD") {
        ask(0x80000000);
        if (a > 0x80000000)
            ask(0x80000001);
    }
    return run;
}

} // namespace probing
