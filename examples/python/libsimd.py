"""libsimd for Python: all 53 kernels on NumPy arrays, made from the library's kernel list.

    import libsimd
    simd = libsimd.Library("kernels.json", "libsimd.so")
    row = libsimd.aligned(1024, "float32")
    simd.fill_f32(row, row.size, -120.0)
    step, lowest = simd.pack_f32_u8(row, row.size, pixels)

Arguments stand in C's order, the counts too. Arrays are checked for what C cannot see: element
type, contiguity, length, and whether they may be written. A single value that a kernel hands out
(step, min, ...) is not passed but returned, several of them as a tuple. Alignment beyond the
element, and what else a kernel's contract demands, remain the caller's business: aligned() gives
arrays that suit every kernel at every level.
"""
import ctypes
import json

import numpy

SCALARS = {"float": ctypes.c_float, "double": ctypes.c_double, "size_t": ctypes.c_size_t}
SCALARS |= {f"{sign}int{bits}_t": getattr(ctypes, f"c_{sign}int{bits}")
            for sign in ("", "u") for bits in (8, 16, 32, 64)}


class NotInstalled(RuntimeError):
    """The processor reports no level for which the kernel has a variant."""


def aligned(count, dtype, boundary=32):
    """An array of zeros that starts on a boundary of so many bytes."""
    dtype = numpy.dtype(dtype)
    room = numpy.zeros(count * dtype.itemsize + boundary, numpy.uint8)
    skip = -room.ctypes.data % boundary
    return room[skip:skip + count * dtype.itemsize].view(dtype)


class Argument:
    """One argument of a kernel: how it is checked, and what C gets."""

    def __init__(self, kernel, description):
        self.name = description["name"]
        self.where = f"{kernel}: {self.name}"
        self.direction = description["direction"]
        self.element = description["type"].removeprefix("const ").removesuffix(" *")
        self.length = description["length"]
        self.pointer = self.direction != "value"
        self.handed_out = self.direction == "out" and self.length == "1"
        self.ctype = ctypes.c_void_p if self.pointer else SCALARS[self.element]

    def check_array(self, array, counts):
        """Raises TypeError or ValueError unless C may use the array as the contract says."""
        if not isinstance(array, numpy.ndarray):
            raise TypeError(f"{self.where} must be a NumPy array")
        if self.element != "void" and array.dtype != numpy.dtype(SCALARS[self.element]):
            raise TypeError(f"{self.where} must hold {self.element}, not {array.dtype}")
        if not array.flags.c_contiguous:
            raise ValueError(f"{self.where} must be contiguous")
        if self.direction != "in" and not array.flags.writeable:
            raise ValueError(f"{self.where} must be writable")
        have = array.nbytes if self.element == "void" else array.size
        need = eval(self.length, {"__builtins__": {}}, counts)  # "2 * n", from the kernel list
        if have < need:
            raise ValueError(f"{self.where} has {have} elements, the kernel takes {need}")


class Kernel:
    """One kernel; its entry is read at every call, as in C."""

    def __init__(self, library, description):
        self.name = description["name"]
        self.__doc__ = description["prototype"] + "\n\n" + description["text"]
        self.arguments = [Argument(self.name, a) for a in description["arguments"]]
        self.passed = [a for a in self.arguments if not a.handed_out]
        returned = SCALARS.get(description["returns"]["type"])
        self._prototype = ctypes.CFUNCTYPE(returned, *(a.ctype for a in self.arguments))
        if description["kind"] == "entry":
            self._entry = ctypes.c_void_p.in_dll(library, self.name)
        else:
            self._entry = ctypes.cast(getattr(library, self.name), ctypes.c_void_p)

    @property
    def installed(self):
        return self._entry.value is not None

    def __call__(self, *values):
        if not self.installed:
            raise NotInstalled(f"{self.name}: no variant for this processor")
        if len(values) != len(self.passed):
            raise TypeError(f"{self.name} takes " + ", ".join(a.name for a in self.passed))
        given = {a.name: value for a, value in zip(self.passed, values)}
        counts = {a.name: self._count(a, given[a.name]) for a in self.passed
                  if a.element in ("size_t", "uint64_t", "int32_t") and not a.pointer}
        handed_out, c_values = [], []
        for a in self.arguments:
            if a.handed_out:
                handed_out.append(SCALARS[a.element]())
                c_values.append(ctypes.addressof(handed_out[-1]))
            elif a.pointer:
                a.check_array(given[a.name], counts)
                c_values.append(given[a.name].ctypes.data)
            else:
                c_values.append(counts.get(a.name, given[a.name]))
        result = self._prototype(self._entry.value)(*c_values)
        if not handed_out:
            return result
        return tuple(value.value for value in handed_out)

    @staticmethod
    def _count(argument, value):
        count = int(value)
        if count != value or count < 0:
            raise ValueError(f"{argument.where} must be a whole number of 0 or more")
        return count


class Library:
    """The kernels of a library, as attributes: Library(KERNELS.JSON, LIBSIMD.SO)."""

    def __init__(self, kernel_list, path="libsimd.so"):
        with open(kernel_list, encoding="ascii") as file:
            descriptions = json.load(file)["kernels"]
        self._library = ctypes.CDLL(str(path))
        self.kernels = {d["name"]: Kernel(self._library, d) for d in descriptions}

    def __getattr__(self, name):
        try:
            return self.kernels[name]
        except KeyError:
            raise AttributeError(f"libsimd has no kernel {name}") from None

    def __dir__(self):
        return [*super().__dir__(), *self.kernels]
