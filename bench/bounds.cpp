#include "bench/bounds.h"

#include <cstdlib>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace bench {
namespace {

const char* const built_in =
#include "bounds.inc" // bench/bounds.txt as a string; the build makes it
    ;

std::string key(const std::string& kernel, const std::string& level, const std::string& place)
{
    return kernel + ' ' + level + ' ' + place;
}

/// Whether a list such as "16-31,97" has the number; throws std::invalid_argument for no list.
bool lists(const std::string& list, unsigned number)
{
    std::istringstream ranges(list);
    bool found = false;
    for (std::string range; std::getline(ranges, range, ',');) {
        const std::size_t dash = range.find('-');
        const unsigned long first = std::stoul(range);
        const unsigned long last =
            dash == std::string::npos ? first : std::stoul(range.substr(dash + 1));
        found = found || (first <= number && number <= last);
    }
    return found;
}

/// What follows "processor": the name if it is this processor, else nothing.
std::optional<std::string> core_of(std::istream& words, const Processor& processor)
{
    std::string vendor;
    std::string models;
    std::string name;
    unsigned family = 0;
    if (!(words >> vendor >> family >> models >> std::ws) || !std::getline(words, name))
        throw std::invalid_argument("no processor");
    const bool here =
        lists(models, processor.model) && vendor == processor.vendor && family == processor.family;
    return here ? std::optional(name) : std::nullopt;
}

/// The bound of a line that begins with the kernel; 0 cycles where none is known.
std::pair<std::string, Bound> bound_of(const std::string& kernel, std::istream& words)
{
    std::string level;
    std::string place;
    std::string cycles;
    Bound bound{};
    words >> level >> place >> cycles;
    if (cycles != "-")
        bound.cycles = std::strtod(cycles.c_str(), nullptr);
    if ((place != "aligned" && place != "unaligned") || (cycles != "-" && bound.cycles <= 0))
        throw std::invalid_argument("no bound");
    std::getline(words >> std::ws, bound.resource);
    return {key(kernel, level, place), bound};
}

} // namespace

Bounds::Bounds(const std::string& path, const Processor& processor)
{
    if (path.empty()) {
        std::istringstream in(built_in);
        read(in, "bounds.txt", processor);
        return;
    }
    std::ifstream in(path);
    if (!in)
        throw std::runtime_error(path + ": cannot be read");
    read(in, path, processor);
}

void Bounds::read(std::istream& in, const std::string& from, const Processor& processor)
{
    int number = 0;
    bool here = true;
    for (std::string line; std::getline(in, line);) {
        ++number;
        std::istringstream words(line.substr(0, line.find('#')));
        std::string first;
        if (!(words >> first))
            continue;
        try {
            if (first == "processor") {
                const auto core = core_of(words, processor);
                here = core.has_value();
                core_ = core.value_or(core_);
                continue;
            }
            const auto [key, bound] = bound_of(first, words);
            if (here && core_.empty())
                core_ = "any processor";
            if (here && bound.cycles > 0)
                all_[key] = bound;
        } catch (const std::invalid_argument&) {
            throw std::runtime_error(from + ", line " + std::to_string(number) +
                                     ": neither \"kernel level aligned|unaligned cycles resource\" "
                                     "nor \"processor vendor family models name\"");
        }
    }
}

const Bound* Bounds::find(const std::string& kernel, const std::string& level, Place place) const
{
    if (place == Place::together && traits(kernel).uses.size() > 1)
        return nullptr; // several arrays off: between the two
    const auto it =
        all_.find(key(kernel, level, place == Place::aligned ? "aligned" : "unaligned"));
    return it == all_.end() ? nullptr : &it->second;
}

} // namespace bench
