"""libsimd for NumPy: conversion, statistics, spectra and filters for sample streams.

Functions here take any array: any strides, any length, any alignment, either byte order; they copy
what the library cannot use in place, and nothing else. Their results have the plain meaning. `out`
takes the result where it should lie; it may be an input, too.

`libsimd.kernels` has the library's 53 kernels themselves, under their names, with C's arguments and
every irregularity; what a kernel would fault on is refused with an exception.

    >>> import numpy, libsimd
    >>> x = numpy.sin(numpy.arange(1001) * 0.01)
    >>> codes, step, offset = libsimd.quantize(x, 8)
    >>> bool(abs(libsimd.restore(codes, step, offset) - x).max() <= step)
    True

The library is the one that the environment variable LIBSIMD_LIBRARY names, or else the one in this
package's folder, or else the system's.
"""
import os as _os

from . import _native


def _load():
    named = _os.environ.get("LIBSIMD_LIBRARY", "")
    own = _os.path.join(_os.path.dirname(_os.path.abspath(__file__)), "libsimd.so")
    path = named or (own if _os.path.exists(own) else "")
    try:
        _native.load(path)
    except RuntimeError as error:
        raise ImportError(
            f"libsimd.so cannot be loaded ({error}): install the package libsimd (apt-get install "
            "libsimd, or cmake --install and ldconfig), or set LIBSIMD_LIBRARY to its path"
        ) from None


_load()

from . import kernels  # noqa: E402  (only with the library)
from ._info import info  # noqa: E402
from ._plain import (  # noqa: E402
    FIR, SmoothFrames, decibels, empty, floor_level, mean, minmax, peak_hold, power_spectrum,
    quantize, restore, smooth)

__all__ = ["FIR", "SmoothFrames", "decibels", "empty", "floor_level", "info", "kernels", "mean",
           "minmax", "peak_hold", "power_spectrum", "quantize", "restore", "smooth"]
__version__ = "1.0.0"
