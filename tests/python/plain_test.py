#!/usr/bin/env python3
"""Checks the plain functions of libsimd: the docstrings' examples, what NumPy and SciPy compute, every
kind of array in and out, and what is refused."""
import doctest
import itertools
import math
import threading
import unittest

import numpy as np

import libsimd
from libsimd import _info, _plain, kernels

try:
    import scipy.ndimage
    import scipy.signal
except ImportError:
    scipy = None

RANDOM = np.random.default_rng(1)
LENGTHS = [*range(0, 40), 63, 64, 65, 100, 255, 256, 257, 1000, 4095, 4096, 4097, 10001]
EPSILON = {"float32": 2.0 ** -23, "float64": 2.0 ** -52}


def samples(shape, dtype):
    if np.dtype(dtype).kind == "c":
        part = "float32" if dtype == "complex64" else "float64"
        return (samples(shape, part) + 1j * samples(shape, part)).astype(dtype)
    if np.dtype(dtype).kind in "iu":
        limits = np.iinfo(dtype)
        return RANDOM.integers(limits.min, limits.max, shape, dtype, endpoint=True)
    return RANDOM.standard_normal(shape).astype(dtype)


def disguises(x):
    """The same values in arrays of every make."""
    yield x
    yield x.astype(x.dtype.newbyteorder(">"))
    frozen = x.copy()
    frozen.flags.writeable = False
    yield frozen
    for skip in (1, 4, 8):  # off the element or the vector
        odd = np.zeros(x.nbytes + 9, np.uint8)[skip:skip + x.nbytes].view(x.dtype).reshape(x.shape)
        odd[...] = x
        yield odd
    if x.ndim:
        wide = np.zeros(x.shape[:-1] + (3 * x.shape[-1] + 1,), x.dtype)
        wide[..., 1::3] = x
        yield wide[..., 1::3]
        yield np.ascontiguousarray(x[..., ::-1])[..., ::-1]
    yield np.asfortranarray(x)


def reference_peak(peak, x):
    return np.fmax(peak, x)


def reference_smooth(x, taps):
    half = len(taps) // 2
    longer = np.concatenate([np.repeat(x[:1], half), x, np.repeat(x[-1:], half)]).astype("float64")
    return np.convolve(longer, np.asarray(taps, "float64"), "valid")


class Examples(unittest.TestCase):
    def test_docstrings(self):
        for module in (libsimd, kernels, _plain, _info):
            result = doctest.testmod(module)
            self.assertEqual(result.failed, 0)
            self.assertGreater(result.attempted, 2)
        for name in libsimd.__all__:
            if name != "kernels":
                self.assertIn(">>> ", getattr(libsimd, name).__doc__, name)


class Values(unittest.TestCase):
    def near(self, got, wanted, units, what=""):
        """Within so many units of the larger magnitude's last place."""
        got, wanted = np.asarray(got), np.asarray(wanted)
        self.assertEqual(got.shape, wanted.shape, what)
        if not got.size:
            return
        self.assertLessEqual(np.abs(got.astype("complex128") - wanted).max(),
                             units * EPSILON[got.real.dtype.name] * np.abs(wanted).max(), what)

    def test_minmax(self):
        for dtype in ("uint8", "int16", "float32", "float64"):
            for n in LENGTHS[1:]:
                x = samples(n, dtype)
                for y in disguises(x):
                    got = libsimd.minmax(y)
                    self.assertEqual(got, (x.min(), x.max()), (dtype, n))
        # The extremes at every place, from every offset.
        room = libsimd.empty(140)
        for n, skip in itertools.product((31, 32, 33, 64, 65), range(8)):
            x = room[skip:skip + n]
            for place in range(n):
                x[:] = 0
                x[place] = 7
                self.assertEqual(libsimd.minmax(x), (0, 7), (n, skip, place))
                x[place] = -7
                self.assertEqual(libsimd.minmax(x), (-7, 0), (n, skip, place))
                x[place] = math.nan
                self.assertTrue(all(map(math.isnan, libsimd.minmax(x))), (n, skip, place))
        both = np.array([math.inf, 1, -math.inf] * 20)
        self.assertEqual(libsimd.minmax(both), (-math.inf, math.inf))

    def test_rows(self):
        for dtype in ("float32", "float64"):
            x = samples((5, 3, 70), dtype)
            for y in disguises(x):
                least, most = libsimd.minmax(y, axis=-1)
                np.testing.assert_array_equal(least, x.min(-1))
                np.testing.assert_array_equal(most, x.max(-1))
                self.near(libsimd.mean(y, axis=2), x.astype("float64").mean(-1), 16)
            out = np.empty((3, 5), dtype).T
            self.assertIs(libsimd.mean(x, axis=-1, out=out), out)
            self.near(out, x.astype("float64").mean(-1), 16)
            both = np.empty((2, 5, 3), dtype)
            self.assertIs(libsimd.minmax(x, -1, both), both)
            np.testing.assert_array_equal(both[1], x.max(-1))
            scalar = np.empty((), dtype)
            self.assertEqual(libsimd.mean(x, out=scalar), scalar)

    def test_mean_and_floor(self):
        for dtype in ("float32", "float64"):
            self.assertTrue(math.isnan(libsimd.mean(np.zeros(0, dtype))))
            for n in LENGTHS[1:]:
                x = np.abs(samples(n, dtype))
                below = x[x <= 0.7].astype("float64")
                for y in disguises(x):
                    self.near(dtype_of(libsimd.mean(y), dtype), x.astype("float64").mean(), 16)
                    floor = libsimd.floor_level(y, 0.7)
                    if below.size:
                        self.near(dtype_of(floor, dtype), below.mean(), 16, (dtype, n))
                    else:
                        self.assertTrue(math.isnan(floor))
            x = np.array([1, math.nan, 3, math.inf, 100], dtype)
            self.assertEqual(libsimd.floor_level(x, 10), 2)
            self.assertEqual(libsimd.floor_level(np.array([1, 2, 9], dtype)), 1.5)
        long = np.full(1 << 24, 0.1, "float32")
        self.assertAlmostEqual(libsimd.mean(long), float(np.float32(0.1)), delta=1e-7)

    def test_level_between_floats(self):
        """0.1 as a float32 is above 0.1, and NumPy compares what the array holds."""
        x = np.array([0.1, 0.05], "float32")
        self.assertAlmostEqual(libsimd.floor_level(x, 0.1), 0.05, delta=1e-8)

    def test_peak_hold(self):
        for dtype in ("float32", "float64"):
            for n in LENGTHS:
                a, b = samples(n, dtype), samples(n, dtype)
                if n > 3:
                    a[n // 2], b[n // 3], a[0], b[0] = math.nan, math.nan, math.nan, math.nan
                wanted = reference_peak(a, b)
                for y in disguises(b):
                    np.testing.assert_array_equal(libsimd.peak_hold(a, y), wanted)
                    np.testing.assert_array_equal(libsimd.peak_hold(y, a), wanted)
                held = a.copy()
                self.assertIs(libsimd.peak_hold(held, b, out=held), held)
                np.testing.assert_array_equal(held, wanted)
                other = b.copy()
                libsimd.peak_hold(a, other, out=other)
                np.testing.assert_array_equal(other, wanted)
            line = samples(101, dtype)
            wanted = reference_peak(line[1:], line[:-1])
            libsimd.peak_hold(line[1:], line[:-1], out=line[1:])
            np.testing.assert_array_equal(line[1:], wanted)

    def test_decibels(self):
        for dtype, tolerance in (("float32", 1e-4), ("float64", 1e-12)):
            for n in LENGTHS:
                p = 10 ** (samples(n, dtype) * 5)
                wanted = 10 * np.log10(p.astype("float64")) - 3
                for y in disguises(p):
                    got = libsimd.decibels(y, 3)
                    self.assertEqual(got.dtype.name, dtype)
                    if n:
                        self.assertLess(np.abs(got - wanted).max(), tolerance, (dtype, n))
            for n in (5, 31, 32, 33, 64, 100):
                for place in range(n):
                    p = np.ones(n, dtype)
                    p[place] = math.inf
                    got = libsimd.decibels(p)
                    self.assertEqual(got[place], math.inf)
                    self.assertEqual(np.count_nonzero(got), 1)
            floor = {"float32": -379.3, "float64": -3076.5}[dtype]
            for low in (0.0, -1.0, math.nan, -math.inf):
                got = libsimd.decibels(np.full(40, low, dtype))
                self.assertLess(np.abs(got - floor).max(), 0.1)
        row = np.ones((4, 6))
        self.assertIs(libsimd.decibels(row, out=row), row)
        self.assertEqual(row.sum(), 0)

    def test_power_spectrum(self):
        for dtype in ("complex64", "complex128"):
            for n in LENGTHS:
                z = samples(n, dtype)
                plain = z.real * z.real + z.imag * z.imag
                for y in disguises(z):
                    got = libsimd.power_spectrum(y)
                    np.testing.assert_array_equal(got, np.fft.fftshift(plain))
                    np.testing.assert_array_equal(libsimd.power_spectrum(y, shift=False), plain)
            z = samples((3, 16), dtype)
            plain = np.fft.fftshift(z.real * z.real + z.imag * z.imag, axes=-1)
            np.testing.assert_array_equal(libsimd.power_spectrum(z), plain)
            np.testing.assert_array_equal(libsimd.power_spectrum(z.T), np.fft.fftshift(
                (z.real * z.real + z.imag * z.imag).T, axes=-1))
            # `out` within the input's memory.
            own = z.view("float32" if dtype == "complex64" else "float64")[:, :16]
            np.testing.assert_array_equal(libsimd.power_spectrum(z, out=own), plain)

    def test_quantize_and_restore(self):
        for dtype, bits in itertools.product(("float32", "float64"), (8, 16)):
            for n in LENGTHS[1:]:
                for shift in (0, 1000):
                    x = samples(n, dtype) + np.asarray(shift, dtype)
                    for y in disguises(x):
                        codes, step, offset = libsimd.quantize(y, bits)
                        self.assertEqual(codes.dtype.name, {8: "uint8", 16: "int16"}[bits])
                        again = libsimd.restore(codes, step, offset, dtype)
                        slack = 4 * EPSILON[dtype] * np.abs(x).max()
                        self.assertLessEqual(np.abs(again.astype("float64") - x).max(),
                                             step / 2 + slack, (dtype, bits, n))
                        self.assertAlmostEqual(step, float(np.ptp(x)) / (2 ** bits - 1),
                                               delta=1e-4 * step + 1e-300)
            codes, step, offset = libsimd.quantize(np.full(77, 5, dtype), bits)
            self.assertEqual((step, offset, len(set(codes.tolist()))), (0, 5, 1))
            square = samples((9, 7), dtype)
            out = np.empty((7, 9), f"{'u1' if bits == 8 else 'i2'}").T
            again = libsimd.quantize(square, bits, out=out)
            self.assertIs(again[0], out)
            np.testing.assert_array_equal(out, libsimd.quantize(square, bits)[0])
            for bad in (math.nan, math.inf, -math.inf):
                for n, place in ((40, 3), (64, 63), (1, 0)):
                    x = samples(n, dtype)
                    x[place] = bad
                    with self.assertRaisesRegex(ValueError, "wanted finite samples"):
                        libsimd.quantize(x, bits)
            top = np.finfo(dtype).max
            with self.assertRaisesRegex(ValueError, "x: wanted a range within " + dtype):
                libsimd.quantize(np.array([top, -top], dtype), bits)
            big = np.full(64, top / 4, dtype)  # whose sum is beyond the type
            self.assertEqual(libsimd.quantize(big, bits)[1], 0)

    def test_restore(self):
        for code, dtype in itertools.product(("uint8", "int16", "uint16"), ("float32", "float64")):
            if (code, dtype) == ("uint16", "float32"):
                continue
            for n in LENGTHS:
                q = samples(n, code)
                wanted = q.astype(dtype) * np.asarray(0.37, dtype) + np.asarray(-3, dtype)
                for y in disguises(q):
                    np.testing.assert_array_equal(libsimd.restore(y, 0.37, -3, dtype), wanted)
                for out in disguises(np.empty(n, dtype)):
                    if out.flags.writeable:
                        self.assertIs(libsimd.restore(q, 0.37, -3, out=out), out)
                        np.testing.assert_array_equal(out, wanted)

    def test_smooth(self):
        for dtype in ("float32", "float64"):
            for n, half in itertools.product([0, 1, 2, 3, 5, 8, 20, 33, 64, 200], [0, 1, 2, 5, 11]):
                taps = samples(2 * half + 1, "float64")
                taps = (taps + taps[::-1]).astype(dtype)
                x = samples(n, dtype)
                wanted = reference_smooth(x, taps) if n else x
                for y in disguises(x):
                    got = libsimd.smooth(y, taps)
                    self.near(got, wanted, 40 * (2 * half + 1), (dtype, n, half))
                if scipy and n:
                    self.near(got, scipy.ndimage.correlate1d(x.astype("float64"), taps.astype(
                        "float64"), mode="nearest"), 40 * (2 * half + 1))
            x = samples((3, 30), dtype)
            np.testing.assert_array_equal(libsimd.smooth(x, [1, 2, 1])[1],
                                          libsimd.smooth(x[1], [1, 2, 1]))
            x = samples(50, dtype)
            wanted = libsimd.smooth(x, [1, 2, 1])
            np.testing.assert_array_equal(libsimd.smooth(x, [1, 2, 1], out=x), wanted)

    def test_smooth_frames(self):
        for dtype in ("float32", "float64"):
            frames = samples((6, 37), dtype)
            average = libsimd.SmoothFrames(0.25)
            state = frames[0].astype(dtype)
            for i, frame in enumerate(frames):
                if i:
                    state = (frame - state) * np.asarray(0.25, dtype) + state
                for y in list(disguises(frame))[i:i + 1]:
                    got = average(y)
                np.testing.assert_array_equal(got, state)
                got[:] = 0  # a copy
            with self.assertRaisesRegex(ValueError, r"frame: wanted shape \(37,\) as before"):
                average(frames[0][:-1])
            with self.assertRaisesRegex(TypeError, "frame: wanted float.. as before, got float"):
                average(frames[0].astype("float64" if dtype == "float32" else "float32"))
            average.reset()
            self.assertEqual(average(np.ones((2, 2), dtype)).tolist(), [[1, 1], [1, 1]])

    def test_fir(self):
        for n_taps in (1, 2, 5, 16, 33):
            taps = samples(n_taps, "float64")
            for dtype in ("complex64", "complex128"):
                z = samples(400, dtype)
                wanted = np.convolve(z.astype("complex128"), taps)[:400]
                whole = libsimd.FIR(taps)(z)
                self.near(whole, wanted, 8 * n_taps)
                if scipy:
                    self.near(whole, scipy.signal.lfilter(taps, 1, z), 8 * n_taps)
                fir, parts = libsimd.FIR(taps), []
                for part in np.split(z, [0, 1, 2, 50, 51, 53, 300]):
                    parts.append(fir(list(disguises(part))[len(parts)]))
                self.assertEqual(np.concatenate(parts).tobytes(), whole.tobytes())
                fir.reset()
                narrow = np.empty(400, "complex64")
                self.assertIs(fir(z, out=narrow), narrow)
                self.near(narrow, wanted, 4)
                fir.reset()
                turned = np.empty(400, "complex128")[::-1]
                self.assertIs(fir(z, out=turned), turned)
                np.testing.assert_array_equal(turned, whole)
                if dtype == "complex128":
                    fir.reset()
                    self.assertEqual(fir(z, out=z).tobytes(), whole.tobytes())
            iq = samples((300, 2), "int16")
            z = (iq[:, 0] / 32768 - 0.5) + 1j * (iq[:, 1] / 32768 - 0.5)
            fir = libsimd.FIR(taps, 1 / 32768, -0.5)
            self.near(fir(iq), np.convolve(z, taps)[:300], 8 * n_taps)
            fir.reset()
            self.near(fir(iq.ravel()), np.convolve(z, taps)[:300], 8 * n_taps)

    def test_fir_keeps_its_taps(self):
        taps = libsimd.empty(2)  # which suits the kernel as it is
        taps[:] = 1, 0
        fir = libsimd.FIR(taps)
        taps[:] = 5
        fir.taps[:] = 7
        self.assertEqual(fir(np.ones(1, complex)).tolist(), [1])

    def test_fir_in_threads(self):
        """One filter in many threads: the calls take turns."""
        fir, total = libsimd.FIR(np.ones(1)), []

        def work():
            for _ in range(50):
                total.append(fir(np.ones(1000, complex)).sum())
        threads = [threading.Thread(target=work) for _ in range(4)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(set(total), {1000})


def dtype_of(value, dtype):
    return np.asarray(value, dtype)


class Refusals(unittest.TestCase):
    def test_words(self):
        row, z = np.zeros(8, "float32"), np.zeros(8, "complex64")
        frozen = row.copy()
        frozen.flags.writeable = False
        cases = [
            (TypeError, "x: wanted uint8 or int16 or float32 or float64, got complex64",
             lambda: libsimd.minmax(z)),
            (ValueError, "x: wanted at least 1 element, got 0", lambda: libsimd.minmax(row[:0])),
            (ValueError, "x: wanted at least 1 element, got 0",
             lambda: libsimd.minmax(np.zeros((3, 0)), axis=-1)),
            (ValueError, "axis: wanted None or -1, got 0",
             lambda: libsimd.mean(np.zeros((3, 2)), axis=0)),
            (TypeError, "x: wanted float32 or float64, got int64", lambda: libsimd.mean([1, 2])),
            (TypeError, "x: wanted float32 or float64, got float16",
             lambda: libsimd.mean(np.zeros(3, "float16"))),
            (TypeError, "x: wanted float32 or float64, got object",
             lambda: libsimd.mean([None])),
            (TypeError, "level: wanted a number, got str", lambda: libsimd.floor_level(row, "a")),
            (TypeError, "x: wanted float32, got float64",
             lambda: libsimd.peak_hold(row, np.zeros(8))),
            (ValueError, "x: wanted shape (8,) as peak has, got (7,)",
             lambda: libsimd.peak_hold(row, row[1:])),
            (TypeError, "z: wanted complex64 or complex128, got float32",
             lambda: libsimd.power_spectrum(row)),
            (ValueError, "z: wanted an array of bins, got a single value",
             lambda: libsimd.power_spectrum(np.complex64(1))),
            (TypeError, "out: wanted float32, got float64",
             lambda: libsimd.decibels(row, out=np.zeros(8))),
            (TypeError, "out: wanted an array of float32, got list",
             lambda: libsimd.decibels(row, out=[])),
            (ValueError, "out: wanted shape (8,), got (7,)",
             lambda: libsimd.decibels(row, out=row[1:])),
            (ValueError, "out: wanted a writable array, got a read-only one",
             lambda: libsimd.decibels(row, out=frozen)),
            (ValueError, "bits: wanted 8 or 16, got 12", lambda: libsimd.quantize(row, 12)),
            (ValueError, "x: wanted at least 1 element, got 0",
             lambda: libsimd.quantize(row[:0])),
            (TypeError, "out: wanted int16, got uint8",
             lambda: libsimd.quantize(row, 16, out=np.zeros(8, "uint8"))),
            (TypeError, "codes: wanted uint8 or int16 or uint16, got int8",
             lambda: libsimd.restore(np.zeros(8, "int8"), 1, 0)),
            (TypeError, "dtype: wanted float64, got float32",
             lambda: libsimd.restore(np.zeros(8, "uint16"), 1, 0, "float32")),
            (ValueError, "taps: wanted an odd number of them, got 2",
             lambda: libsimd.smooth(row, [1, 1])),
            (ValueError, "taps: wanted the same numbers backwards, got others",
             lambda: libsimd.smooth(row, [1, 2, 3])),
            (ValueError, "taps: wanted a row of real numbers, got complex128 of shape (1,)",
             lambda: libsimd.FIR([1j])),
            (ValueError, "taps: wanted a row of real numbers, got float64 of shape (0,)",
             lambda: libsimd.FIR([])),
            (TypeError, "samples: wanted complex64 or complex128 or int16, got float32",
             lambda: libsimd.FIR([1])(row)),
            (ValueError, "samples: wanted pairs of int16, of shape (n, 2) or (2n,), got (3,)",
             lambda: libsimd.FIR([1])(np.zeros(3, "int16"))),
            (ValueError, "share: wanted 0 to 1, got 2", lambda: libsimd.SmoothFrames(2)),
            (ValueError, "share: wanted 0 to 1, got nan", lambda: libsimd.SmoothFrames(math.nan)),
            (TypeError, "dtype: wanted a type without Python objects, got object",
             lambda: libsimd.empty(3, object)),
        ]
        for error, words, call in cases:
            with self.assertRaises(error, msg=words) as caught:
                call()
            self.assertEqual(str(caught.exception), words)

    def test_empty(self):
        for shape, dtype in ((0, "float32"), (7, "uint8"), ((3, 5), "complex64"), ((), "float64")):
            a = libsimd.empty(shape, dtype)
            self.assertEqual((a.shape, a.dtype.name), (np.empty(shape).shape, dtype))
            self.assertTrue(a.size == 0 or a.ctypes.data % 64 == 0)
        with self.assertRaises(ValueError):
            libsimd.empty(-3)


class Copies(unittest.TestCase):
    def test_conforming_arrays_are_not_copied(self):
        """Peaks of memory, as NumPy reports them to tracemalloc."""
        import tracemalloc
        size = 1 << 20
        x, z = libsimd.empty(size, "float32"), libsimd.empty(size, "complex64")
        out, codes = libsimd.empty(size, "float32"), libsimd.empty(size, "int16")
        x[:], z[:] = 1, 1
        x[0] = 2
        fir, wide = libsimd.FIR([1.0]), libsimd.empty(size, "complex128")
        average = libsimd.SmoothFrames(0.5)
        average(x)
        calls = {
            "minmax": lambda: libsimd.minmax(x), "mean": lambda: libsimd.mean(x),
            "floor_level": lambda: libsimd.floor_level(x, 1.5),
            "peak_hold": lambda: libsimd.peak_hold(out, x, out=out),
            "decibels": lambda: libsimd.decibels(x, out=out),
            "power_spectrum": lambda: libsimd.power_spectrum(z, out=out),
            "quantize": lambda: libsimd.quantize(x, 16, out=codes),
            "restore": lambda: libsimd.restore(codes, 1, 0, out=out),
            "smooth": lambda: libsimd.smooth(x, [1, 2, 1], out=out),
            "SmoothFrames": lambda: average(x, out=out), "FIR": lambda: fir(z, out=wide),
        }
        out[:] = 0
        for name, call in calls.items():
            tracemalloc.start()
            call()
            peak = tracemalloc.get_traced_memory()[1]
            tracemalloc.stop()
            self.assertLess(peak, 65536, name)
        # Strided arrays are not copied whole by what reduces them.
        for call in (libsimd.minmax, libsimd.mean, lambda a: libsimd.floor_level(a, 1.5)):
            tracemalloc.start()
            call(np.lib.stride_tricks.as_strided(x, (1 << 22,), (0,)))
            peak = tracemalloc.get_traced_memory()[1]
            tracemalloc.stop()
            self.assertLess(peak, 1 << 20)


if __name__ == "__main__":
    unittest.main()
