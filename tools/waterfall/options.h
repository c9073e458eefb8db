// tools/waterfall/options.h: the command line.
#ifndef WATERFALL_OPTIONS_H
#define WATERFALL_OPTIONS_H

#include "waterfall/settings.h"
#include "waterfall/source.h"

#include <optional>
#include <string>

namespace waterfall {

struct Options {
    Request request;
    Settings settings;
    std::string waterfall, spectrum; ///< files; empty where no picture is wanted
    std::string json;                ///< "-": standard output; empty: none
    bool quiet = false;
};

/// Nothing where --help or --version has been answered on stdout. Throws Error for what cannot be.
std::optional<Options> parse_options(int argc, const char* const* argv);

} // namespace waterfall

#endif // WATERFALL_OPTIONS_H
