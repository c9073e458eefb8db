// tests/packaging/consumer/host.cpp: a host in C++, as somebody outside the tree would write it.
#include <libsimd.h>

#include <cstdio>
#include <vector>

int main()
{
    std::vector<double> samples(1000);
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<double>(i);
    std::printf("C++: mean %.1f, largest %.0f\n", avg_f64(samples.data(), samples.size()),
                max_f64(samples.data(), samples.size()));
}
