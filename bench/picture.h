// bench/picture.h: bar charts of a report, drawn by bench/plot.py.
#pragma once

#include "bench/report.h"

namespace bench {

/// Throws if the script or what it needs is missing.
void draw(const Report& report, const std::string& path);

} // namespace bench
