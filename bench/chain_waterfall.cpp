// simd-waterfall from the samples in memory to the codes of its picture: the program's own chain, its
// entries filled with one level's variants or with plain loops.
#include "bench/chain.h"

#include "waterfall/chain.h"

#include <algorithm>
#include <cstring>
#include <memory>

namespace bench {
namespace {

constexpr std::size_t sizes[] = {65536, 1048576}; ///< samples of a recording

std::vector<std::string> kernels()
{
    return {"unpack_s16_f64", "mult_f64", "fft_abs_f64", "iir1_f64", "max_array_f64"};
}

PlainLoops entries()
{
    PlainLoops all{};
#define BENCH_GET(name) all.name = ::name;
    BENCH_KERNELS(BENCH_GET)
#undef BENCH_GET
    return all;
}

void fill_entries(const PlainLoops& all)
{
#define BENCH_SET(name) ::name = all.name;
    BENCH_KERNELS(BENCH_SET)
#undef BENCH_SET
}

PlainLoops of(Library& library, Level level)
{
    PlainLoops all{};
#define BENCH_VARIANT(name) all.name = library.variant<name##_fn>(#name, level);
    BENCH_KERNELS(BENCH_VARIANT)
#undef BENCH_VARIANT
    return all;
}

/// Sixteen-bit I/Q samples, over and over.
class Samples : public waterfall::Source {
public:
    explicit Samples(std::size_t n) : codes_(coded_samples(n))
    {
        recording_.input = recording_.name = recording_.kind = "memory";
        recording_.format = waterfall::Format::cs16;
        recording_.rate = 1e6;
        recording_.samples = n;
    }
    const waterfall::Recording& recording() const override { return recording_; }
    std::size_t read(void* block, std::size_t most) override
    {
        const std::size_t n = std::min(most, codes_.size() / 2 - at_);
        std::memcpy(block, codes_.data() + 2 * at_, 4 * n);
        at_ += n;
        return n;
    }
    void rewind() { at_ = 0; }

private:
    std::vector<std::int16_t> codes_;
    waterfall::Recording recording_;
    std::size_t at_ = 0;
};

struct Run {
    explicit Run(std::size_t n) : source(n) {}
    void block(const PlainLoops& loops)
    {
        const PlainLoops before = entries();
        fill_entries(loops);
        source.rewind();
        static const volatile std::sig_atomic_t never = 0;
        waterfall::Settings settings;
        settings.threads = 1;
        found = waterfall::analyse(
            source, settings, [](std::uint64_t) {}, never);
        fill_entries(before);
    }
    std::vector<double> spectrum() const
    {
        std::vector<double> list(found.mean_db.begin(), found.mean_db.end());
        list.insert(list.end(), found.peak_db.begin(), found.peak_db.end());
        return list;
    }
    Samples source;
    waterfall::Analysis found;
};

Work work(const std::string& name, const PlainLoops& loops, std::size_t samples)
{
    const auto run = std::make_shared<Run>(samples);
    return {name, 0.01, // decibels
            [run, loops] { run->block(loops); }, [run] { return run->spectrum(); }};
}

} // namespace

std::vector<Job> waterfall_jobs(Library& library, const Selection& selection)
{
    std::vector<Job> jobs;
    for (const Level level : levels_of(library, kernels())) {
        if (!selection.wants(level))
            continue;
        for (const std::size_t samples : sizes) {
            const auto field = [=, &library] {
                const auto ours = [&](const std::string& who, Level at) {
                    return work(who, of(library, at), samples);
                };
                const auto plain = [&](const std::string& who, const PlainLoops& loops) {
                    return work(who, loops, samples);
                };
                std::vector<Work> list = field_of(level, ours, plain);
                if (is_highest(library, kernels(), level))
                    append(list, waterfall_of_others(samples));
                return list;
            };
            jobs.push_back(chain_job(chain_row("simd-waterfall", level, samples, 0), field));
        }
    }
    return jobs;
}

} // namespace bench
