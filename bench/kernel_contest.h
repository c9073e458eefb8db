// bench/kernel_contest.h: one kernel's contests: its variants, checked and then timed, and who runs against them.
#pragma once

#include "bench/check.h"
#include "bench/jobs.h"
#include "bench/kernels.h"
#include "bench/peers.h"
#include "bench/plain_builds.h"

#include <numeric>
#include <optional>

namespace bench {

inline constexpr std::size_t lengths_kept = 256;

/// Lengths from half to three halves of n, of mean n, in the kernel's steps.
std::vector<std::size_t> shuffled(std::size_t n, const Traits& t);

/// What a kernel's rows of one size run on, one set per thread; kept while they follow each other.
std::vector<Arrays>& shared_arrays(const Traits& t, std::size_t n, std::size_t threads);

using Timed = std::function<void(benchmark::State&)>;

/// What the list's lambda and the function's type make of one kernel.
template <class Fn, class Call>
struct Kernel {
    const Traits& traits;
    Fn* PlainLoops::*loop;
    std::size_t crossing;
    Call call;
    Library& library;

    std::size_t counted(std::size_t n) const
    {
        return traits.kernel == "swap_words_u32" ? n + swap_words_room : n;
    }

    Fn* variant(Level level) const { return library.variant<Fn>(traits.kernel, level); }
    bool has(Level level) const { return library.has(traits.kernel, level); }

    Timed timed(Fn* function, std::vector<Arrays>& arrays, Shift s, std::size_t n) const
    {
        const std::size_t count = counted(n);
        return [function, &arrays, s, count, call = call](benchmark::State& state) {
            Arrays& a = arrays[static_cast<std::size_t>(state.thread_index())];
            a.n = count;
            for (auto _ : state) {
                call(function, a, s);
                benchmark::ClobberMemory();
            }
        };
    }

    Timed timed(Fn* function, std::vector<Arrays>& arrays, Shift s,
                const std::vector<std::size_t>& lengths) const
    {
        std::vector<std::size_t> counts;
        counts.reserve(lengths.size());
        for (const std::size_t n : lengths)
            counts.push_back(counted(n));
        return [function, &arrays, s, counts, call = call](benchmark::State& state) {
            Arrays& a = arrays[static_cast<std::size_t>(state.thread_index())];
            std::size_t at = 0;
            for (auto _ : state) {
                a.n = counts[at++ % lengths_kept];
                call(function, a, s);
                benchmark::ClobberMemory();
            }
        };
    }

    /// "" or the difference from what the plain loop, and for a variant the contract, give.
    std::string check(Fn* function, Place place, std::size_t n, std::optional<Level> level,
                      const Tolerance& more) const
    {
        const std::size_t size = checked_size(traits, n);
        Arrays want(counted(size), traits.uses);
        Arrays got(counted(size), traits.uses);
        call(plain_reference().*loop, want, shift(place, crossing));
        if (level)
            apply_contract(traits.kernel, *level, place, got, want);
        call(function, got, shift(place, crossing));
        return difference(want, got, traits.tolerance | more, size);
    }

    /// The level that a user gets here: the libraries' functions stand beside it.
    Level highest() const
    {
        Level level = Level::base;
        for (const Level above : rig::all_levels)
            if (has(above))
                level = above;
        return level;
    }

    struct Rivals {
        std::string name;
        Fn* function;
        std::optional<Level> level;
        Tolerance more;
    };

    std::vector<Rivals> rivals(Level level, Place place) const
    {
        std::vector<Rivals> list;
        if (level != Level::base && has(Level::base) && allowed(traits.kernel, Level::base, place))
            list.push_back({"baseline", variant(Level::base), Level::base, {}});
        for (const PlainBuild& build : plain_builds())
            if (build.level == set_of(level))
                list.push_back({build.name(), build.loops->*loop, std::nullopt,
                                build.fast ? fast_math : Tolerance{}});
        if (level == highest())
            for (const Peer& peer : peers())
                if (peer.kernel == traits.kernel &&
                    (peer.needs != Needs::alignment || place == Place::aligned))
                    list.push_back({peer.library, peer.as<Fn>(), std::nullopt, peer.tolerance});
        return list;
    }

    Contest contest(const Row& row, Level level, Place place) const
    {
        Contest c;
        c.row = row;
        c.row.wrong = check(variant(level), place, row.size, level, {});
        if (!c.row.wrong.empty())
            return c;
        const bool vary = row.lengths == "shuffled";
        std::vector<std::size_t> lengths;
        if (vary)
            lengths = shuffled(row.size, traits);
        std::vector<Arrays>& arrays =
            shared_arrays(traits, counted(row.size <= most_shuffled ? 2 * row.size : row.size), 1);
        const auto body = [&](Fn* function) {
            const Shift s = shift(place, crossing);
            return vary ? timed(function, arrays, s, lengths)
                        : timed(function, arrays, s, row.size);
        };
        c.turns = vary ? lengths_kept : 1;
        c.elements = static_cast<double>(row.size);
        if (vary)
            c.elements = std::accumulate(lengths.begin(), lengths.end(), 0.0) / lengths_kept;
        c.bytes = c.elements * static_cast<double>(traits.bytes());
        c.field.push_back({"libsimd", body(variant(level))});
        for (const Rivals& r : rivals(level, place)) {
            const std::string wrong = check(r.function, place, row.size, r.level, r.more);
            if (wrong.empty())
                c.field.push_back({r.name, body(r.function)});
            else
                c.row.out.push_back(r.name + ": " + wrong);
        }
        return c;
    }

    Contest on_threads(const Row& row, Level level, int threads) const
    {
        Contest c;
        c.row = row;
        c.row.wrong = check(variant(level), Place::aligned, row.size, level, {});
        if (!c.row.wrong.empty())
            return c;
        std::vector<Arrays>& arrays =
            shared_arrays(traits, counted(row.size), static_cast<std::size_t>(threads));
        c.elements = static_cast<double>(row.size);
        c.bytes = c.elements * static_cast<double>(traits.bytes());
        const Timed body = timed(variant(level), arrays, 0, row.size);
        c.field.push_back({std::to_string(threads) + " threads", body, threads});
        c.field.push_back({"1 thread", body});
        return c;
    }
};

} // namespace bench
