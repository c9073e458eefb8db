// python/binding/module.cpp: libsimd._native: the loader, the kernels, and what the plain layer needs.
#include "binding/call.h"
#include "binding/kernel.h"
#include "binding/kernels.h"
#include "binding/plain.h"

namespace {

namespace py = pybind11;
using binding::Level;

py::list names_of(const std::vector<Level>& levels)
{
    py::list names;
    for (const Level level : levels)
        names.append(binding::level_names[static_cast<std::size_t>(level)]);
    return names;
}

/// What libsimd.info() is made of.
py::dict facts()
{
    py::dict features;
    for (std::size_t i = 1; i < std::size(binding::level_names); ++i)
        features[binding::level_names[i]] = binding::reported(static_cast<Level>(i));
    py::list kernels;
    for (const binding::Kernel& k : binding::kernels()) {
        py::list variants;
        for (const binding::Variant& variant : k.variants) {
            py::dict one;
            one["level"] = binding::level_names[static_cast<std::size_t>(variant.level)];
            one["also_uses"] = names_of(variant.demands);
            variants.append(one);
        }
        py::dict one;
        one["name"] = k.name;
        one["kind"] = k.function ? "function" : "entry";
        one["installed"] = k.function || k.address() == nullptr
                               ? py::object(py::none())
                               : py::str(binding::level_names[static_cast<std::size_t>(k.level)]);
        one["variants"] = variants;
        one["unavailable"] = k.unavailable;
        kernels.append(one);
    }
    py::dict all;
    all["library"] = binding::library_path();
    all["features"] = features;
    all["wide_registers_enabled"] = binding::wide_registers_enabled();
    all["kernels"] = kernels;
    return all;
}

/// For tests: calls are checked as a level demands and not made, until None is given.
void presume(const py::object& name)
{
    if (name.is_none()) {
        binding::Call::presumed.reset();
        return;
    }
    for (std::size_t i = 0; i < std::size(binding::level_names); ++i)
        if (name.cast<std::string>() == binding::level_names[i])
            binding::Call::presumed = static_cast<Level>(i);
}

} // namespace

PYBIND11_MODULE(_native, m)
{
    py::options options;
    options.disable_function_signatures();
    m.doc() = "The compiled part of libsimd.";
    m.def("load", &binding::load);
    m.def("facts", &facts);
    m.def("presume", &presume);
    binding::define_kernels(m);
    binding::define_plain(m);
}
