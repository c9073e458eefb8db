"""The library's 53 kernels, checked: arguments in C's order, without the counts and without the single
values that a kernel hands out, which are returned.

    >>> import numpy
    >>> from libsimd import kernels
    >>> a = numpy.arange(4, dtype="float32")
    >>> dst = numpy.empty_like(a)
    >>> kernels.mult_f32(dst, a, a)
    >>> dst.tolist()
    [0.0, 1.0, 4.0, 9.0]

Counts are those of the arrays, which must agree; `n=` asks for fewer. Arrays are contiguous, in
native byte order, of exactly the kernel's element type, and used in place; where C takes pairs,
complex arrays fit, too. What the variant on this processor would fault on or overrun is refused: an
alignment, a count that is not whole blocks, a position outside the history. Arrays that `libsimd.empty`
makes suit every variant.
"""
from . import _native

_names = [kernel["name"] for kernel in _native.facts()["kernels"]]
globals().update({name: getattr(_native, name) for name in _names})
__all__ = list(_names)
