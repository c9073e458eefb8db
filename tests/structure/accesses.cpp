// KERNEL.LEVEL_accesses: each access of a variant to its arrays has the width, the kind, the place and
// the order that its level states, and there is no other.
#include "structure/kernels.h"

#include <csignal>
#include <sstream>

namespace structure {
namespace {

/// A count that the variant's contract excludes.
bool excluded(const Kernel& kernel, Level level, std::size_t n)
{
    return kernel.name == "spec_log_f32" && level != Level::base &&
           n > threshold(kernel.name, level) && n % (level == Level::avx2 ? 8 : 4) != 0;
}

void check(const Kernel& kernel, Level level)
{
    std::size_t blocks = 0;
    for (const std::size_t n : kernel.counts)
        for (const auto& offsets : kernel.offsets) {
            if (excluded(kernel, level, n))
                continue;
            const Called r = run(kernel, level, n, offsets);
            Plan plan;
            kernel.plan(r.setting, plan);
            std::ostringstream where;
            where << "n " << n << ", offsets";
            for (const std::size_t offset : offsets)
                where << ' ' << offset;
            if (plan.faults(r.setting)) {
                EXPECT_EQ(r.trace.signal, SIGSEGV) << where.str() << ": no fault";
                continue;
            }
            ASSERT_EQ(r.trace.signal, 0) << where.str() << ": faults";
            ASSERT_FALSE(r.trace.control_word) << where.str() << ": changes MXCSR on its way";
            ASSERT_EQ(plan.difference(r.trace, kernel.name, r.setting), "") << where.str();
            for (const rig::Touch& t : r.trace.touched)
                blocks += t.width >= 16 ? 1 : 0;
        }
    EXPECT_TRUE(blocks >= 4 || level == Level::base) << "no block was seen";
}

const bool added = [] {
    for (const Kernel& k : kernels())
        for (const Level level : rig::table().at(k.name))
            add_case(k.name, level, "accesses", [&k, level] { check(k, level); });
    return true;
}();

} // namespace
} // namespace structure
