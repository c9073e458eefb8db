// tools/waterfall/options.h: the command line.
#ifndef WATERFALL_OPTIONS_H
#define WATERFALL_OPTIONS_H

#include "waterfall/settings.h"
#include "waterfall/source.h"

#include <optional>
#include <string>
#include <vector>

namespace waterfall {

struct Options {
    Request request;
    Settings settings;
    std::string waterfall, spectrum, json, json_lines; ///< files; "-": standard output, empty: none
    bool svg = false;                                  ///< pictures, whatever they are called
    bool timings = false;                              ///< among the figures
    bool quiet = false;

    /// Of all outputs, those that are wanted.
    [[nodiscard]] std::vector<std::string> outputs() const;
};

/// Nothing where --help or --version has been answered on stdout. Throws Error for what cannot be.
std::optional<Options> parse_options(int argc, const char* const* argv);

} // namespace waterfall

#endif // WATERFALL_OPTIONS_H
