// tools/info/report.h: which variant each name has on a processor, and why.
#ifndef INFO_REPORT_H
#define INFO_REPORT_H

#include "info/library.h"

#include <optional>
#include <string>
#include <vector>

namespace info {

enum class Reason {
    highest,    // the highest level that the processor reports has a variant, and it is installed
    no_variant, // the kernel has none at the higher levels that were reported
    avx2_not_seen, // it has one for AVX2, and so has the processor, but the library does not see it
    null_entry,    // no variant for this processor at all
    plain_function,
    unexpected, // a reported level with a variant was passed over
};
const char* name(Reason reason);

struct Row {
    std::string kernel;
    std::optional<Level> installed; // nothing: a null entry, or a plain function
    std::vector<Level> variants;
    Reason reason = Reason::highest;
    std::string why; // for people; "" for Reason::highest
};

struct Warning {
    std::vector<std::string> kernels;
    std::vector<Level> missing; // empty: it is the operating system
    std::string text;
};

struct Report {
    std::string library;
    Cpu cpu;
    std::vector<Asked> asked;
    bool avx2_seen = false;
    std::string avx2; // why it is or is not seen, for people; "" if there is nothing to say
    std::vector<Row> rows;
    std::vector<Warning> warnings;
};

/// `own`: report what this process's entries hold, not what a private copy does.
Report report(const Library& library, const Cpu& cpu, bool own);

/// Leaves only the kernels that are named. Throws BadRequest for an unknown name.
void keep_only(Report& report, const std::vector<std::string>& kernels);

std::string as_text(const Report& report);
std::string as_json(const Report& report);

/// "SSE, SSE2, AVX".
std::string list(const std::vector<Level>& levels);

} // namespace info

#endif // INFO_REPORT_H
