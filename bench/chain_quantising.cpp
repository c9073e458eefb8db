// Quantising a block by its own range, and restoring it.
#include "bench/chain.h"

#include <memory>

namespace bench {
namespace {

template <class T, class Code>
struct Block {
    explicit Block(std::size_t samples) : in(samples), out(samples), codes(samples)
    {
        for (std::size_t i = 0; i < samples; ++i)
            in[i] = static_cast<T>(sample(i));
    }
    std::vector<T> in, out;
    std::vector<Code> codes;
};

template <class T, class Code, class Pack, class Unpack>
Work work(const std::string& name, Pack* pack, Unpack* unpack, std::size_t samples)
{
    const auto b = std::make_shared<Block<T, Code>>(samples);
    const double steps = sizeof(Code) == 1 ? 255 : 65535;
    return {name, 2.1 / steps, // a code, of a range of about 2
            [b, pack, unpack] {
                T step;
                T offset;
                pack(b->in.data(), b->in.size(), b->codes.data(), &step, &offset);
                unpack(b->codes.data(), b->codes.size(), b->out.data(), step, offset);
            },
            [b] { return widened(b->out); }};
}

template <class T, class Code, class Pack, class Unpack>
void add(std::vector<Job>& jobs, Library& library, const Selection& selection,
         const std::string& name, const std::string& pack, Pack* PlainLoops::*pack_loop,
         const std::string& unpack, Unpack* PlainLoops::*unpack_loop)
{
    const std::vector<std::string> kernels = {pack, unpack};
    const auto row = [&](Level level, std::size_t samples) {
        const auto field = [=, &library] {
            const auto ours = [&](const std::string& who, Level at) {
                return work<T, Code>(who, library.variant<Pack>(pack, at),
                                     library.variant<Unpack>(unpack, at), samples);
            };
            const auto plain = [&](const std::string& who, const PlainLoops& loops) {
                return work<T, Code>(who, loops.*pack_loop, loops.*unpack_loop, samples);
            };
            std::vector<Work> list = field_of(level, ours, plain, library.has(unpack, Level::base));
            if (name == "quantise f32 to s16" && is_highest(library, kernels, level))
                append(list, quantising_of_others(samples));
            return list;
        };
        jobs.push_back(chain_job(chain_row(name, level, samples, 0), field));
    };
    for (const Level level : levels_of(library, kernels))
        if (selection.wants(level) && library.variant<Unpack>(unpack, level) != nullptr)
            for (const std::size_t samples : chain_sizes)
                row(level, samples);
}

} // namespace

std::vector<Job> quantising_jobs(Library& library, const Selection& selection)
{
    std::vector<Job> jobs;
    add<float, std::uint8_t>(jobs, library, selection, "quantise f32 to u8", "pack_f32_u8",
                             &PlainLoops::pack_f32_u8, "unpack_u8_f32", &PlainLoops::unpack_u8_f32);
    add<float, std::int16_t>(jobs, library, selection, "quantise f32 to s16", "pack_f32_s16",
                             &PlainLoops::pack_f32_s16, "unpack_s16_f32",
                             &PlainLoops::unpack_s16_f32);
    add<double, std::int16_t>(jobs, library, selection, "quantise f64 to s16", "pack_f64_s16",
                              &PlainLoops::pack_f64_s16, "unpack_s16_f64",
                              &PlainLoops::unpack_s16_f64);
    return jobs;
}

} // namespace bench
