#include "bench/bounds.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace bench {
namespace {

const char* const built_in =
#include "bounds.inc" // bench/bounds.txt as a string; the build makes it
    ;

std::string key(const std::string& kernel, const std::string& level, const std::string& place)
{
    return kernel + ' ' + level + ' ' + place;
}

} // namespace

Bounds::Bounds(const std::string& path)
{
    if (path.empty()) {
        std::istringstream in(built_in);
        read(in, "bounds.txt");
        return;
    }
    std::ifstream in(path);
    if (!in)
        throw std::runtime_error(path + ": cannot be read");
    read(in, path);
}

void Bounds::read(std::istream& in, const std::string& from)
{
    int number = 0;
    for (std::string line; std::getline(in, line);) {
        ++number;
        std::istringstream words(line.substr(0, line.find('#')));
        std::string kernel, level, place, cycles;
        if (!(words >> kernel))
            continue;
        Bound bound{};
        if (words >> level >> place >> cycles && cycles != "-")
            bound.cycles = std::strtod(cycles.c_str(), nullptr);
        if ((place != "aligned" && place != "unaligned") || (cycles != "-" && bound.cycles <= 0))
            throw std::runtime_error(from + ", line " + std::to_string(number) +
                                     ": not \"kernel level aligned|unaligned cycles resource\"");
        std::getline(words >> std::ws, bound.resource);
        if (cycles != "-")
            all_[key(kernel, level, place)] = bound;
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
