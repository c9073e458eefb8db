// tools/waterfall/buffer.h: memory as the kernels like it: every buffer starts on a 64-byte
// boundary.
#ifndef WATERFALL_BUFFER_H
#define WATERFALL_BUFFER_H

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>

namespace waterfall {

/// A fixed number of elements, zero at first. All buffers of the chain share the alignment, so that
/// every variant finds its operands alike (and iir1 has no head, whose SSE form is incomplete).
template <typename T>
class Buffer {
public:
    static constexpr std::align_val_t alignment{64};

    explicit Buffer(std::size_t size) : size_(size), data_(allocate(size)) {}

    T* data() { return data_.get(); }
    const T* data() const { return data_.get(); }
    [[nodiscard]] std::size_t size() const { return size_; }
    T& operator[](std::size_t i) { return data_[i]; }
    const T& operator[](std::size_t i) const { return data_[i]; }
    T* begin() { return data(); }
    T* end() { return data() + size_; }
    const T* begin() const { return data(); }
    const T* end() const { return data() + size_; }

private:
    struct Free {
        void operator()(T* p) const { ::operator delete[](p, alignment); }
    };
    static T* allocate(std::size_t size)
    {
        T* const p = static_cast<T*>(::operator new[](size * sizeof(T), alignment));
        std::uninitialized_fill_n(p, size, T{});
        return p;
    }

    std::size_t size_;
    std::unique_ptr<T[], Free> data_;
};

} // namespace waterfall

#endif // WATERFALL_BUFFER_H
