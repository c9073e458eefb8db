// tools/waterfall/warnings.h: what is missing or wrong in an input that is shown all the same.
#ifndef WATERFALL_WARNINGS_H
#define WATERFALL_WARNINGS_H

#include "waterfall/error.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace waterfall {

class Warnings {
public:
    /// strict: every warning is thrown as an Error.
    explicit Warnings(bool strict = false) : strict_(strict) {}

    void add(const std::string& line)
    {
        if (strict_)
            throw Error(line);
        if (lines_.size() == most)
            ++more_;
        else
            lines_.push_back(line);
    }

    /// The same for a value that is no number, of which there may be many.
    void not_finite(const std::string& input, std::uint64_t sample)
    {
        if (values_++ != 0)
            return;
        not_finite_ = input + ": sample " + std::to_string(sample) + " is not a finite number";
        if (strict_)
            throw Error(not_finite_ + "; another format?");
    }

    /// The first of each kind, "FILE: what is wrong with it", and how many more there were.
    std::vector<std::string> lines() const
    {
        std::vector<std::string> all = lines_;
        if (more_ != 0)
            all.push_back("and " + std::to_string(more_) + " more of this kind");
        if (values_ != 0)
            all.push_back(not_finite_ + "; " + std::to_string(values_) +
                          " such values are shown as 0: another format?");
        return all;
    }

private:
    static constexpr std::size_t most = 10;

    bool strict_;
    std::vector<std::string> lines_;
    std::size_t more_ = 0;
    std::string not_finite_;
    std::uint64_t values_ = 0;
};

} // namespace waterfall

#endif // WATERFALL_WARNINGS_H
