#!/usr/bin/env python3
"""Runs simd-waterfall as its users do, on files made here: waterfall_cli_test.py PROGRAM."""
import array
import json
import math
import os
import pathlib
import pty
import subprocess
import threading
import time
import unittest
import wave

from waterfall_runs import Case, cs16, cu8, program, read_png, tone


class Inputs(Case):
    """A line at +100 kHz and half of full scale arrives through every kind of input."""
    rate, hertz, level = 1e6, 100e3, 20 * math.log10(0.5)
    within = 1e6 / 2048

    def setUp(self):
        super().setUp()
        self.tone = tone(self.hertz, self.rate, 20000)

    def check(self, figures, center=0.0):
        self.has_line(figures, center + self.hertz, self.within, self.level)

    def test_raw(self):
        floats = [v for pair in self.tone for v in pair]
        for name, data in (("a.cs16", cs16(self.tone)), ("a.cu8", cu8(self.tone)),
                           ("a.cs8", array.array("b", [round(127 * v) for v in floats]).tobytes()),
                           ("a.cf32", array.array("f", floats).tobytes()),
                           ("a.cf64", array.array("d", floats).tobytes())):
            with self.subTest(name):
                self.write(name, data)
                self.check(self.figures(name, "--rate", "1M", "--center", "433.92M"), 433.92e6)

    def test_format_given(self):
        self.write("a.bin", cs16(self.tone))
        self.check(self.figures("a.bin", "--rate", "1e6", "--format", "cs16"))

    def test_sigmf(self):
        self.write("a.sigmf-data", cs16(self.tone))
        self.write("a.sigmf-meta", json.dumps({
            "global": {"core:datatype": "ci16_le", "core:sample_rate": 1e6},
            "captures": [{"core:sample_start": 0, "core:frequency": 868e6}],
            "annotations": [{"core:sample_start": 5, "core:sample_count": 50,
                             "core:label": "start"}]}).encode())
        for name in ("a", "a.sigmf-data", "a.sigmf-meta"):
            self.check(self.figures(name), 868e6)

    def test_part_is_the_cut_file(self):
        """Pictures and figures of a part are byte for byte those of the file cut beforehand."""
        rate, start, length = 1e6, 12345, 30000
        data = cs16(tone(self.hertz, rate, 60000))
        (self.path / "whole").mkdir()
        (self.path / "cut").mkdir()
        self.write("whole/a.cs16", data)
        self.write("cut/a.cs16", data[4 * start:4 * (start + length)])
        times = ["--start", "0.012345", "--duration", "30ms"]
        for more in (times, ["--start", "12345S", "--duration", "0:0.03"]):
            for name, arguments in (("whole", more), ("cut", [])):
                self.succeeds(f"{name}/a.cs16", "--rate", "1M", *arguments, "--waterfall",
                              f"{name}/w.png", "--spectrum", f"{name}/s.png", "--json",
                              f"{name}/f.json")
            for name in ("w.png", "s.png", "f.json"):
                self.assertEqual((self.path / "whole" / name).read_bytes(),
                                 (self.path / "cut" / name).read_bytes(), name)
        piped = self.figures("-", "--format", "cs16", "--rate", "1M", *times, input=data)
        self.assertEqual(piped["lines"], json.loads((self.path / "cut/f.json").read_text())["lines"])

    def test_equal_runs_are_equal(self):
        one, other = (self.succeeds("--json", "-", "--no-pictures", "--quiet").stdout for _ in "ab")
        self.assertEqual(one, other)
        self.assertNotIn("throughput", json.loads(one))
        self.assertIn("throughput", self.figures("--timings"))
        lines = self.succeeds("--json-lines", "-", "--no-pictures", "--quiet").stdout
        self.assertEqual(lines.count(b"\n"), 1)
        self.assertEqual(json.loads(lines), json.loads(one))

    def test_wav(self):
        with wave.open(str(self.path / "a.wav"), "wb") as file:
            file.setnchannels(2)
            file.setsampwidth(2)
            file.setframerate(1000000)
            file.writeframes(cs16(self.tone))
        self.check(self.figures("a.wav", "--center", "14M"), 14e6)

    def test_wav_of_one_channel(self):
        with wave.open(str(self.path / "a.wav"), "wb") as file:
            file.setnchannels(1)
            file.setsampwidth(2)
            file.setframerate(1000000)
            file.writeframes(array.array("h", [round(32767 * i) for i, _ in self.tone]).tobytes())
        self.has_line(self.figures("a.wav"), self.hertz, self.within)

    def test_standard_input(self):
        self.check(self.figures("-", "--format", "cs16", "--rate", "1M", input=cs16(self.tone)))

    def test_slow_pipe(self):
        data = cs16(self.tone)
        whole = self.figures("-", "--format", "cs16", "--rate", "1M", input=data)
        with subprocess.Popen([program, "-", "--format", "cs16", "--rate", "1M", "--no-pictures",
                               "--json", "f.json"], cwd=self.path, stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE) as process:
            process.stdout.readline()  # it is there and waits
            for at in range(0, len(data), 7777):  # never a whole sample
                time.sleep(0.05)
                process.stdin.write(data[at:at + 7777])
                process.stdin.flush()
            process.stdin.close()
            process.stdout.read()
        self.assertEqual(process.returncode, 0)
        pieces = json.loads((self.path / "f.json").read_text())
        self.assertEqual(pieces["lines"], whole["lines"])


class Outputs(Case):
    def test_generated_band(self):
        result = self.succeeds()
        self.assertEqual(self.names(), ["generated-spectrum.png", "generated-waterfall.png"])
        for name in self.names():
            width, height = read_png(self.path / name)
            self.assertGreater(width, 400)
            self.assertGreater(height, 200)
            self.assertIn(name, result.stdout.decode())
        self.assertEqual(result.stderr, b"")
        for word in ("generated band", "cs16", "2 MS/s", "100 MHz", "3000000", "kernels"):
            self.assertIn(word, result.stdout.decode())

    def test_lines_of_the_generated_band(self):
        lines = self.figures()["lines"]
        for hertz, level in ((100.25e6, -30), (99.3e6, -30), (99.09e6, None), (99.11e6, None)):
            near = [line for line in lines if abs(line["frequency_hz"] - hertz) < 2e6 / 2048]
            self.assertEqual(len(near), 1, hertz)
            if level is not None:
                self.assertAlmostEqual(near[0]["level_dbfs"], level, delta=0.5)

    def test_names(self):
        self.write("a.b.cs16", cs16(tone(1e3, 1e5, 10000)))
        self.succeeds("a.b.cs16", "--rate", "100k")
        self.assertEqual(self.names(), ["a.b-spectrum.png", "a.b-waterfall.png", "a.b.cs16"])
        self.succeeds("a.b.cs16", "--waterfall", "w.png", "--spectrum", "s.png", "--json", "f.json")
        self.assertEqual(self.names()[3:], ["f.json", "s.png", "w.png"])
        read_png(self.path / "w.png")
        read_png(self.path / "s.png")
        json.loads((self.path / "f.json").read_text())

    def test_assumptions_are_said(self):
        self.write("a.cs16", cs16(tone(0.1, 1, 10000)))
        said = self.succeeds("a.cs16", "--no-pictures").stdout.decode()
        self.assertIn("assumed: rate 1 S/s", said)
        self.assertIn("assumed: centre 0 Hz", said)
        self.assertIn("assumed: format cs16", said)
        said = self.succeeds("a.cs16", "--no-pictures", "--rate", "5", "--center", "1", "--format",
                             "cs16").stdout.decode()
        self.assertNotIn("assumed", said)

    def test_quiet(self):
        result = self.succeeds("--quiet", "--no-pictures")
        self.assertEqual(result.stdout + result.stderr, b"")
        self.assertEqual(self.names(), [])

    def test_json_alone_on_standard_output(self):
        result = self.succeeds("--json", "-", "--no-pictures")
        json.loads(result.stdout)
        self.assertIn(b"generated band", result.stderr)

    def test_help_and_version(self):
        said = self.succeeds("--help").stdout.decode()
        for word in ("--rate", "--waterfall", "Examples", "Exit status", "dBFS", "cs16"):
            self.assertIn(word, said)
        self.assertLessEqual(max(map(len, said.splitlines())), 100)
        self.assertRegex(self.succeeds("--version").stdout.decode(), r"^simd-waterfall \d+\.\d+")
        self.assertEqual(self.names(), [])


def check(schema, value, where="$"):
    """Faults of a value, by the words of JSON Schema that ours uses."""
    kinds = schema.get("type", [])
    python = {"object": dict, "array": list, "string": str, "boolean": bool, "number": (int, float),
              "integer": int, "null": type(None)}
    kinds = [kinds] if isinstance(kinds, str) else kinds
    if not any(isinstance(value, python[k]) and not (isinstance(value, bool) and k != "boolean")
               for k in kinds):
        return [f"{where}: {value!r} is no {kinds}"]
    faults = [f"{where}: no {key}" for key in schema.get("required", []) if key not in value]
    if "minimum" in schema and value < schema["minimum"]:
        faults.append(f"{where}: {value}")
    for key, inner in schema.get("properties", {}).items():
        if key in value:
            faults += check(inner, value[key], f"{where}.{key}")
    if "items" in schema:
        for at, inner in enumerate(value):
            faults += check(schema["items"], inner, f"{where}[{at}]")
    return faults


class Schema(Case):
    schema = json.loads((pathlib.Path(__file__).parent.parent /
                         "docs/simd-waterfall.schema.json").read_text())

    def test_figures_keep_it(self):
        self.write("silence.cs16", bytes(40000))
        self.write("odd.f32", array.array("f", [0.1, math.nan] * 5000).tobytes())
        for arguments in ([], ["--timings"], ["silence.cs16"], ["--channel", "100k", "--decimate", "8"]):
            self.assertEqual(check(self.schema, self.figures(*arguments)), [])
        odd = self.succeeds("odd.f32", "--no-pictures", "--quiet", "--json", "-").stdout
        self.assertEqual(check(self.schema, json.loads(odd)), [])

    def test_what_does_not_is_told(self):
        figures = self.figures()
        for change in (lambda f: f.pop("version"), lambda f: f["lines"][0].pop("level_dbfs"),
                       lambda f: f["settings"].update(fft="2048"),
                       lambda f: f["recording"].update(samples=-1),
                       lambda f: f["levels"].update(clipped=True)):
            wrong = json.loads(json.dumps(figures))
            change(wrong)
            self.assertEqual(len(check(self.schema, wrong)), 1)


class LongInputs(Case):
    def peak_memory(self, samples):
        """ru_maxrss of a run, in kilobytes."""
        with open(self.path / "long.cs16", "wb") as file:
            file.write(cs16(tone(100e3, 1e6, 50000)))
            file.truncate(4 * samples)
        pid = os.spawnv(os.P_NOWAIT, program,
                        [program, str(self.path / "long.cs16"), "--quiet", "--rate", "1M",
                         "--waterfall", str(self.path / "w.png"),
                         "--spectrum", str(self.path / "s.png")])
        _, status, usage = os.wait4(pid, 0)
        self.assertEqual(status, 0)
        return usage.ru_maxrss

    def test_constant_memory(self):
        short = self.peak_memory(2_000_000)  # 8 MB
        long = self.peak_memory(20_000_000)
        self.assertLess(long - short, 4000, f"{short} kB, then {long} kB")

    def feed_slowly(self, stderr):
        """Runs it for about 1.6 seconds and returns its exit status."""
        with subprocess.Popen([program, "-", "--format", "cu8", "--no-pictures"], cwd=self.path,
                              stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                              stderr=stderr) as process:
            for _ in range(16):
                process.stdin.write(bytes(200000))
                process.stdin.flush()
                time.sleep(0.1)
            process.stdin.close()
            return process.wait(timeout=60)

    def test_progress_on_a_terminal(self):
        master, slave = pty.openpty()
        seen = []
        reader = threading.Thread(target=lambda: seen.append(self.drain(master)))
        reader.start()
        status = self.feed_slowly(slave)
        os.close(slave)
        reader.join()
        self.assertEqual(status, 0)
        self.assertIn(b"samples", seen[0])
        self.assertTrue(seen[0].endswith(b"\r\x1b[K"), seen[0])  # wiped

    @staticmethod
    def drain(file):
        seen = b""
        try:
            while piece := os.read(file, 4096):
                seen += piece
        except OSError:  # how a terminal says that it was closed
            pass
        os.close(file)
        return seen

    def test_no_progress_in_a_pipe(self):
        with open(self.path / "stderr", "wb") as stderr:
            self.assertEqual(self.feed_slowly(stderr), 0)
        self.assertEqual((self.path / "stderr").read_bytes(), b"")

    def test_no_progress_for_short_inputs(self):
        master, slave = pty.openpty()
        result = subprocess.run([program, "-", "--format", "cu8", "--no-pictures"], cwd=self.path,
                                input=bytes(20000), stdout=subprocess.DEVNULL, stderr=slave,
                                timeout=60)
        os.close(slave)
        self.assertEqual(result.returncode, 0)
        self.assertEqual(self.drain(master), b"")


if __name__ == "__main__":
    unittest.main()
