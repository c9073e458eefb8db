#include "bench/processor.h"

#include <cpuid.h>
#include <cstring>

namespace bench {

std::string Processor::text() const
{
    return vendor + " family " + std::to_string(family) + " model " + std::to_string(model);
}

Processor processor_at_hand()
{
    unsigned a = 0;
    unsigned b = 0;
    unsigned c = 0;
    unsigned d = 0;
    Processor p;
    if (__get_cpuid(0, &a, &b, &c, &d) != 0) {
        char letters[12];
        std::memcpy(letters, &b, 4);
        std::memcpy(letters + 4, &d, 4);
        std::memcpy(letters + 8, &c, 4);
        p.vendor.assign(letters, sizeof letters);
    }
    if (__get_cpuid(1, &a, &b, &c, &d) != 0) {
        p.family = a >> 8 & 15;
        p.model = a >> 4 & 15;
        if (p.family == 15 || p.family == 6)
            p.model |= (a >> 16 & 15) << 4;
        if (p.family == 15)
            p.family += a >> 20 & 255;
    }
    return p;
}

} // namespace bench
