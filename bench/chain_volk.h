// bench/chain_volk.h: arrays as VOLK wants them.
#pragma once

#include "bench/chain_others.h"

#include <algorithm>
#include <volk/volk.h>

namespace bench {

/// An array from VOLK's own allocator: its kernels fault on taps that are not aligned.
template <class T>
class Volk {
public:
    explicit Volk(std::size_t n)
        : n_(n), data_(static_cast<T*>(volk_malloc(n * sizeof(T), volk_get_alignment())))
    {
        std::fill(data_, data_ + n, T{});
    }
    explicit Volk(const std::vector<T>& from) : Volk(from.size())
    {
        std::copy(from.begin(), from.end(), data_);
    }
    ~Volk() { volk_free(data_); }
    Volk(const Volk&) = delete;
    Volk& operator=(const Volk&) = delete;
    T* data() const { return data_; }
    std::size_t size() const { return n_; }

private:
    std::size_t n_;
    T* data_;
};

inline unsigned count(std::size_t n) { return static_cast<unsigned>(n); }

} // namespace bench
