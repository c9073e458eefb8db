#!/usr/bin/env python3
"""Runs examples/quantise as its users do: quantise_test.py PROGRAM."""
import math
import pathlib
import random
import re
import struct
import subprocess
import sys
import tempfile
import unittest

program = sys.argv.pop(1)
line = re.compile(r"^(16-bit|8-bit)\s+SNR\s+(-?[\d.]+|inf) dB  largest error ([\d.]+) steps  "
                  r"pack\s+[\d.]+ MS/s  unpack\s+[\d.]+ MS/s$")


class Quantise(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.path = pathlib.Path(self.folder.name)

    def tearDown(self):
        self.folder.cleanup()

    def run_on(self, *arguments):
        return subprocess.run([program, *map(str, arguments)], capture_output=True, text=True)

    def figures(self, result):
        """{stream: (SNR in dB, largest error in steps)}"""
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(result.stderr, "")
        found = [line.match(text) for text in result.stdout.splitlines()[1:]]
        self.assertTrue(all(found), result.stdout)
        return {m[1]: (float(m[2]), float(m[3])) for m in found}

    def check_quality(self, figures, s16, u8):
        self.assertEqual(set(figures), {"16-bit", "8-bit"})
        self.assertGreater(figures["16-bit"][0], s16)
        self.assertGreater(figures["8-bit"][0], u8)
        for snr, error in figures.values():
            self.assertLessEqual(error, 1.0)
            self.assertGreater(error, 0.4)  # rounding alone errs by half a step somewhere

    def fails(self, words, *arguments):
        result = self.run_on(*arguments)
        self.assertNotEqual(result.returncode, 0)
        self.assertEqual(result.stdout, "")
        self.assertEqual(len(result.stderr.splitlines()), 1, result.stderr)
        self.assertIn(words, result.stderr)

    def test_generated_band(self):
        self.check_quality(self.figures(self.run_on()), 90, 40)

    def tone(self, count):
        source = random.Random(7)
        return [0.8 * math.cos(0.03 * i) + 0.01 * source.random() for i in range(count)]

    def test_cf32(self):
        values = self.tone(50000)
        path = self.path / "tone.cf32"
        path.write_bytes(struct.pack(f"<{len(values)}f", *values))
        self.check_quality(self.figures(self.run_on(path)), 90, 40)

    def test_cs16_by_argument(self):
        values = [int(20000 * v) for v in self.tone(40002)]
        path = self.path / "recording.sigmf-data"
        path.write_bytes(struct.pack(f"<{len(values)}h", *values))
        figures = self.figures(self.run_on(path, "cs16"))
        self.assertGreater(figures["16-bit"][0], 90)
        self.assertLessEqual(figures["16-bit"][1], 1.0)

    def test_cu8(self):
        path = self.path / "noise.cu8"
        path.write_bytes(random.Random(3).randbytes(30000))
        figures = self.figures(self.run_on(path))
        self.assertGreater(figures["8-bit"][0], 40)
        self.assertLessEqual(figures["8-bit"][1], 1.0)

    def test_no_such_file(self):
        self.fails("cannot be opened", self.path / "nowhere.cf32")

    def test_ends_within_a_sample(self):
        for name, size in (("a.cf32", 8 * 5 + 4), ("a.cs16", 4 * 9 + 2), ("a.cu8", 7), ("b.cf32", 3)):
            (self.path / name).write_bytes(bytes(size))
            self.fails("ends within a sample", self.path / name)

    def test_unknown_format(self):
        (self.path / "a.wav").write_bytes(bytes(64))
        self.fails("unknown format 'wav'", self.path / "a.wav")
        self.fails("unknown format 'c64'", self.path / "a.wav", "c64")

    def test_no_samples(self):
        (self.path / "a.cu8").write_bytes(b"")
        self.fails("no samples", self.path / "a.cu8")

    def test_not_a_number(self):
        (self.path / "a.cf32").write_bytes(struct.pack("<6f", 0, 1, 2, math.nan, 4, 5))
        self.fails("sample 1 is not a finite number", self.path / "a.cf32")


if __name__ == "__main__":
    unittest.main()
