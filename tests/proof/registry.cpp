#include "proof/proof.h"

#include <cstdio>

namespace proof {

const char* name(Data data)
{
    static const char* const names[] = {"ordinary", "special",   "mixed",   "constant", "ties",
                                        "nans",     "some_nans", "numbers", "zeros",    "void_only",
                                        "wide",     "bits",      "fitting", "small",    "halves"};
    return names[static_cast<std::size_t>(data)];
}

std::vector<Level> Kernel::levels() const
{
    if (function)
        return {rig::all_levels.begin(), rig::all_levels.end()};
    return rig::table().at(name);
}

std::vector<const Kernel*> all_kernels()
{
    std::vector<const Kernel*> all;
    for (const auto* list : {&memory_kernels(), &convert_kernels(), &stats_kernels(),
                             &spectrum_kernels(), &filter_kernels()})
        for (const Kernel& kernel : *list)
            all.push_back(&kernel);
    return all;
}

Verdict check(const Kernel& kernel, Level level, const Case& given)
{
    Call call(kernel, level, given);
    kernel.run(call);
    Verdict verdict{call.made(), call.hash(), call.failure()};
    if (!verdict.failure.empty()) {
        std::string offsets;
        for (std::size_t i = 0; i < kernel.steps.size(); ++i)
            offsets += (i == 0 ? "" : "/") + std::to_string(given.at[i]);
        std::string planted;
        for (const Plant& plant : given.plants)
            if (plant.where != ~0U)
                planted += ", special " + std::to_string(plant.value) + " in " +
                           std::to_string(plant.where) + " at " + std::to_string(plant.place);
        char under[20] = "";
        if (given.mxcsr != rig::usual_mxcsr)
            std::snprintf(under, sizeof under, ", MXCSR 0x%04x", given.mxcsr);
        verdict.failure = std::string(kernel.name) + " at " + rig::name(level) + ", n " +
                          std::to_string(given.n) + ", offsets " + offsets + ", data " +
                          name(given.data) + planted + under + ", seed " +
                          std::to_string(given.seed) + ": " + verdict.failure;
    }
    return verdict;
}

} // namespace proof
