#!/usr/bin/env python3
"""Bad inputs and outputs of simd-waterfall, and Ctrl-C: waterfall_faults_test.py PROGRAM.

One line on stderr, an exit status, and no output that is not whole."""
import array
import json
import math
import os
import pathlib
import resource
import signal
import subprocess
import time
import unittest
import wave

from waterfall_runs import Case, cs16, program, read_png, tone


class BadInputs(Case):
    def test_raw(self):
        self.write("empty.cu8", b"")
        self.write("notes.txt", b"this is no recording\n" * 1000)
        (self.path / "folder.cu8").mkdir()
        cases = {
            "empty.cu8": "is empty",
            "notes.txt": "unknown format",
            "folder.cu8": "is a folder",
            "none.cu8": "No such file",
            "none.wav": "No such file",
        }
        for name, words in cases.items():
            with self.subTest(name):
                self.fails([f": {name}: ", words], name)

    def warns(self, words, *arguments, **more):
        """One line, and the figures all the same; with --strict the line is an error."""
        result = self.succeeds(*arguments, "--quiet", "--no-pictures", "--json", "-", **more)
        said = result.stderr.decode()
        self.assertEqual(len(said.splitlines()), 1, said)
        self.assertTrue(said.startswith("simd-waterfall: warning: "), said)
        figures = json.loads(result.stdout)
        self.assertEqual(figures["recording"]["warnings"], [said.strip().split("warning: ")[1]])
        self.fails(words, *arguments, "--strict", "--no-pictures", **more)
        for word in [words] if isinstance(words, str) else words:
            self.assertIn(word, said)
        return figures

    def test_what_is_there_is_shown(self):
        self.write("odd.cs16", cs16(tone(1000, 1e4, 3000)) + b"x")
        self.write("nan.cf32", array.array("f", [0.1] * 5000 + [math.nan] * 2).tobytes())
        self.write("short.cf32", array.array("f", [0.1] * 5000).tobytes())
        self.assertEqual(self.warns("12001 bytes are not whole cs16 samples",
                                    "odd.cs16")["recording"]["samples"], 3000)
        self.warns("sample 2500 is not a finite number", "nan.cf32")
        self.warns("ends within a sample", "-", "--format", "cs16", input=bytes(100003))
        self.warns("--duration", "short.cf32", "--duration", "9000S")

    def test_unreadable(self):
        with open("/proc/self/mem", "rb") as memory:  # its first page is nobody's
            self.fails(["standard input", "cannot be read: Input/output error"], "-", "--format",
                       "cu8", stdin=memory)
        self.write("a.cu8", bytes(10000))
        (self.path / "a.cu8").chmod(0)
        if not os.access(self.path / "a.cu8", os.R_OK):  # root may read everything
            self.fails(["a.cu8", "cannot be opened: Permission denied"], "a.cu8")

    def test_standard_input(self):
        self.fails(["standard input", "empty"], "-", input=b"")
        self.fails(["standard input", "--format"], "-", input=b"some text")
        self.fails(["standard input", "empty"], "-", "--format", "cu8", input=b"")

    def test_sigmf(self):
        self.write("a.sigmf-data", bytes(40000))
        good = {"core:datatype": "ci16_le", "core:sample_rate": 1e6}

        def meta(text):
            data = text if isinstance(text, bytes) else json.dumps(text).encode()
            self.write("a.sigmf-meta", data)

        self.fails(["a.sigmf-meta", "No such file"], "a.sigmf-data")
        cases = [
            (b"{", "is not JSON"),
            ({"global": dict(good, **{"core:datatype": "ci12_le"})}, "ci12_le"),
            ({"global": dict(good, **{"core:num_channels": 1e9})}, "core:num_channels"),
            ({"global": dict(good, **{"core:sample_rate": 1e300})}, "too far out"),
        ]
        wrong = [
            ({"global": dict(good, **{"core:sample_rate": 0})}, "not a positive number"),
            ({"global": good, "captures": [{"core:sample_start": 10000}]}, "captures[0]"),
            ({"global": good, "annotations": [{"core:sample_start": 9000,
                                               "core:sample_count": 1001}]}, "annotations[0]"),
            ({"global": good, "annotations": [{"core:sample_start": 9, "core:label": 5}]}, "core:label"),
        ]
        for text, words in cases:
            with self.subTest(words):
                meta(text)
                self.fails(["a.sigmf-", words], "a.sigmf-data")
        for text, words in wrong:
            with self.subTest(words):
                meta(text)
                self.warns(["a.sigmf-meta", words], "a.sigmf-data")
        meta({"global": good})
        with open(self.path / "a.sigmf-data", "ab") as file:
            file.write(b"x")
        self.warns(["a.sigmf-data", "40001 bytes"], "a.sigmf-meta")

    def test_wav(self):
        with wave.open(str(self.path / "a.wav"), "wb") as file:
            file.setnchannels(2)
            file.setsampwidth(2)
            file.setframerate(48000)
            file.writeframes(bytes(40000))
        with open(self.path / "a.wav", "r+b") as file:
            file.truncate(30000)
        self.warns(["a.wav", "truncated"], "a.wav")

    def test_options(self):
        self.write("a.cu8", bytes(10000))
        for words, arguments in (("1000", ["--fft", "1000"]), ("lots", ["--rate", "lots"]),
                                 ("positive", ["--rate", "0"]), ("positive", ["--rate", "-5"]),
                                 ("--frobnicate", ["--frobnicate"]), ("cs12", ["--format", "cs12"]),
                                 ("extra.cu8", ["extra.cu8"]), ("overlap", ["--overlap", "2"])):
            with self.subTest(arguments):
                self.fails(words, "a.cu8", *arguments, status=2)

    def test_absurd_numbers(self):
        self.write("a.cu8", bytes(10000))
        for words, arguments in (("centre", ["--center", "1e15"]), ("rate", ["--rate", "1e-300"]),
                                 ("--channel", ["--rate", "1M", "--channel", "2M"]),
                                 ("--channel", ["--rate", "1M", "--channel", "-500001"])):
            with self.subTest(arguments):
                self.fails(words, "a.cu8", *arguments)

    def test_names_with_line_feeds_make_one_line(self):
        self.fails("a?b.cu8", "a\nb.cu8")


class BadOutputs(Case):
    def setUp(self):
        super().setUp()
        self.write("a.cu8", bytes(range(256)) * 100)

    def test_no_space_left(self):
        for option in ("--waterfall", "--spectrum", "--json"):
            self.fails(["/dev/full", "No space left on device"], "a.cu8", option, "/dev/full")
        self.assertTrue(pathlib.Path("/dev/full").is_char_device())

    def test_no_space_left_for_the_text(self):
        with open("/dev/full", "wb") as full:
            for arguments in (["--no-pictures"], ["--no-pictures", "--quiet", "--json", "-"]):
                result = subprocess.run([program, "a.cu8", *arguments], cwd=self.path, stdout=full,
                                        stderr=subprocess.PIPE, timeout=60)
                self.assertEqual(result.returncode, 1)
                self.assertEqual(result.stderr,
                                 b"simd-waterfall: standard output: No space left on device\n")

    def test_limit_in_the_middle_of_a_file(self):
        limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (1000, 1000))
        self.write("a-spectrum.png", b"earlier")
        self.fails(["a-waterfall.png", "File too large"], "a.cu8", preexec_fn=limit)
        self.assertEqual((self.path / "a-spectrum.png").read_bytes(), b"earlier")

    def test_no_such_folder(self):
        self.fails(["none/x.png", "No such file"], "a.cu8", "--waterfall", "none/x.png")
        self.fails(["none/x.json", "No such file"], "a.cu8", "--json", "none/x.json")
        self.fails("Is a directory", "a.cu8", "--spectrum", ".")

    def test_names_that_collide(self):
        for option in ("--waterfall", "--spectrum", "--json"):
            self.fails(["a.cu8", "is the input"], "a.cu8", option, "./a.cu8")
        self.fails(["x.png", "two outputs"], "a.cu8", "--spectrum", "x.png", "--waterfall", "x.png",
                   status=2)
        self.fails(["x.png", "two outputs"], "a.cu8", "--spectrum", "x.png", "--json", "x.png",
                   status=2)


    def test_standard_output(self):
        for option in ("--waterfall", "--spectrum"):
            result = self.succeeds("a.cu8", option, "-")
            self.write("out.png", result.stdout)
            read_png(self.path / "out.png")
            self.assertFalse((self.path / "-").exists())
            self.assertIn(b"wrote", result.stderr)

    def test_links_to_one_file(self):
        self.write("x.png", b"")
        (self.path / "link.png").symlink_to("x.png")
        self.fails(["x.png", "two outputs"], "a.cu8", "--waterfall", "x.png", "--spectrum",
                   "link.png", status=2)


class Interrupts(Case):
    """Ctrl-C, while the input waits and while it flows."""

    def start(self, *arguments, **more):
        process = subprocess.Popen([program, *arguments], cwd=self.path, stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, **more)
        process.stdout.readline()  # what is read; from here on Ctrl-C is caught
        self.addCleanup(process.__exit__, None, None, None)
        self.addCleanup(process.kill)
        return process

    def check(self, process):
        process.wait(timeout=60)  # with its input still open
        stderr = process.communicate()[1].decode()
        self.assertEqual(process.returncode, 130, stderr)
        self.assertEqual(len(stderr.splitlines()), 1, stderr)
        self.assertIn("interrupted", stderr)
        for name in ("w.png", "s.png"):
            read_png(self.path / name)
        return json.loads((self.path / "f.json").read_text())

    outputs = ["--waterfall", "w.png", "--spectrum", "s.png", "--json", "f.json"]

    def test_waiting_for_a_pipe(self):
        process = self.start("-", "--format", "cs16", "--rate", "1M", *self.outputs,
                             stdin=subprocess.PIPE)
        samples = tone(-200e3, 1e6, 100000)
        process.stdin.write(cs16(samples) + b"x")  # and part of a sample, which is no error now
        process.stdin.flush()
        time.sleep(0.5)
        process.send_signal(signal.SIGINT)
        figures = self.check(process)
        self.assertEqual(figures["recording"]["samples"], 100000)
        self.has_line(figures, -200e3, 1e6 / 2048)

    def test_together_with_the_program_that_feeds_it(self):
        process = self.start("-", "--format", "cs16", *self.outputs, stdin=subprocess.PIPE)
        process.stdin.write(bytes(400003))  # the pipe ends within a sample
        process.stdin.flush()
        process.send_signal(signal.SIGSTOP)
        process.send_signal(signal.SIGINT)
        process.stdin.close()
        process.stdin = None
        process.send_signal(signal.SIGCONT)
        self.assertGreater(self.check(process)["recording"]["samples"], 50000)

    def test_long_file(self):
        with open(self.path / "long.cs16", "wb") as file:
            file.write(cs16(tone(100e3, 1e6, 200000)))
            file.truncate(1 << 40)  # a hole: zeros without end
        process = self.start("long.cs16", "--rate", "1M", *self.outputs)
        time.sleep(1)
        process.send_signal(signal.SIGINT)
        figures = self.check(process)
        self.assertGreater(figures["recording"]["samples"], 2048)
        self.assertLess(figures["recording"]["samples"], 1 << 38)

    def test_before_the_first_sample(self):
        process = self.start("-", "--format", "cs16", *self.outputs, stdin=subprocess.PIPE)
        time.sleep(0.2)
        process.send_signal(signal.SIGINT)
        process.wait(timeout=60)
        stderr = process.communicate()[1]
        self.assertEqual(process.returncode, 130)
        self.assertEqual(len(stderr.splitlines()), 1, stderr)
        self.assertIn(b"interrupted, and nothing written: standard input: 0 samples", stderr)
        self.assertEqual(self.names(), [])

    def test_second_one_ends_at_once(self):
        os.mkfifo(self.path / "fifo")  # nobody reads it: writing the figures waits
        process = self.start("-", "--format", "cs16", "--no-pictures", "--json", "fifo",
                             stdin=subprocess.PIPE)
        process.stdin.write(bytes(100000))
        process.stdin.flush()
        time.sleep(0.3)
        process.send_signal(signal.SIGINT)
        time.sleep(0.5)
        self.assertIsNone(process.poll())
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(timeout=10), -signal.SIGINT)


if __name__ == "__main__":
    unittest.main()
