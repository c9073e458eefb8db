// tools/waterfall/source.h: where samples come from, and what is known about them.
#ifndef WATERFALL_SOURCE_H
#define WATERFALL_SOURCE_H

#include "waterfall/error.h"
#include "waterfall/format.h"
#include "waterfall/warnings.h"

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

/// From here on the receiver was tuned so.
struct Capture {
    std::uint64_t start = 0; ///< sample
    std::optional<double> center;
    std::optional<std::int64_t> time; ///< of that sample, nanoseconds since 1970, UTC
    std::string where;                ///< for messages: "captures[2]"
};

/// What is known about the samples before the first is read.
struct Recording {
    std::string input; ///< for messages: the path as it was given, or "standard input"
    std::string name;  ///< for titles: the file's name without folder and extension
    std::string kind;  ///< "SigMF", "WAV", "raw", ...
    Format format = Format::cf32;
    std::string coding;                   ///< as they are stored: "cs16", "cf32be"
    double rate = 1.0;                    ///< samples per second, positive
    double center = 0.0;                  ///< Hz; 0 where nothing says it
    std::optional<std::uint64_t> samples; ///< where known before reading; never 0
    std::optional<std::int64_t> time;     ///< of the first sample, nanoseconds since 1970, UTC
    std::string part; ///< which part of the input it is, for the terminal; empty: the whole
    std::vector<Annotation> annotations;
    std::vector<std::string> assumed; ///< lines for the terminal: "rate 1 S/s: nothing says it"
    /// Shared by all copies: reading adds to them.
    std::shared_ptr<Warnings> warnings = std::make_shared<Warnings>();
};

class Source {
public:
    virtual ~Source() = default;

    virtual const Recording& recording() const = 0;

    /// Reads up to `most` samples in the recording's own format; fewer only at the end, 0 after it.
    /// `block` has room for most * bytes_per_sample(). Throws Error.
    virtual std::size_t read(void* block, std::size_t most) = 0;

    /// Leaves out samples, by seeking where that can be; returns their number, which is smaller only at the
    /// end.
    virtual std::uint64_t skip(std::uint64_t samples);
};

/// A stretch of time, or of samples.
struct Span {
    double seconds = 0;
    std::optional<std::uint64_t> samples;

    /// In samples, to the nearest. Throws Error where that is beyond 2^53.
    [[nodiscard]] std::uint64_t at(double rate) const;
};

/// "90", "90s", "12m", "1h", "250ms", "1:02:03.5" (hours, minutes, seconds), "4000S" (samples).
std::optional<Span> parse_span(const std::string& text);

/// What the user asked for; what is given overrides the metadata.
struct Request {
    std::string input; ///< empty: the generated band; "-": standard input
    std::optional<std::string> format;
    std::optional<double> rate, center;
    std::optional<Span> start, duration;
    std::optional<std::uint64_t> channel; ///< of several, from 1
    bool annotations = true;              ///< are wanted
    bool strict = false;                  ///< what is missing or wrong in the input is an error
    /// Set by a signal: the input then ends where it is, be it within a sample.
    const volatile std::sig_atomic_t* stop = nullptr;
};

/// Throws Error for what no input could satisfy, such as a rate that is not positive.
void check_request(const Request& request);

/// The part of the input that is asked for, of one tuning of the receiver. Every float that is read is
/// finite: what is not is 0 and counted among the warnings.
std::unique_ptr<Source> open_source(const Request& request);

} // namespace waterfall

#endif // WATERFALL_SOURCE_H
