// python/binding/plain.h
#pragma once

#include <pybind11/pybind11.h>

namespace binding {

/// Defines what the plain functions of libsimd are made of: contiguous arrays of any length, aligned to
/// their element, in native byte order; libsimd/_plain.py brings all others into this form.
void define_plain(pybind11::module_& m);

} // namespace binding
