// bench/row.h: one measured row, as it is printed, kept as JSON and compared.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace bench {

/// A median over the rounds, and the quartiles around it.
struct Spread {
    double median = 0, low = 0, high = 0;
    /// Half the distance of the quartiles, as a share of the median.
    double share() const { return median == 0 ? 0 : (high - low) / 2 / median; }
};

/// Somebody else on the same work: time per element, and that over ours, round by round.
struct Rival {
    std::string name;
    double ns = 0;
    Spread ratio;
};

struct Row {
    std::string group; ///< "kernels", "chain" or "threads"
    std::string name;  ///< the kernel, or what the chain does
    std::string level;
    std::size_t size = 0; ///< elements of a call (samples in a chain)
    std::size_t taps = 0; ///< 0 where there are none
    std::string place = "aligned", lengths = "fixed";

    double ns = 0;                ///< per element
    Spread cycles;                ///< per element
    double gigabytes = 0;         ///< a second
    double bound = 0;             ///< cycles per element; 0: none is known
    std::string resource;         ///< what binds
    std::vector<Rival> rivals;    ///< in the order of measurement
    std::string wrong;            ///< how our result differs from what it must be; not timed then
    std::vector<std::string> out; ///< rivals that failed their check, and how

    std::string key() const;
    const Rival* rival(const std::string& name) const;
};

/// "64", "1Ki", "64Mi", and back; throws std::invalid_argument for what is no size.
std::string size_text(std::size_t n);
std::size_t size_of(const std::string& text);

} // namespace bench
