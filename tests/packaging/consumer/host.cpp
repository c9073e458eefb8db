// tests/packaging/consumer/host.cpp: a host in C++, as somebody outside the tree would write it.
#if __cplusplus >= 202002L
#include <libsimd.hpp>
#else
#include <libsimd.h>
#endif

#include <cstdio>
#include <vector>

int main()
{
    std::vector<double> samples(1000);
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<double>(i);
#if __cplusplus >= 202002L
    const double mean = simd::avg(samples), largest = simd::max(samples);
#else
    const double mean = avg_f64(samples.data(), samples.size());
    const double largest = max_f64(samples.data(), samples.size());
#endif
    std::printf("C++: mean %.1f, largest %.0f\n", mean, largest);
}
