// bench/bounds.h: the least cycles per element that a variant's contract and the processor leave, from
// bench/bounds.txt: "kernel level aligned|unaligned cycles resource" in each line ("-": none is known),
// # for remarks. Unaligned is one array an element off and the others aligned. Lines hold for the
// cores that the "processor vendor family models name" above them tells of (models: 16-31,97), those
// above all such lines for any.
#pragma once

#include "bench/processor.h"
#include "bench/traits.h"

#include <iosfwd>
#include <map>
#include <string>

namespace bench {

struct Bound {
    double cycles;
    std::string resource;
};

class Bounds {
public:
    /// Without a path: the table that was built in. Throws std::runtime_error for a line that is none.
    Bounds(const std::string& path, const Processor& processor);
    /// That of a variant at a place; null where none is known.
    const Bound* find(const std::string& kernel, const std::string& level, Place place) const;
    /// The core that they hold for; empty where there are none for this processor.
    const std::string& core() const { return core_; }

private:
    void read(std::istream& in, const std::string& from, const Processor& processor);

    std::string core_;
    std::map<std::string, Bound> all_; // by "kernel level aligned|unaligned"
};

} // namespace bench
