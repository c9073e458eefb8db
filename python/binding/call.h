// python/binding/call.h: one call of a kernel: its arguments checked one by one, then the call without
// the interpreter lock.
#pragma once

#include "binding/kernel.h"

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>

namespace binding {

namespace py = pybind11;

/// Without the interpreter lock while it lives.
class Unlocked {
public:
    Unlocked() : state_(PyEval_SaveThread()) {}
    ~Unlocked() { PyEval_RestoreThread(state_); }
    Unlocked(const Unlocked&) = delete;
    Unlocked& operator=(const Unlocked&) = delete;

private:
    PyThreadState* state_;
};

/// NumPy's number of an element type, and of the complex type made of two of them.
template <class T>
struct Element;
#define BINDING_ELEMENT(T, own, complex, spoken, spoken_pairs)                                     \
    template <>                                                                                    \
    struct Element<T> {                                                                            \
        static constexpr int number = own, pair = complex;                                         \
        static constexpr const char *name = spoken, *pair_name = spoken_pairs;                     \
    };
BINDING_ELEMENT(std::uint8_t, 2, -1, "uint8", "uint8")
BINDING_ELEMENT(std::int16_t, 3, -1, "int16", "int16")
BINDING_ELEMENT(std::uint16_t, 4, -1, "uint16", "uint16")
BINDING_ELEMENT(std::uint32_t, 6, -1, "uint32", "uint32")
BINDING_ELEMENT(float, 11, 14, "float32", "complex64 or float32")
BINDING_ELEMENT(double, 12, 15, "float64", "complex128 or float64")
#undef BINDING_ELEMENT

enum Traits : unsigned {
    read = 0,
    written = 1,
    pairs = 2,        // counted in pairs; complex arrays fit, too
    any_address = 4,  // may be off the alignment of its element
    one_at_least = 8, // the kernel reads the first element even with n = 0
};

/// An array argument as the kernel gets it.
struct View {
    const char* name = "";
    char* data = nullptr;
    std::size_t count = 0; // elements, or pairs
    std::size_t each = 1;  // bytes of one of them
    bool out = false;

    template <class T>
    T* as() const
    {
        return reinterpret_cast<T*>(data);
    }
    std::uintptr_t address() const { return reinterpret_cast<std::uintptr_t>(data); }
    std::uintptr_t modulo(std::size_t bytes) const { return address() % bytes; }
};

class Call {
public:
    explicit Call(const Kernel& k) : kernel_(k), level_(presumed ? presumed_level(k) : k.level) {}

    /// The level whose preconditions hold.
    Level level() const { return level_; }
    std::size_t width() const { return level_ == Level::base ? 0 : level_ >= Level::avx ? 32 : 16; }

    template <class T>
    View array(py::handle given, const char* name, unsigned traits = read) const
    {
        View view = contiguous(
            given, name, Element<T>::number, (traits & pairs) != 0 ? Element<T>::pair : -1,
            (traits & pairs) != 0 ? Element<T>::pair_name : Element<T>::name, traits);
        if ((traits & any_address) == 0 && view.modulo(sizeof(T)) != 0)
            refuse(name, "an array aligned to its element", "one at " + place(view, sizeof(T)));
        return view;
    }
    /// Any array without Python objects in it, counted in bytes.
    View bytes(py::handle given, const char* name, unsigned traits) const;

    /// n, or where it is None the count of the first array, which all others must have, too.
    std::size_t count(py::handle n, std::initializer_list<View> views) const;
    /// Of a parameter of its own.
    std::size_t whole(py::handle given, const char* name) const;
    /// Written arrays must not share memory with any other, over n elements of each (or all, if
    /// there are fewer); `same` may start where `as` starts.
    void apart(std::size_t n, std::initializer_list<View> views, const char* same = nullptr,
               const char* as = nullptr) const;
    template <class T>
    T number(py::handle given, const char* name) const;

    [[noreturn]] void refuse(const std::string& argument, const std::string& wanted,
                             const std::string& got) const;
    static std::string place(const View& view, std::size_t modulus)
    {
        return std::to_string(view.modulo(modulus)) + " modulo " + std::to_string(modulus);
    }

    /// Calls, without the interpreter lock. While a level is presumed nothing is called.
    template <class Fn, class Body>
    auto run(Body body) const
    {
        using Result = decltype(body(static_cast<Fn*>(nullptr)));
        Fn* const entry = ready<Fn>();
        if constexpr (std::is_void_v<Result>) {
            if (entry == nullptr)
                return;
            const Unlocked unlocked;
            body(entry);
        } else {
            if (entry == nullptr)
                return Result{};
            const Unlocked unlocked;
            return body(entry);
        }
    }
    void must_be_available(const Kernel& k) const;

    /// For tests: checks as this level demands, and no call.
    static inline std::optional<Level> presumed;

private:
    static Level presumed_level(const Kernel& k);
    template <class Fn>
    Fn* ready() const
    {
        if (presumed)
            return nullptr;
        must_be_available(kernel_);
        return reinterpret_cast<Fn*>(kernel_.address());
    }
    View contiguous(py::handle given, const char* name, int number, int pair, const char* wanted,
                    unsigned traits) const;

    const Kernel& kernel_;
    const Level level_;
};

} // namespace binding
