// tools/waterfall/source.h: where samples come from, and what is known about them.
#ifndef WATERFALL_SOURCE_H
#define WATERFALL_SOURCE_H

#include "waterfall/error.h"
#include "waterfall/format.h"

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace waterfall {

/// A marked part of a recording.
struct Annotation {
    double start, length; ///< seconds
    double low, high;     ///< Hz, absolute; the whole band where the metadata gives no edges
    std::string label;    ///< one line; may be empty
};

/// What is known about the samples before the first is read.
struct Recording {
    std::string input; ///< for messages: the path as it was given, or "standard input"
    std::string name;  ///< for titles: the file's name without folder and extension
    std::string kind;  ///< "SigMF", "WAV", "raw", ...
    Format format = Format::cf32;
    double rate = 1.0;                    ///< samples per second, positive
    double center = 0.0;                  ///< Hz; 0 where nothing says it
    std::optional<std::uint64_t> samples; ///< where known before reading; never 0
    std::vector<Annotation> annotations;
    std::vector<std::string> assumed; ///< lines for the terminal: "rate 1 S/s: nothing says it"
};

class Source {
public:
    virtual ~Source() = default;

    virtual const Recording& recording() const = 0;

    /// Reads up to `most` samples in the recording's own format; fewer only at the end, 0 after it.
    /// `block` has room for most * bytes_per_sample(). Every float is finite. Throws Error, also for
    /// an input that ends before it should, within a sample, or without any.
    virtual std::size_t read(void* block, std::size_t most) = 0;
};

/// What the user asked for; what is given overrides the metadata.
struct Request {
    std::string input; ///< empty: the generated band; "-": standard input
    std::optional<std::string> format;
    std::optional<double> rate, center;
    /// Set by a signal: the input then ends where it is, be it within a sample.
    const volatile std::sig_atomic_t* stop = nullptr;
};

/// Throws Error for what no input could satisfy, such as a rate that is not positive.
void check_request(const Request& request);

std::unique_ptr<Source> open_source(const Request& request);

} // namespace waterfall

#endif // WATERFALL_SOURCE_H
