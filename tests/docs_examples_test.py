#!/usr/bin/env python3
"""Runs the example hosts as their users do: docs_examples_test.py FOLDER LIBRARY."""
import array
import cmath
import math
import pathlib
import re
import subprocess
import sys
import unittest

library = sys.argv.pop()
folder = pathlib.Path(sys.argv.pop())


def run(name, *arguments, **options):
    return subprocess.run([folder / name, *arguments], capture_output=True, timeout=60, **options)


def low_pass(factor):
    """The taps that examples/pipe_lowpass.cpp describes: Blackman, edge at 0.45 of the new rate."""
    half = 16 * factor
    taps = []
    for i in range(-half, half + 1):
        x, t = 2 * math.pi * 0.45 * i / factor, math.pi * i / (half + 1)
        window = 0.42 + 0.5 * math.cos(t) + 0.08 * math.cos(2 * t)
        taps.append(window * (math.sin(x) / x if i else 1.0))
    return [tap / sum(taps) for tap in taps]


def tone(count, frequency, amplitude):
    return [amplitude * cmath.exp(2j * math.pi * frequency * i) for i in range(count)]


class Hosts(unittest.TestCase):
    def prints(self, lines, name, *arguments):
        result = run(name, *arguments, text=True)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual(result.stdout.splitlines(), lines)

    def test_link_host_c(self):
        self.prints(["offset 0.250, from -0.500 to 0.500",
                     "restored from 16 bits to within a step"], "link_host_c")

    def test_link_host_cpp(self):
        state = [1.0] * 1024
        for frame in range(50):
            row = [0.5 if (i + frame) % 2 == 0 else 1.5 for i in range(1024)]
            row[300] = 1000.0
            row[700] = 4000.0 if frame == 10 else row[700]
            state = [(x - y) * 0.1 + y for x, y in zip(row, state)]
        low = [y for y in state if y <= 10]
        smooth = 10 * math.log10(state[300] / (sum(low) / len(low)))
        peak = 10 * math.log10(4000 / 1.5)
        self.prints([f"over time: bin 300, {smooth:.1f} dB above the floor",
                     f"peak: bin 700, {peak:.1f} dB above the floor",
                     f"peak, smoothed over three bins: bin 700, "
                     f"{10 * math.log10((2000 + 0.75) / 1.5):.1f} dB above the floor"],
                    "link_host_cpp")

    def test_span_host(self):
        result = run("span_host", text=True)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        step, peak, floor = (float(x) for x in re.fullmatch(
            r"step (\S+), peak (\S+) dB, floor (\S+) dB\n", result.stdout).groups())
        self.assertAlmostEqual(step, 1.958 / 255, 4)
        self.assertAlmostEqual(peak, 20 * math.log10(250 / 4), 1)
        noise = 10 * math.log10(250 * step ** 2 / 12)  # of the codes, in each bin
        self.assertLess(abs(floor - noise), 3)

    def test_load_host_c(self):
        self.prints(["libsimd: 0.0 1.0 3.0 2.0", "filtered: 0.75-0.75i 0.25-0.25i"],
                    "load_host_c", library)
        self.prints(["plain loop: 0.0 1.0 3.0 2.0"], "load_host_c", "/nowhere/libsimd.so")

    def test_load_host_cpp(self):
        step = max(i * i % 97 for i in range(64)) / 255
        self.prints([f"from -100.0 in steps of {step:.3f}: 64 of 64 within a step"],
                    "load_host_cpp", library)
        result = run("load_host_cpp", "/nowhere/libsimd.so", text=True)
        self.assertEqual((result.returncode, result.stdout), (1, ""))
        self.assertRegex(result.stderr, r"\Aload_host: .*/nowhere/libsimd.so.*\n\Z")


class Pipe(unittest.TestCase):
    def through(self, samples, factor):
        codes = array.array("h")
        for s in samples:
            codes.extend((round(s.real), round(s.imag)))
        result = run("pipe_lowpass", str(factor), input=codes.tobytes())
        self.assertEqual((result.returncode, result.stderr), (0, b""))
        out = array.array("h", result.stdout)
        rounded = [complex(*codes[i:i + 2]) for i in range(0, len(codes), 2)]
        return rounded, [complex(*out[i:i + 2]) for i in range(0, len(out), 2)]

    def test_is_the_filter_that_it_says(self):
        factor, taps = 5, low_pass(5)
        samples = [a + b for a, b in zip(tone(4400, 0.031, 9000), tone(4400, -0.27, 8000))]
        entered, out = self.through(samples, factor)
        self.assertEqual(len(out), math.ceil(len(samples) / factor))
        for k, value in enumerate(out):  # across the seam of its blocks of 4096 samples
            i = k * factor
            want = sum(tap * entered[i - j] for j, tap in enumerate(taps) if i >= j)
            self.assertLessEqual(abs(value.real - want.real), 0.51, k)
            self.assertLessEqual(abs(value.imag - want.imag), 0.51, k)

    def test_passes_below_and_stops_above_the_new_rate(self):
        settled = slice(40, -40)
        for frequency, least, most in ((0.35 / 8, 9980, 10020), (0.55 / 8, 0, 5)):
            _, out = self.through(tone(20000, frequency, 10000), 8)
            for value in out[settled]:
                self.assertTrue(least <= abs(value) <= most, (frequency, abs(value)))

    def test_says_what_is_wrong(self):
        for arguments in ((), ("0",), ("x",), ("1001",), ("2", "3")):
            result = run("pipe_lowpass", *arguments, input=b"")
            self.assertEqual((result.returncode, result.stdout), (1, b""))
            self.assertRegex(result.stderr, rb"\Apipe_lowpass: usage.*\n\Z")
        result = run("pipe_lowpass", "2", input=bytes(4 * 9 + 3))
        self.assertEqual((result.returncode, len(result.stdout)), (1, 4 * 5))
        self.assertEqual(result.stderr, b"pipe_lowpass: the input ends within a sample\n")

    def test_says_that_the_output_is_full(self):
        with open("/dev/full", "wb") as full:
            result = subprocess.run([folder / "pipe_lowpass", "2"], input=bytes(4 * 10000),
                                    stdout=full, stderr=subprocess.PIPE, timeout=60)
        self.assertEqual(result.returncode, 1)
        self.assertEqual(result.stderr, b"pipe_lowpass: standard output cannot be written\n")


if __name__ == "__main__":
    unittest.main()
