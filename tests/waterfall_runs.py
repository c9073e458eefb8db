"""Runs of simd-waterfall in a folder of their own; the program is the test's first argument."""
import array
import json
import math
import pathlib
import struct
import subprocess
import sys
import tempfile
import unittest
import zlib

program = sys.argv.pop(1)


def tone(hertz, rate, count, level=0.5):
    """[(I, Q)]: one line."""
    angles = (2 * math.pi * (hertz * i / rate % 1.0) for i in range(count))
    return [(level * math.cos(a), level * math.sin(a)) for a in angles]


def cs16(samples):
    return array.array("h", [round(32767 * v) for pair in samples for v in pair]).tobytes()


def cu8(samples):
    return bytes(round(127.5 + 127.4 * v) for pair in samples for v in pair)


def read_png(path):
    """(width, height) of a PNG that is whole: every chunk's sum, every row of the picture."""
    data = path.read_bytes()
    assert data[:8] == b"\x89PNG\r\n\x1a\n", "not a PNG"
    at, chunks = 8, []
    while at < len(data):
        length, kind = struct.unpack_from(">I4s", data, at)
        body = data[at + 8:at + 8 + length]
        assert struct.unpack_from(">I", data, at + 8 + length)[0] == zlib.crc32(kind + body)
        chunks.append((kind, body))
        at += 12 + length
    assert chunks[0][0] == b"IHDR" and chunks[-1] == (b"IEND", b"")
    width, height, depth, colour = struct.unpack_from(">IIBB", chunks[0][1])
    samples = {0: 1, 2: 3, 3: 1, 6: 4}[colour]
    pixels = zlib.decompress(b"".join(body for kind, body in chunks if kind == b"IDAT"))
    assert len(pixels) == height * (1 + (width * samples * depth + 7) // 8)
    return width, height


class Case(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.path = pathlib.Path(self.folder.name)

    def tearDown(self):
        self.folder.cleanup()

    def write(self, name, data):
        (self.path / name).write_bytes(data)
        return name

    def run_on(self, *arguments, **more):
        return subprocess.run([program, *map(str, arguments)], cwd=self.path, timeout=120,
                              capture_output=True, **more)

    def names(self):
        return sorted(p.name for p in self.path.iterdir())

    def succeeds(self, *arguments, **more):
        result = self.run_on(*arguments, **more)
        self.assertEqual(result.returncode, 0, result.stderr)
        return result

    def figures(self, *arguments, **more):
        """What --json says of a run without pictures."""
        result = self.succeeds(*arguments, "--no-pictures", "--quiet", "--json", "-", **more)
        self.assertEqual(result.stderr, b"")
        return json.loads(result.stdout)

    def fails(self, words, *arguments, status=1, **more):
        before = self.names()
        result = self.run_on(*arguments, **more)
        said = result.stderr.decode()
        self.assertEqual(result.returncode, status, said)
        self.assertEqual(len(said.splitlines()), 1, said)
        self.assertTrue(said.startswith("simd-waterfall: ") and said.endswith("\n"), said)
        for word in [words] if isinstance(words, str) else words:
            self.assertIn(word, said)
        self.assertEqual(self.names(), before)
        return result

    def has_line(self, figures, hertz, within, level=None):
        strongest = figures["lines"][0]
        self.assertAlmostEqual(strongest["frequency_hz"], hertz, delta=within)
        if level is not None:
            self.assertAlmostEqual(strongest["level_dbfs"], level, delta=0.5)
