#include "rig/call.h"
#include "rig/library.h"
#include <gtest/gtest.h>
TEST(smoke, loads)
{
    for (auto l : rig::all_levels) {
        auto& lib = rig::at(l);
        printf("%s fill=%s memcpy=%s swap=%s q=%zu\n", rig::name(l),
               lib.variant("fill_f32").c_str(), lib.variant("memcpy_fast").c_str(),
               lib.variant("swap_words_u32").c_str(), lib.queries().size());
        for (auto q : lib.queries())
            printf(" %x/%x", q.leaf, q.subleaf);
        puts("");
        for (auto& [k, v] : lib.at_first_cpuid())
            if (!v.empty())
                printf("  %s=%s\n", k.c_str(), v.c_str());
    }
}
