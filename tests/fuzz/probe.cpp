#include "fuzz/probe.h"

#include "dispatch/probe.h"

#include "models/probe.h"

#include <algorithm>

namespace fuzz {
namespace {

/// Reads bytes; zeros when they are at an end.
class Reader {
public:
    Reader(const std::uint8_t* bytes, std::size_t size) : at_(bytes), end_(bytes + size) {}

    bool more() const { return at_ != end_; }
    std::uint8_t byte() { return more() ? *at_++ : std::uint8_t{0}; }
    std::uint32_t word()
    {
        std::uint32_t w = 0;
        for (int i = 0; i < 4; ++i)
            w |= std::uint32_t{byte()} << (8 * i);
        return w;
    }

private:
    const std::uint8_t *at_, *end_;
};

probing::ModelRun run_alone(const rig::Processor& processor)
{
    probing::ModelRun run;
    run.passed = 0;
    probing::Machine machine(processor, 0, run.queries);
    probe(
        [&](std::uint32_t leaf, CpuidWords& words) {
            if (rig::Words w{}; machine.query(leaf, w))
                words = {w.eax, w.ebx, w.ecx, w.edx};
        },
        [&](Level level) { run.passed |= 1U << static_cast<unsigned>(level); });
    return run;
}

/// Where what an entry holds stands in the library's image; 0 for null.
std::ptrdiff_t place(const rig::Library& library, const std::string& entry)
{
    const auto* held = *static_cast<const char**>(library.symbol(entry.c_str()));
    return held == nullptr ? 0 : held - library.base();
}

/// The same of the variant by its name, which takes longer.
std::ptrdiff_t place_by_name(const std::string& entry, rig::Level level)
{
    const rig::Library& library = rig::at(level);
    const auto* variant =
        static_cast<const char*>(library.internal((entry + "_" + rig::name(level)).c_str()));
    return variant - library.base();
}

std::string table_difference(const rig::Library& library, unsigned passed)
{
    using Places = std::map<std::pair<std::string, rig::Level>, std::ptrdiff_t>;
    static const Places known = [] {
        Places places;
        for (const auto& [entry, levels] : rig::table())
            for (const rig::Level level : levels)
                places[{entry, level}] = place_by_name(entry, level);
        return places;
    }();
    for (const auto& [entry, levels] : rig::table()) {
        std::ptrdiff_t want = 0;
        for (const rig::Level level : levels)
            if (level == rig::Level::base || (passed & probing::bit_of(level)) != 0)
                want = known.at({entry, level});
        if (place(library, entry) != want)
            return "the library installs another " + entry + " for levels " +
                   std::to_string(passed);
    }
    return "";
}

} // namespace

// Records: which leaf, for which sub-leaf, the four words; by one bit each a vendor's letters and a
// maximum leaf near the range's beginning, which are long to guess.
rig::Processor processor(const std::uint8_t* bytes, std::size_t size)
{
    static constexpr std::uint32_t leaves[] = {0, 1, 7, 0x80000000, 0x80000001, 2, 6, 8};
    rig::Processor processor;
    std::vector<std::uint32_t> seen = {0};
    for (Reader in(bytes, std::min<std::size_t>(size, 400)); in.more();) {
        const std::uint8_t what = in.byte();
        const std::uint32_t leaf = leaves[what % 8];
        const std::uint32_t subleaf = seen[in.byte() % seen.size()];
        rig::Words words = {in.word(), in.word(), in.word(), in.word()};
        if ((what & 16) != 0)
            words = {words.eax, 0x68747541, 0x444D4163, 0x69746E65}; // AuthenticAMD
        if ((what & 32) != 0)
            words.eax = (leaf & 0x80000000) | (words.eax & 15);
        seen.push_back(words.ecx);
        if ((what & 8) != 0)
            processor.by_subleaf[{leaf, subleaf}] = words;
        else
            processor.leaves[leaf] = words;
    }
    return processor;
}

std::string probe_difference(const rig::Processor& processor)
{
    const probing::ModelRun rule = probing::model_run(processor, 0);
    const probing::ModelRun alone = run_alone(processor);
    if (alone.passed != rule.passed)
        return "levels " + std::to_string(alone.passed) + ", by the rule " +
               std::to_string(rule.passed);
    if (alone.queries != rule.queries)
        return "other queries than the rule's";
    const rig::Library library(processor);
    const auto want = probing::model_run(processor, library.queries().at(0).subleaf);
    if (library.queries() != want.queries)
        return "the library makes other queries than the rule's";
    return table_difference(library, want.passed);
}

} // namespace fuzz
