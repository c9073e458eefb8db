#include "fuzz/kernels.h"

#include "proof/sweep.h"

#include <cstdio>
#include <cstdlib>

namespace fuzz {
namespace {

constexpr std::size_t header = 7; // bytes before the offsets

} // namespace

// kernel, level, count (9 bits), MXCSR's setting and flags (5), kind of data and edge, seed (2), an
// offset for each pointer; what is left is laid over the inputs.
Input decode(const std::vector<proof::Kernel>& kernels, const std::uint8_t* bytes, std::size_t size)
{
    const auto byte = [&](std::size_t i) { return i < size ? bytes[i] : std::uint8_t{0}; };
    Input input{};
    input.kernel = &kernels[byte(0) % kernels.size()];
    const std::vector<rig::Level> levels = input.kernel->levels();
    input.level = levels[byte(1) % levels.size()];
    proof::Case& given = input.given;
    given.n = byte(2) + (byte(3) % 2) * std::size_t{256};
    given.mxcsr =
        proof::setting(byte(3) >> 1 & 15U) | ((byte(3) >> 5 & 1) != 0 ? rig::exception_flags : 0);
    given.data = static_cast<proof::Data>((byte(4) >> 1) % proof::data_kinds);
    given.edge = (byte(4) & 1) == 0 ? rig::Edge::end : rig::Edge::start;
    given.seed = byte(5) + byte(6) * 256U;
    const std::size_t pointers = input.kernel->steps.size();
    for (std::size_t i = 0; i < pointers; ++i) {
        const std::size_t step = input.kernel->steps[i];
        given.at[i] = byte(header + i) % (64 / step) * step;
    }
    if (size > header + pointers)
        given.raw = {bytes + header + pointers, bytes + size};
    return input;
}

int compare(const std::vector<proof::Kernel>& kernels, const std::uint8_t* bytes, std::size_t size)
{
    const Input input = decode(kernels, bytes, size);
    const proof::Verdict verdict = proof::check(*input.kernel, input.level, input.given);
    if (!verdict.failure.empty()) {
        std::fprintf(stderr, "DIFFERENCE: %s\n", verdict.failure.c_str());
        std::abort();
    }
    return 0;
}

} // namespace fuzz
