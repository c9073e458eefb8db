// tools/info/demands.h: variants that use more than the level they are installed at, as the header's
// table has them.
#ifndef INFO_DEMANDS_H
#define INFO_DEMANDS_H

#include "info/cpu.h"

#include <string>
#include <vector>

namespace info {

/// What the variant of `entry` at `level` uses beyond the level.
std::vector<Level> demands(const std::string& entry, Level level);

/// The kernels whose variants call this one through its entry, in some of their calls.
std::vector<std::string> callers(const std::string& entry);

} // namespace info

#endif // INFO_DEMANDS_H
