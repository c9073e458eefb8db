#include "binding/call.h"

#include <algorithm>

namespace binding {
namespace {

constexpr int contiguous_flag = 0x1;
constexpr int writeable_flag = 0x400;

std::string type_of(py::handle given) { return py::str(py::type::of(given).attr("__name__")); }

const auto* descriptor(py::handle array)
{
    return py::detail::array_descriptor_proxy(py::detail::array_proxy(array.ptr())->descr);
}

bool is_array(py::handle given) { return py::detail::npy_api::get().PyArray_Check_(given.ptr()); }

std::size_t size_of(py::handle array)
{
    const auto* a = py::detail::array_proxy(array.ptr());
    std::size_t size = 1;
    for (int i = 0; i < a->nd; ++i)
        size *= static_cast<std::size_t>(a->dimensions[i]);
    return size;
}

} // namespace

void Call::refuse(const std::string& argument, const std::string& wanted,
                  const std::string& got) const
{
    throw py::value_error(std::string(kernel_.name) + ": " + argument + ": wanted " + wanted +
                          ", got " + got);
}

View Call::contiguous(py::handle given, const char* name, int number, int pair, const char* wanted,
                      unsigned traits) const
{
    const auto wrong_type = [&](const std::string& got) {
        return py::type_error(std::string(kernel_.name) + ": " + name + ": wanted an array of " +
                              wanted + ", got " + got);
    };
    if (!is_array(given))
        throw wrong_type(type_of(given));
    const auto* type = descriptor(given);
    const bool complex = type->type_num == pair;
    const bool native = type->byteorder == '=' || type->byteorder == '|';
    if (number >= 0 && ((type->type_num != number && !complex) || !native))
        throw wrong_type(py::str(given.attr("dtype")));
    const auto* a = py::detail::array_proxy(given.ptr());
    if ((a->flags & contiguous_flag) == 0)
        refuse(name, "a contiguous array", "one with strides");
    if ((traits & written) != 0 && (a->flags & writeable_flag) == 0)
        refuse(name, "a writable array", "a read-only one");
    View view{name, a->data, size_of(given), static_cast<std::size_t>(type->elsize),
              (traits & written) != 0};
    if ((traits & pairs) != 0 && !complex) {
        if (view.count % 2 != 0)
            refuse(name, "pairs, an even number of elements", std::to_string(view.count));
        view.count /= 2;
        view.each *= 2;
    }
    if ((traits & one_at_least) != 0 && view.count == 0)
        refuse(name, "at least 1 element", "0");
    return view;
}

View Call::bytes(py::handle given, const char* name, unsigned traits) const
{
    View view = contiguous(given, name, -1, -1, "any type without Python objects", traits);
    if (given.attr("dtype").attr("hasobject").cast<bool>())
        throw py::type_error(std::string(kernel_.name) + ": " + name +
                             ": wanted an array of any type without Python objects, got " +
                             std::string(py::str(given.attr("dtype"))));
    view.count *= view.each;
    view.each = 1;
    return view;
}

std::size_t Call::whole(py::handle given, const char* name) const
{
    const auto index = py::reinterpret_steal<py::object>(PyNumber_Index(given.ptr()));
    if (!index) {
        PyErr_Clear();
        throw py::type_error(std::string(kernel_.name) + ": " + name +
                             ": wanted a whole number, got " + type_of(given));
    }
    const Py_ssize_t value = PyLong_AsSsize_t(index.ptr());
    if (PyErr_Occurred() != nullptr)
        PyErr_Clear();
    if (value < 0)
        refuse(name, "a whole number of 0 or more", py::str(index));
    return static_cast<std::size_t>(value);
}

std::size_t Call::count(py::handle n, std::initializer_list<View> views) const
{
    const View& first = *views.begin();
    const std::size_t wanted = n.is_none() ? first.count : whole(n, "n");
    for (const View& view : views)
        if (n.is_none() ? view.count != wanted : view.count < wanted)
            refuse(view.name,
                   (n.is_none() ? "" : "at least ") + std::to_string(wanted) +
                       (n.is_none() ? std::string(" elements as in ") + first.name
                                    : " elements, n of them"),
                   std::to_string(view.count));
    return wanted;
}

void Call::apart(std::size_t n, std::initializer_list<View> views, const char* same,
                 const char* as) const
{
    for (const View& a : views)
        for (const View& b : views)
            if (a.out && &a != &b && a.address() < b.address() + std::min(n, b.count) * b.each &&
                b.address() < a.address() + std::min(n, a.count) * a.each) {
                if (same != nullptr && a.data == b.data && std::string_view(a.name) == same &&
                    std::string_view(b.name) == as)
                    continue;
                refuse(a.name, std::string("memory apart from ") + b.name, "an overlap");
            }
}

template <>
double Call::number<double>(py::handle given, const char* name) const
{
    const double value = PyFloat_AsDouble(given.ptr());
    if (PyErr_Occurred() != nullptr) {
        PyErr_Clear();
        throw py::type_error(std::string(kernel_.name) + ": " + name + ": wanted a number, got " +
                             type_of(given));
    }
    return value;
}

/// A numpy.float32 keeps its bits: as a double, a signalling NaN would turn quiet.
template <>
float Call::number<float>(py::handle given, const char* name) const
{
    if (!PyFloat_Check(given.ptr()) && PyObject_CheckBuffer(given.ptr()) != 0) {
        Py_buffer buffer;
        if (PyObject_GetBuffer(given.ptr(), &buffer, PyBUF_FORMAT) == 0) {
            const bool scalar = buffer.ndim == 0 && buffer.len == sizeof(float) &&
                                buffer.format != nullptr && buffer.format[0] == 'f';
            float value = 0;
            if (scalar)
                std::copy_n(static_cast<const char*>(buffer.buf), sizeof value,
                            reinterpret_cast<char*>(&value));
            PyBuffer_Release(&buffer);
            if (scalar)
                return value;
        }
        PyErr_Clear();
    }
    return static_cast<float>(number<double>(given, name));
}

void Call::must_be_available(const Kernel& k) const
{
    if (!k.unavailable.empty())
        throw std::runtime_error(std::string(k.name) + ": not usable here: " + k.unavailable);
    if (k.address() == nullptr)
        throw std::runtime_error(std::string(k.name) + ": the library's entry is null");
}

Level Call::presumed_level(const Kernel& k)
{
    Level level = Level::base;
    for (const Variant& variant : k.variants)
        if (variant.level <= *presumed)
            level = variant.level;
    return level;
}

} // namespace binding
