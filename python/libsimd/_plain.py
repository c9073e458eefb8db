"""The functions of libsimd: any array in, the plain result out."""
import math
import threading

import numpy as np

from . import _native

_FLOATS = ("float32", "float64")
_SUFFIX = {"uint8": "u8", "int16": "s16", "uint16": "u16", "float32": "f32", "float64": "f64",
           "complex64": "f32", "complex128": "f64"}
_PART = {"complex64": "float32", "complex128": "float64"}
_CHUNK = 65536  # elements that are copied at a time where an array is not used in place


def _words(names):
    return " or ".join(names)


def _array(given, name, types):
    """The argument as an array of one of the types, in either byte order, not copied."""
    array = np.asarray(given)
    native = array.dtype.newbyteorder("=")
    if native.name not in types:
        raise TypeError(f"{name}: wanted {_words(types)}, got {array.dtype.name}")
    return array, native.name


def _suited(array, boundary=1):
    """The array itself if the library can use it in place, or else a copy on a boundary of 64 bytes."""
    if _native.suits(array, max(boundary, array.dtype.alignment)):
        return array
    copy = empty(array.shape, array.dtype.newbyteorder("="))
    copy[...] = array
    return copy


def _out(out, shape, types, inputs=()):
    """Where the library may write the result: (the array, what to return). They differ if `out` has
    strides, lies off its alignment, or shares memory with an input."""
    if out is None:
        array = empty(shape, types[0])
        return array, array
    if not isinstance(out, np.ndarray):
        raise TypeError(f"out: wanted an array of {_words(types)}, got {type(out).__name__}")
    if out.dtype.newbyteorder("=").name not in types:
        raise TypeError(f"out: wanted {_words(types)}, got {out.dtype.name}")
    if out.shape != tuple(shape):
        raise ValueError(f"out: wanted shape {tuple(shape)}, got {out.shape}")
    if not out.flags.writeable:
        raise ValueError("out: wanted a writable array, got a read-only one")
    if _native.suits(out, out.dtype.alignment) and not any(
            np.may_share_memory(out, array) for array in inputs):
        return out, out
    return empty(shape, out.dtype.newbyteorder("=")), out


def _finish(array, result):
    if array is not result:
        result[...] = array
    return result


def _number(given, name):
    try:
        return float(given)
    except OverflowError:
        raise ValueError(f"{name}: wanted a number that a double holds, got one beyond") from None
    except (TypeError, ValueError):
        raise TypeError(f"{name}: wanted a number, got {type(given).__name__}") from None


def _parts(array, name):
    """The elements in C's order, in contiguous parts: one, if the array can be used in place."""
    if array.size == 0:
        return
    if _native.suits(array, array.dtype.alignment):
        yield array
        return
    yield from np.nditer(array, flags=["external_loop", "buffered"], order="C", buffersize=_CHUNK,
                         op_dtypes=[np.dtype(name)], op_flags=["readonly", "aligned", "contig"])


def empty(shape, dtype="float64"):
    """A new array on a boundary of 64 bytes, which suits every kernel; not initialised.

    >>> import libsimd
    >>> libsimd.empty((2, 3), "complex64").shape
    (2, 3)
    """
    dtype = np.dtype(dtype)
    if dtype.hasobject:
        raise TypeError(f"dtype: wanted a type without Python objects, got {dtype.name}")
    shape = (shape,) if np.ndim(shape) == 0 else tuple(shape)
    if any(n < 0 for n in shape):
        raise ValueError(f"shape: wanted numbers of 0 or more, got {shape}")
    size = dtype.itemsize * math.prod(int(n) for n in shape)
    room = np.empty(size + 64, np.uint8)
    skip = -room.__array_interface__["data"][0] % 64
    return room[skip:skip + size].view(dtype).reshape(shape)


def minmax(x, axis=None, out=None):
    """The smallest and the largest element of uint8, int16, float32 or float64.

    With axis=-1 those of each row: two arrays of shape x.shape[:-1], or `out` of shape
    (2,) + x.shape[:-1]. A row with a NaN gives NaN twice. In the unit of x.

    >>> import numpy, libsimd
    >>> libsimd.minmax(numpy.array([3.0, -1.0, 2.0]))
    (-1.0, 3.0)
    """
    x, name = _array(x, "x", ("uint8", "int16") + _FLOATS)
    native = getattr(_native, "extremes_" + _SUFFIX[name])

    def both(row):
        least, most = zip(*(native(part) for part in _parts(row, name)))
        if any(value != value for value in least):
            return (math.nan, math.nan)
        return (min(least), max(most))

    if (x.size if axis is None else x.shape[-1] if x.ndim else 0) == 0:
        raise ValueError("x: wanted at least 1 element, got 0")
    return _rows(x, axis, out, name, both, 2)


def _rows(x, axis, out, name, function, values):
    """function(row) of all elements (axis None) or of each row (axis -1); it gives so many values."""
    if axis not in (None, -1) and axis != x.ndim - 1:
        raise ValueError(f"axis: wanted None or -1, got {axis}")
    if axis is None:
        if out is None:
            return function(x)
        rows, shape = [x], ()
    else:
        if x.ndim == 0:
            raise ValueError("x: wanted an array of rows, got a single value")
        shape = x.shape[:-1]
        rows = (x[index] for index in np.ndindex(*shape))
    array, result = _out(out, ((2,) if values == 2 else ()) + shape, (name,), (x,))
    flat = array.reshape(values, -1)
    for i, row in enumerate(rows):
        flat[:, i] = function(row)
    result = _finish(array, result)
    return tuple(result) if values == 2 and out is None else result


def mean(x, axis=None, out=None):
    """The mean of float32 or float64, in the unit of x; NaN of no element.

    With axis=-1 that of each row, of shape x.shape[:-1]. Each 512 elements are summed in their type,
    the sums in double.

    >>> import numpy, libsimd
    >>> libsimd.mean(numpy.array([1.0, 2.0, 6.0]))
    3.0
    """
    x, name = _array(x, "x", _FLOATS)
    native = getattr(_native, "sum_" + _SUFFIX[name])

    def average(row):
        total = sum(native(part) for part in _parts(row, name))
        return total / row.size if row.size else math.nan

    return _rows(x, axis, out, name, average, 1)


def floor_level(x, level=None, axis=None, out=None):
    """A floor estimate: the mean of the elements of float32 or float64 that do not exceed `level`.

    `level`, in the unit of x, is by default the mean of x (of each row). NaN if there is no such
    element; a NaN in x never counts. With axis=-1 for each row, of shape x.shape[:-1].

    >>> import numpy, libsimd
    >>> libsimd.floor_level(numpy.array([1.0, 3.0, 100.0]), 10)
    2.0
    """
    x, name = _array(x, "x", _FLOATS)
    native = getattr(_native, "sum_below_" + _SUFFIX[name])
    given = None if level is None else _number(level, "level")

    def floor(row):
        most = mean(row) if given is None else given
        totals = [native(part, most) for part in _parts(row, name)]
        count = sum(below for _, below in totals)
        return sum(total for total, _ in totals) / count if count else math.nan

    return _rows(x, axis, out, name, floor, 1)


def peak_hold(peak, x, out=None):
    """The larger of two float32 or float64 arrays of one shape, element by element; a NaN gives way.

    `out=peak` keeps a running peak. In the unit of x.

    >>> import numpy, libsimd
    >>> peak = numpy.array([1.0, 5.0])
    >>> libsimd.peak_hold(peak, numpy.array([2.0, 2.0]), out=peak).tolist()
    [2.0, 5.0]
    """
    peak, name = _array(peak, "peak", _FLOATS)
    x, other = _array(x, "x", (name,))
    if x.shape != peak.shape:
        raise ValueError(f"x: wanted shape {peak.shape} as peak has, got {x.shape}")
    if out is peak and _native.suits(peak, peak.dtype.alignment) and peak.flags.writeable:
        array = result = peak
    else:
        array, result = _out(out, peak.shape, (name,), (peak, x))
        array[...] = peak
    if np.may_share_memory(array, x):
        x = x.copy()
    getattr(_native, "raise_" + _SUFFIX[name])(array, _suited(x))
    return _finish(array, result)


def decibels(p, offset=0.0, out=None):
    """Powers of float32 or float64 in decibels: 10 log10(p) - offset, of the shape and type of p.

    Zero, negative and subnormal powers and NaN give the floor: about -379.3 dB in float32 and
    -3076.5 dB in float64, less the offset. float32 differs from 10 log10(p) by a few units in the
    last place.

    >>> import numpy, libsimd
    >>> libsimd.decibels(numpy.array([1.0, 10.0, 1000.0])).tolist()
    [0.0, 10.0, 30.0]
    """
    p, name = _array(p, "p", _FLOATS)
    array, result = _out(out, p.shape, (name,), (p,))
    getattr(_native, "decibels_" + _SUFFIX[name])(_suited(p), array, _number(offset, "offset"))
    return _finish(array, result)


def power_spectrum(z, shift=True, out=None):
    """Power of Fourier transforms, re^2 + im^2 of complex64 or complex128, of the shape of z, in
    float32 or float64: the square of the unit of z.

    Rows are transforms along the last axis. With `shift` zero frequency stands in the middle, as
    numpy.fft.fftshift puts it. Nothing is scaled.

    >>> import numpy, libsimd
    >>> libsimd.power_spectrum(numpy.array([3 + 4j, 1, 0, 0])).tolist()
    [0.0, 0.0, 25.0, 1.0]
    """
    z, name = _array(z, "z", tuple(_PART))
    if z.ndim == 0:
        raise ValueError("z: wanted an array of bins, got a single value")
    array, result = _out(out, z.shape, (_PART[name],), (z,))
    getattr(_native, "power_" + _SUFFIX[name])(_suited(z), array, z.shape[-1], bool(shift))
    return _finish(array, result)


def quantize(x, bits=16, out=None):
    """Codes of float32 or float64 samples over their own range: x = codes * step + offset.

    8 bits give uint8 codes with offset the minimum, 16 bits int16 codes with offset the centre; of
    the shape of x. step and offset are numbers in the unit of x; the restored sample is within half a
    step and a rounding of the sample. A constant has step 0, and so has a range that is next to none:
    below 1e-33 in float32. Samples must be finite, and their range, too.

    >>> import numpy, libsimd
    >>> codes, step, offset = libsimd.quantize(numpy.array([0.0, 1.0, 255.0]), 8)
    >>> codes.tolist(), step, offset
    ([0, 1, 255], 1.0, 0.0)
    """
    x, name = _array(x, "x", _FLOATS)
    if bits not in (8, 16):
        raise ValueError(f"bits: wanted 8 or 16, got {bits!r}")
    if x.size == 0:
        raise ValueError("x: wanted at least 1 element, got 0")
    code = "uint8" if bits == 8 else "int16"
    array, result = _out(out, x.shape, (code,), (x,))
    # Whole blocks on boundaries round every sample to the nearest code. Others are filled up with
    # copies of the first sample, which change no extreme.
    native = getattr(_native, f"pack_{_SUFFIX[name]}_{_SUFFIX[code]}")
    if x.size % 32 == 0 and _native.suits(x, 32) and _native.suits(array, 32):
        samples, codes = x, array
    else:
        whole = -(-x.size // 32) * 32
        samples, codes = empty(whole, name), empty(whole, code)
        samples[:x.size].reshape(x.shape)[...] = x
        samples[x.size:] = samples[0]
    if not math.isfinite(mean(samples)) and not np.isfinite(samples).all():
        raise ValueError("x: wanted finite samples, got infinity or NaN")
    step, offset = native(samples, codes)
    if not math.isfinite(step) or not math.isfinite(offset):
        raise ValueError(f"x: wanted a range within {name}, got one beyond it")
    if codes is not array:
        array[...] = codes[:x.size].reshape(x.shape)
    _finish(array, result)
    return result, step, offset


def restore(codes, step, offset, dtype=None, out=None):
    """Samples of uint8, int16 or uint16 codes: codes * step + offset, of the shape of codes.

    In float32, or in float64 if `dtype` or `out` say so (uint16: always). step and offset as
    quantize() gives them, in the unit of the samples.

    >>> import numpy, libsimd
    >>> libsimd.restore(numpy.array([0, 1, 4], "uint8"), 0.5, -1).tolist()
    [-1.0, -0.5, 1.0]
    """
    codes, code = _array(codes, "codes", ("uint8", "int16", "uint16"))
    types = _FLOATS[1:] if code == "uint16" else _FLOATS
    if dtype is not None:
        wanted = np.dtype(dtype).name
        if wanted not in types:
            raise TypeError(f"dtype: wanted {_words(types)}, got {wanted}")
        types = (wanted,)
    array, result = _out(out, codes.shape, types, (codes,))
    samples = array if _native.suits(array, 32) else empty(array.shape, array.dtype)
    native = getattr(_native, f"unpack_{_SUFFIX[code]}_{_SUFFIX[array.dtype.name]}")
    native(_suited(codes, 32), samples, _number(step, "step"), _number(offset, "offset"))
    return _finish(samples, result)


def _taps(taps, name):
    array = np.asarray(taps)
    if array.dtype.kind not in "fiu" or array.ndim != 1 or array.size == 0:
        raise ValueError(f"taps: wanted a row of real numbers, got {array.dtype.name} of shape "
                         f"{array.shape}")
    return _suited(np.asarray(array, name), 64)


def smooth(x, taps, out=None):
    """Smooths rows of float32 or float64 by symmetric taps, centred; the ends are repeated beyond.

    `taps` is an odd number of real numbers, the same backwards. Of the shape of x; the unit is that
    of x times that of the taps.

    >>> import numpy, libsimd
    >>> libsimd.smooth(numpy.array([0.0, 0.0, 4.0, 4.0]), [0.25, 0.5, 0.25]).tolist()
    [0.0, 1.0, 3.0, 4.0]
    """
    x, name = _array(x, "x", _FLOATS)
    taps = _taps(taps, name)
    if taps.size % 2 == 0:
        raise ValueError(f"taps: wanted an odd number of them, got {taps.size}")
    if not np.array_equal(taps, taps[::-1]):
        raise ValueError("taps: wanted the same numbers backwards, got others")
    if x.ndim == 0:
        raise ValueError("x: wanted an array, got a single value")
    array, result = _out(out, x.shape, (name,), (x,))
    n, half = x.shape[-1], taps.size // 2
    native = getattr(_native, "vfilter_" + _SUFFIX[name])
    source = _suited(x)
    for index in np.ndindex(*(x.shape[:-1] if n else (0,))):
        row, target = source[index], array[index]
        if half == 0:
            np.multiply(row, taps[0], out=target)
        elif n >= 2 * half:
            native(row, taps, target)
        else:  # longer than the row: of the row with its ends repeated, as often as it takes
            longer, smoothed = empty(n + 2 * half, name), empty(n + 2 * half, name)
            longer[:half], longer[half:half + n], longer[half + n:] = row[0], row, row[-1]
            native(longer, taps, smoothed)
            target[...] = smoothed[half:half + n]
    return _finish(array, result)


class SmoothFrames:
    """Exponential averaging of frames: state = state + share * (frame - state), element by element.

    `share` is the new frame's part, from 0 to 1. The first frame sets the shape, float32 or float64,
    and the state. Each call takes a frame and returns the new state, in the unit of the frames.

    >>> import numpy, libsimd
    >>> average = libsimd.SmoothFrames(0.25)
    >>> average(numpy.array([0.0, 8.0])).tolist()
    [0.0, 8.0]
    >>> average(numpy.array([4.0, 4.0])).tolist()
    [1.0, 7.0]
    """

    def __init__(self, share):
        self.share = _number(share, "share")
        if not 0 <= self.share <= 1:
            raise ValueError(f"share: wanted 0 to 1, got {share}")
        self._state = None
        self._lock = threading.Lock()

    def __call__(self, frame, out=None):
        frame, name = _array(frame, "frame", _FLOATS)
        with self._lock:
            if self._state is None:
                array, result = _out(out, frame.shape, (name,), (frame,))
                self._state = empty(frame.shape, name)
                self._state[...] = frame
            else:
                state = self._state
                if name != state.dtype.name:
                    raise TypeError(f"frame: wanted {state.dtype.name} as before, got {name}")
                if frame.shape != state.shape:
                    raise ValueError(f"frame: wanted shape {state.shape} as before, got "
                                     f"{frame.shape}")
                array, result = _out(out, frame.shape, (name,), (frame,))
                getattr(_native, "iir1_" + _SUFFIX[name])(_suited(frame), state, self.share)
            array[...] = self._state
        return _finish(array, result)

    def reset(self):
        """Forgets the frames; the next one sets the shape again."""
        with self._lock:
            self._state = None


class FIR:
    """A FIR filter with real taps over a stream of complex samples, which may come in parts of any
    length: y[k] = sum of taps[j] * x[k - j].

    A call takes the next samples, complex64, complex128, or int16 I/Q (pairs, as shape (n, 2) or 2n
    numbers), and returns as many complex128 values, or writes them to `out`, complex128 or complex64
    of shape (n,). int16 parts are s * scale + offset. A stream cut into calls anywhere gives the bits
    of one call. In the unit of the samples times that of the taps.

    >>> import numpy, libsimd
    >>> fir = libsimd.FIR([0.5, 0.25])
    >>> fir(numpy.array([4, 0], "complex64")).tolist()
    [(2+0j), (1+0j)]
    >>> fir(numpy.array([[0, 8]], "int16")).tolist()
    [4j]
    """

    def __init__(self, taps, scale=1.0, offset=0.0):
        given = _taps(taps, "float64")
        self._taps = empty(given.size)
        self._taps[:] = given
        self.scale, self.offset = _number(scale, "scale"), _number(offset, "offset")
        self._re, self._im = empty(self._taps.size), empty(self._taps.size)
        self._lock = threading.Lock()
        self.reset()

    @property
    def taps(self):
        """A copy of the taps, that of the newest sample first."""
        return self._taps.copy()

    def reset(self):
        """Silence: forgets all samples."""
        with self._lock:
            self._re[:] = 0
            self._im[:] = 0
            self._pos = 0

    def __call__(self, samples, out=None):
        samples, name = _array(samples, "samples", ("complex64", "complex128", "int16"))
        if name == "int16":
            if samples.ndim == 1 and samples.size % 2 == 0:
                count = samples.size // 2
            elif samples.ndim == 2 and samples.shape[1] == 2:
                count = samples.shape[0]
            else:
                raise ValueError("samples: wanted pairs of int16, of shape (n, 2) or (2n,), got "
                                 f"{samples.shape}")
            native, extra = _native.fir_c16_alt, (self.scale, self.offset)
        else:
            if samples.ndim != 1:
                raise ValueError(f"samples: wanted one dimension, got shape {samples.shape}")
            native = _native.fir_c32_alt if name == "complex64" else _native.fir_c64_alt
            count, extra = samples.size, ()
        array, result = _out(out, (count,), ("complex128", "complex64"), (samples,))
        wide = array if array.dtype == np.complex128 else empty(count, "complex128")
        source = _suited(samples)
        with self._lock:
            self._pos = native(source, self._taps, self._pos, self._re, self._im, wide, *extra)
        if wide is not array and result is array:
            array[...] = wide
            return array
        return _finish(wide, result)
