// All in a row: filter an I/Q stream, quantise and restore it, take powers, smooth, and turn them
// into decibels.
#include "bench/chain.h"

#include <memory>

namespace bench {
namespace {

constexpr std::size_t smoothing_taps = 31;

const std::vector<std::string>& kernels()
{
    static const std::vector<std::string> names = {"fir_step_c64", "pack_f64_s16", "unpack_s16_f64",
                                                   "fft_abs_f64", "vfilter_f64"};
    return names;
}

/// The functions that a way through the chain calls.
struct Parts {
    decltype(::fir_c32_alt)* fir;
    pack_f64_s16_fn* pack;
    unpack_s16_f64_fn* unpack;
    fft_abs_f64_fn* power;
    vfilter_f64_fn* smooth;
    spec_log_f64_fn* decibels;
};

Parts of(Library& library, Level level)
{
    return {library.function<decltype(::fir_c32_alt)>("fir_c32_alt", level),
            library.variant<pack_f64_s16_fn>("pack_f64_s16", level),
            library.variant<unpack_s16_f64_fn>("unpack_s16_f64", level),
            library.variant<fft_abs_f64_fn>("fft_abs_f64", level),
            library.variant<vfilter_f64_fn>("vfilter_f64", level),
            library.variant<spec_log_f64_fn>("spec_log_f64", level)};
}
Parts of(const PlainLoops& loops)
{
    return {loops.fir_c32_alt, loops.pack_f64_s16, loops.unpack_s16_f64,
            loops.fft_abs_f64, loops.vfilter_f64,  loops.spec_log_f64};
}

struct Chain {
    explicit Chain(std::size_t n)
        : samples(n), in(2 * n), taps(low_pass<double>(fixed_taps)),
          wide(bell<double>(smoothing_taps)), re(fixed_taps), im(fixed_taps), filtered(2 * n),
          restored(2 * n), power(n), smooth(n), decibels(n), codes(2 * n)
    {
        for (std::size_t i = 0; i < in.size(); ++i)
            in[i] = static_cast<float>(sample(i));
    }

    void block(const Parts& p)
    {
        double step;
        double mid;
        p.fir(in.data(), samples, taps.data(), taps.size() - 1, &pos, re.data(), im.data(),
              filtered.data());
        p.pack(filtered.data(), filtered.size(), codes.data(), &step, &mid);
        p.unpack(codes.data(), codes.size(), restored.data(), step, mid);
        p.power(restored.data(), samples, power.data());
        p.smooth(power.data(), static_cast<std::int32_t>(samples), wide.data(),
                 static_cast<std::int32_t>(wide.size()), smooth.data());
        p.decibels(smooth.data(), samples, decibels.data(), 0.0);
    }

    std::size_t samples;
    std::vector<float> in;
    std::vector<double> taps, wide, re, im, filtered, restored, power, smooth, decibels;
    std::vector<std::int16_t> codes;
    std::int64_t pos = 0;
};

Work work(const std::string& name, const Parts& parts, std::size_t samples)
{
    const auto chain = std::make_shared<Chain>(samples);
    return {name, 0.02, // decibels: a code more or less in weak places
            [chain, parts] { chain->block(parts); }, [chain] { return chain->decibels; }};
}

} // namespace

std::vector<Job> whole_jobs(Library& library, const Selection& selection)
{
    std::vector<Job> jobs;
    for (const Level level : levels_of(library, kernels())) {
        if (!selection.wants(level))
            continue;
        for (const std::size_t samples : chain_sizes) {
            const auto field = [=, &library] {
                const auto ours = [&](const std::string& who, Level at) {
                    return work(who, of(library, at), samples);
                };
                const auto plain = [&](const std::string& who, const PlainLoops& loops) {
                    return work(who, of(loops), samples);
                };
                std::vector<Work> list = field_of(level, ours, plain);
                if (is_highest(library, kernels(), level))
                    append(list, whole_of_others(samples));
                return list;
            };
            jobs.push_back(chain_job(chain_row("whole chain", level, samples, 0), field));
        }
    }
    return jobs;
}

} // namespace bench
