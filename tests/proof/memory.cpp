// tests/proof/memory.cpp: fill, block copy, word swap.
#include "models/memory.h"
#include "proof/proof.h"

namespace proof {
namespace {

void fill_f32(Call& call)
{
    const auto dst = call.output<float>(call.n);
    const auto value = call.number<float>();
    for (std::size_t i = 0; i < call.n; ++i)
        dst.want[i] = value;
    call.run([&] { call.kernel<fill_f32_fn>()(dst.at, call.n, value); });
}

void memcpy_fast(Call& call)
{
    const auto dst = call.output<std::uint8_t>(call.n);
    const auto src = call.input<std::uint8_t>(call.n);
    for (std::size_t i = 0; i < call.n; ++i)
        dst.want[i] = src.at[i];
    call.run([&] { call.kernel<memcpy_fast_fn>()(dst.at, src.at, call.n); });
}

// Above the threshold, arrays that lie apart modulo the width end at the first aligned store.
void swap_words_u32(Call& call)
{
    const std::size_t room = call.level == Level::avx2 ? 6 : 0;
    const std::size_t width = memory::block_bytes(call.level);
    const auto src = call.input<std::uint32_t>(call.n);
    const auto dst = call.output<std::uint32_t>(call.n + room);
    for (std::size_t i = 0; i < dst.size; ++i)
        dst.preset(i, memory::untouched);

    const bool apart =
        call.level != Level::base && call.n > 15 && src.offset() % width != dst.offset() % width;
    const std::vector<std::uint32_t> in(src.at, src.at + src.size);
    if (apart)
        for (std::size_t i = 0; i < (width - src.offset() % width) % width / 4; ++i)
            dst.want[i] = memory::swapped(in[i]);
    else
        std::ranges::copy(memory::swap_model(call.level, in, src.offset(), room), dst.want);
    const auto body = [&] { call.kernel<swap_words_u32_fn>()(src.at, call.n, dst.at); };
    apart ? call.faults(body) : call.run(body);
}

} // namespace

const std::vector<Kernel>& memory_kernels()
{
    static const std::vector<Kernel> list = {
        {.name = "fill_f32", .steps = {4}, .run = fill_f32, .inputs = 0, .numbers = 1},
        {.name = "memcpy_fast", .steps = {1, 1}, .run = memcpy_fast},
        {.name = "swap_words_u32", .steps = {4, 4}, .run = swap_words_u32, .crossing = 70},
    };
    return list;
}

} // namespace proof
