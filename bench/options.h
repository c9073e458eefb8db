// bench/options.h: the command line.
#pragma once

#include "bench/jobs.h"

#include <optional>
#include <set>

namespace bench {

struct Options {
    Selection selection;
    Pace pace;
    std::set<std::string> groups = {"kernels", "chain"};
    std::string library, bounds;
    std::string json, csv, png; ///< files; empty where none is wanted
    std::string from;           ///< an earlier report instead of a measurement
    std::string compare;        ///< an older report
    double tolerance = 0.1;
    bool list = false, quiet = false;
};

/// Nothing where --help, --version or --peers has been answered. Throws CLI::Error, which `code` of
/// ends_with_error() turns into an exit status.
std::optional<Options> parse_options(int argc, const char* const* argv);

/// The table of all peers and what they do differently.
std::string peers_table();

} // namespace bench
