// python/binding/kernels.h
#pragma once

#include <pybind11/pybind11.h>

namespace binding {

/// Defines the 53 kernels, checked, in a module.
void define_kernels(pybind11::module_& m);

} // namespace binding
