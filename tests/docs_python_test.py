#!/usr/bin/env python3
"""Checks the binding in examples/python: docs_python_test.py EXAMPLES JSON LIBRARY. Needs NumPy."""
import ctypes
import json
import pathlib
import subprocess
import sys
import unittest

import numpy

library_path = sys.argv.pop()
kernels_path = sys.argv.pop()
folder = pathlib.Path(sys.argv.pop())
sys.dont_write_bytecode = True
sys.path.insert(0, str(folder))
import libsimd  # noqa: E402  (its place is known only now)

with open(kernels_path, encoding="ascii") as file:
    names = [kernel["name"] for kernel in json.load(file)["kernels"]]
simd = libsimd.Library(kernels_path, library_path)


class Binding(unittest.TestCase):
    def test_host(self):
        result = subprocess.run([sys.executable, "-B", folder / "host.py", kernels_path,
                                 library_path], capture_output=True, text=True)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual(result.stdout.splitlines(), [
            "53 of 53 kernels installed", "strongest bin 100 at 0.0 dB",
            "pixels from -120.0 dB in steps of 0.471 dB", "restored within a step"])

    def test_all_kernels_are_bound(self):
        self.assertEqual(len(names), 53)
        for name in names:
            self.assertTrue(getattr(simd, name).installed, name)
            self.assertIn(name, getattr(simd, name).__doc__)
        with self.assertRaises(AttributeError):
            simd.fill_f16

    def test_values_arrays_and_counts_arrive_in_order(self):
        row = libsimd.aligned(20, "float32")
        simd.fill_f32(row, 19, 2.5)
        self.assertEqual(row.tolist(), [2.5] * 19 + [0])
        a, b = numpy.arange(20.0), numpy.arange(20.0) + 7
        product = numpy.zeros(20)
        simd.mult_f64(product, a, b, 20)
        self.assertEqual(product.tolist(), (a * b).tolist())
        words = numpy.array([0x00010002], "uint32")
        swapped = numpy.zeros(1, "uint32")
        simd.swap_words_u32(words, 1, swapped)
        self.assertEqual(swapped[0], 0x00020001)
        copy = numpy.zeros(20)
        simd.memcpy_fast(copy, a, a.nbytes)
        self.assertEqual(copy.tolist(), a.tolist())

    def test_results_are_returned(self):
        samples = numpy.array([3, -700, 12, 0, 699], "int16")
        self.assertEqual(simd.min_s16(samples, 5), -700)
        self.assertEqual(simd.minmax_s16(samples, 5), (-700, 699))
        self.assertEqual(simd.avg_abs_s16(samples, 5), (3 + 700 + 12 + 699) // 5)
        self.assertEqual(simd.minmaxmed_f64(numpy.array([2.0, -1.0, 5.0]), 3), (-1.0, 5.0, 2.0))

    def test_pack_and_unpack(self):
        row = libsimd.aligned(999, "float32")
        row[:] = numpy.sin(numpy.arange(999))
        codes, restored = numpy.zeros(999, "int16"), numpy.zeros(999, "float32")
        step, mid = simd.pack_f32_s16(row, 999, codes)
        simd.unpack_s16_f32(codes, 999, restored, step, mid)
        self.assertLessEqual(numpy.abs(restored - row).max(), step * 1.001)
        self.assertAlmostEqual(step, (row.max() - row.min()) / 65535, delta=1e-9)

    def test_decibels(self):
        power, decibels = libsimd.aligned(1024, "float32"), libsimd.aligned(1024, "float32")
        power[:] = numpy.logspace(-20, 20, 1024)
        simd.spec_log_f32(power, 1024, decibels, 30.0)
        self.assertLess(numpy.abs(decibels - (10 * numpy.log10(power) - 30)).max(), 1e-4)

    def test_streaming_filter(self):
        iq = numpy.array([1, -1, 0, 0, 0, 0], "float32")
        taps, re, im = numpy.array([0.5, 0.25]), numpy.zeros(2), numpy.zeros(2)
        pos, out = numpy.zeros(1, "int64"), numpy.zeros(6)
        simd.fir_c32_alt(iq, 3, taps, 1, pos, re, im, out)
        self.assertEqual(out.tolist(), [0.5, -0.5, 0.25, -0.25, 0, 0])
        self.assertEqual(pos[0], 1)

    def test_arrays_are_checked(self):
        row = numpy.zeros(8, "float32")
        frozen = numpy.zeros(8, "float32")
        frozen.flags.writeable = False
        refused = [
            (TypeError, "dst must hold float", (numpy.zeros(8), 8, 0.0)),
            (TypeError, "dst must be a NumPy array", ([0.0] * 8, 8, 0.0)),
            (ValueError, "dst must be contiguous", (numpy.zeros(16, "float32")[::2], 8, 0.0)),
            (ValueError, "dst must be writable", (frozen, 8, 0.0)),
            (ValueError, "dst has 8 elements, the kernel takes 9", (row, 9, 0.0)),
            (ValueError, "n must be a whole number", (row, -1, 0.0)),
            (ValueError, "n must be a whole number", (row, 1.5, 0.0)),
            (TypeError, "fill_f32 takes dst, n, value", (row, 8)),
        ]
        for error, words, arguments in refused:
            with self.assertRaisesRegex(error, words):
                simd.fill_f32(*arguments)
        with self.assertRaisesRegex(ValueError, "out has 15 elements, the kernel takes 16"):
            simd.mix_f64(numpy.zeros(8), numpy.zeros(8), 8, numpy.zeros(15))
        with self.assertRaisesRegex(ValueError, "taps has 4 elements, the kernel takes 5"):
            simd.vfilter_f64(numpy.zeros(9), 9, numpy.zeros(4), 4, numpy.zeros(9))
        with self.assertRaisesRegex(ValueError, "hist_re has 2 elements, the kernel takes 3"):
            simd.fir_c64_alt(numpy.zeros(2), 1, numpy.zeros(3), 2, numpy.zeros(1, "int64"),
                             numpy.zeros(2), numpy.zeros(3), numpy.zeros(2))

    def test_null_and_overwritten_entries(self):
        codes, row = numpy.array([5], "int16"), numpy.zeros(1, "float32")
        entry = ctypes.c_void_p.in_dll(ctypes.CDLL(library_path), "unpack_s16_f32")
        kept = entry.value
        try:
            entry.value = None
            self.assertFalse(simd.unpack_s16_f32.installed)
            with self.assertRaisesRegex(libsimd.NotInstalled, "unpack_s16_f32"):
                simd.unpack_s16_f32(codes, 1, row, 2.0, 1.0)
            calls = []
            own = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_size_t, ctypes.c_void_p,
                                   ctypes.c_float, ctypes.c_float)(lambda *a: calls.append(a))
            entry.value = ctypes.cast(own, ctypes.c_void_p).value
            simd.unpack_s16_f32(codes, 1, row, 2.0, 1.0)
            self.assertEqual(calls, [(codes.ctypes.data, 1, row.ctypes.data, 2.0, 1.0)])
        finally:
            entry.value = kept
        simd.unpack_s16_f32(codes, 1, row, 2.0, 1.0)
        self.assertEqual(row[0], 11.0)

    def test_aligned(self):
        for count in (1, 7, 1000):
            for dtype in ("uint8", "float32", "float64"):
                array = libsimd.aligned(count, dtype)
                self.assertEqual((array.size, array.dtype, array.ctypes.data % 32),
                                 (count, numpy.dtype(dtype), 0))


if __name__ == "__main__":
    unittest.main()
