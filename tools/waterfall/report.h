// tools/waterfall/report.h: the figures, for programs and for people.
#ifndef WATERFALL_REPORT_H
#define WATERFALL_REPORT_H

#include "waterfall/chain.h"

#include <nlohmann/json.hpp>
#include <string>

namespace waterfall {

/// Equal for equal runs; with timings, which differ, on demand.
nlohmann::json to_json(const Analysis& analysis, bool with_timings = false);

/// A few lines for the terminal, each ended by a newline.
std::string table(const Analysis& analysis);

} // namespace waterfall

#endif // WATERFALL_REPORT_H
