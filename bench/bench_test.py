#!/usr/bin/env python3
"""Runs simd-bench on short blocks and reads what it says: bench_test.py SIMD_BENCH LIBSIMD_SO."""
import copy
import json
import os
import pathlib
import pty
import re
import struct
import subprocess
import sys
import tempfile
import unittest

import performance_page  # found beside this file

PROGRAM, LIBRARY = (str(pathlib.Path(p).resolve()) for p in sys.argv[1:3])
SHORT = ["--rounds", "1", "--time", "0.001"]


def run(*arguments, status=0, **more):
    """Standard output and standard error of a run that must end so."""
    done = subprocess.run([PROGRAM, *arguments], capture_output=True, text=True, timeout=120,
                          check=False, **more)
    if done.returncode != status:
        raise AssertionError(f"{arguments}: status {done.returncode}, not {status}\n{done.stderr}")
    return done.stdout, done.stderr


def section_headers(image):
    start, = struct.unpack_from("<Q", image, 40)
    size, count = struct.unpack_from("<HH", image, 58)
    return [struct.unpack_from("<IIQQQQIIQQ", image, start + i * size) for i in range(count)]


def planted(function, pattern, opcode, count=0):
    """The library's bytes: what fits the pattern in a function, the first `count` or all, ends in
    another opcode."""
    image = bytearray(pathlib.Path(LIBRARY).read_bytes())
    sections = section_headers(image)
    symbols = next(s for s in sections if s[1] == 2)
    strings = sections[symbols[6]][4]
    for at in range(symbols[4], symbols[4] + symbols[5], 24):
        name, _, _, section, value, size = struct.unpack_from("<IBBHQQ", image, at)
        text = image[strings + name:image.index(0, strings + name)].decode()
        if re.match(rf"_Z\d+{function}(?![a-z0-9_])", text.replace("P", " ", 1)) and size:
            first = value - sections[section][3] + sections[section][4]
            body, found = re.subn(pattern, lambda old: old[0][:-1] + opcode,
                                  bytes(image[first:first + size]), count=count, flags=re.DOTALL)
            if found:
                image[first:first + size] = body
                return bytes(image)
    raise AssertionError(f"nothing to plant in {function}")


class WholeRun(unittest.TestCase):
    """One run over all kernels and what it leaves in its files."""

    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.json = os.path.join(cls.folder.name, "new.json")
        cls.csv = os.path.join(cls.folder.name, "new.csv")
        cls.table, cls.complaints = run("--sizes", "64", *SHORT, "--groups", "kernels", "--json",
                                        cls.json, "--csv", cls.csv)
        with open(cls.json, encoding="ascii") as file:
            cls.report = json.load(file)

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def file(self, report):
        handle, path = tempfile.mkstemp(dir=self.folder.name)
        with open(handle, "w", encoding="ascii") as out:
            json.dump(report, out)
        return path

    def test_every_variant_has_its_rows(self):
        rows = [r for r in self.report["rows"]
                if r["place"] == "aligned" and r["lengths"] == "fixed"]
        self.assertEqual(len({r["name"] for r in rows}), 50)
        with open("/proc/cpuinfo", encoding="utf-8") as info:
            if re.search(r"\bavx2\b", info.read()):
                self.assertEqual(len(rows), 158)
        keys = [r["key"] for r in self.report["rows"]]
        self.assertEqual(len(keys), len(set(keys)))
        self.assertEqual(set(r["lengths"] for r in self.report["rows"]), {"fixed", "shuffled"})
        self.assertEqual(set(r["place"] for r in self.report["rows"]),
                         {"aligned", "together", "crossed"})

    def test_schema(self):
        self.assertEqual((self.report["format"], self.report["version"]), ("simd-bench", 1))
        for key in ("started", "machine", "compiler", "library", "plain_loops", "rounds",
                    "seconds_per_round", "rows"):
            self.assertIn(key, self.report)
        for row in self.report["rows"]:
            self.assertEqual(
                set(row), {"key", "group", "name", "level", "size", "taps", "place", "lengths",
                           "ns_per_element", "cycles_per_element", "gigabytes_per_second", "bound",
                           "rivals", "wrong", "wrong_rivals"})
            self.assertGreater(row["ns_per_element"], 0, row["key"])
            cycles = row["cycles_per_element"]
            self.assertTrue(0 < cycles["low"] <= cycles["median"] <= cycles["high"], row["key"])
            self.assertEqual((row["wrong"], row["wrong_rivals"]), (None, []), row["key"])
            names = [r["name"] for r in row["rivals"]]
            self.assertEqual(len(names), len(set(names)), row["key"])
            for plain in self.report["plain_loops"]:
                self.assertIn(plain, names, row["key"])
            if row["level"] != "base" and row["name"] != "unpack_s16_f32":
                if not (row["name"], row["place"]) == ("swap_words_u32", "crossed"):
                    self.assertIn("baseline", names, row["key"])
            for rival in row["rivals"]:
                self.assertGreater(rival["times_ours"]["median"], 0, row["key"])

    def test_contracts_keep_their_places(self):
        keys = {r["key"] for r in self.report["rows"]}
        self.assertIn("kernels/mix_f64/sse2/64/together/fixed", keys)
        self.assertNotIn("kernels/mix_f64/avx/64/together/fixed", keys)  # it would fault
        self.assertNotIn("kernels/swap_words_u32/sse2/64/crossed/fixed", keys)
        self.assertNotIn("kernels/spec_log_f32/avx2/64/together/fixed", keys)
        self.assertNotIn("kernels/fill_f32/avx/64/crossed/fixed", keys)

    def test_table_and_csv(self):
        self.assertEqual(self.complaints, "")  # no bar where there is no terminal
        count = len(self.report["rows"])
        self.assertEqual(len(self.table.splitlines()), count + 2)
        with open(self.csv, encoding="ascii") as file:
            lines = file.read().splitlines()
        self.assertEqual(len(lines), count + 1)
        self.assertEqual({line.count(",") for line in lines}, {lines[0].count(",")})

    def test_compare_reports_a_planted_slowdown_only(self):
        _, text = run("--from", self.json, "--compare", self.json, "--quiet")
        self.assertIn(f'{len(self.report["rows"])} rows compared, 0 slower', text)
        older = copy.deepcopy(self.report)
        key = "kernels/mult_f64/base/64/aligned/fixed"
        victim = next(r for r in older["rows"] if r["key"] == key)
        victim["cycles_per_element"]["median"] /= 1.12
        path = self.file(older)
        _, text = run("--from", self.json, "--compare", path, "--quiet", status=1)
        self.assertIn("slower: " + key, text)
        self.assertEqual(text.count("slower: "), 1)
        run("--from", self.json, "--compare", path, "--quiet", "--tolerance", "0.13")

    def test_compare_of_a_measurement(self):
        here = ["--filter", "^kernels/mult_f64/base/64/aligned/fixed", "--sizes", "64", *SHORT,
                "--quiet", "--compare"]
        for factor, status in ((1e-3, 1), (1e3, 0)):
            older = copy.deepcopy(self.report)
            for row in older["rows"]:
                row["cycles_per_element"]["median"] *= factor
            run(*here, self.file(older), status=status)

    def test_compare_with_nothing_in_common(self):
        older = copy.deepcopy(self.report)
        for row in older["rows"]:
            row["size"] = 128
        run("--from", self.json, "--compare", self.file(older), "--quiet", status=1)

    def test_reports_that_are_none(self):
        for text in ("", "{}", '{"format": "simd-bench", "version": 2}'):
            path = os.path.join(self.folder.name, "none.json")
            pathlib.Path(path).write_text(text, encoding="ascii")
            _, complaint = run("--from", path, status=2)
            self.assertIn("none.json", complaint)

    def test_picture(self):
        path = os.path.join(self.folder.name, "bars.png")
        if subprocess.run(["/usr/bin/python3", "-c", "import matplotlib"], check=False,
                          capture_output=True).returncode:
            run("--from", self.json, "--quiet", "--png", path, status=2)
            return
        run("--from", self.json, "--quiet", "--png", path)
        self.assertEqual(pathlib.Path(path).read_bytes()[:8], b"\x89PNG\r\n\x1a\n")


    def test_page(self):
        """docs/performance.md from this run: a rival's planted win, with its reason."""
        report = copy.deepcopy(self.report)
        for row in report["rows"]:
            for rival in row["rivals"]:
                rival["times_ours"].update(median=2.0, low=2.0, high=2.0)
            row["bound"] = None
        key = "kernels/avg_f32/sse/64/aligned/fixed"
        victim = next(r for r in report["rows"] if r["key"] == key)
        victim["rivals"][-1]["times_ours"].update(median=0.25, low=0.2, high=0.3)
        folder = pathlib.Path(self.folder.name, "docs")
        script = pathlib.Path(__file__).resolve().parent.parent / "scripts" / "performance"
        subprocess.run([sys.executable, "-B", script, "--report", self.file(report), "--output",
                        folder], check=True, capture_output=True, timeout=120)
        page = (folder / "performance.md").read_text(encoding="ascii")
        for heading in ("# How fast", "## The machine", "## What was measured, and what was not",
                        "### 64 elements, aligned", "## Every variant and its bound"):
            self.assertIn(heading, page)
        wins = page[page.index("## Where somebody else"):page.index("## Above")]
        self.assertEqual(wins.count("\n| `"), 1)
        self.assertRegex(wins, r"`avg_f32` sse \| .* 0\.25 \(1 of \d+\) .*one vector of sums")
        self.assertIn("No bounds were known", page)

    def test_page_tells_of_bounds(self):
        """One variant's rows planted above their bound, all others on it; the cores by name."""
        report = copy.deepcopy(self.report)
        report["machine"]["bounds_of"] = "Planted core"
        for row in report["rows"]:
            far = (row["name"], row["level"]) == ("mult_f64", "sse2")
            row["bound"] = {"cycles_per_element": row["cycles_per_element"]["median"] / (1 + far),
                            "resource": "planted"}
            for rival in row["rivals"]:
                rival["ns_per_element"] = row["ns_per_element"] / (1 + 3 * far)
        folder = pathlib.Path(self.folder.name, "bounds")
        script = pathlib.Path(__file__).resolve().parent.parent / "scripts" / "performance"
        subprocess.run([sys.executable, "-B", script, "--report", self.file(report), "--output",
                        folder], check=True, capture_output=True, timeout=120)
        page = (folder / "performance.md").read_text(encoding="ascii")
        self.assertIn("bounds: those of Planted core", page)
        for heading, line in (("Above", r"`mult_f64` sse2 \| 2.00 \| 64 \| planted \| \w+"),
                              ("Mutually", r"`mult_f64` sse2 \| 2.00 \| 64 \| planted \|"),
                              ("64 elements: above", r"`mult_f64` sse2 \| 4.00 \| ")):
            section = page[page.index(f"\n## {heading}") + 1:]
            section = section[:section.index("\n## ")]
            self.assertEqual(section.count("\n| `"), 1, heading)
            self.assertRegex(section, line)

    def test_page_takes_the_quieter_pass(self):
        """A row is that of the pass where all its contestants together took least."""
        key = "kernels/mult_f64/sse2/64/aligned/fixed"
        passes = []
        for ours, others in ((3, 1), (4, 0.1), (2, 9)):  # the second is the quietest: not by ours alone
            report = copy.deepcopy(self.report)
            row = next(r for r in report["rows"] if r["key"] == key)
            row["ns_per_element"] = ours
            for rival in row["rivals"]:
                rival["ns_per_element"] = others
            row["rivals"] = row["rivals"] * 3
            passes.append(report)
        taken = performance_page.quieter(passes)
        self.assertEqual([r["ns_per_element"] for r in taken["rows"] if r["key"] == key], [4])
        self.assertEqual(len(taken["rows"]), len(self.report["rows"]))


class WrongResults(unittest.TestCase):
    """A variant that computes something else is named, and not timed."""

    def report(self, image, *arguments, by_environment=False):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "libsimd.so")
            pathlib.Path(path).write_bytes(image)
            environment = dict(os.environ)
            if by_environment:
                environment["LIBSIMD_LIBRARY"] = path
            else:
                arguments = (*arguments, "--library", path)
            return run(*arguments, *SHORT, "--sizes", "64", status=1, env=environment)

    def test_baseline(self):
        image = planted("mult_f64_base", rb"\xf2(.?)\x0f\x59", b"\x58")
        for by_environment in (False, True):
            table, text = self.report(image, "--filter", "^kernels/mult_f64/",
                                      by_environment=by_environment)
            self.assertIn("wrong result: kernels/mult_f64/base/64/aligned/fixed: f64 array", text)
            self.assertIn("wrong result: kernels/mult_f64/sse2/64/aligned/fixed: baseline", text)
            self.assertIn("WRONG", table)

    def test_vectors(self):
        image = planted("mult_f64_sse2", rb"\x66(.?)\x0f\x59", b"\x58")
        _, text = self.report(image, "--filter", "^kernels/mult_f64/")
        self.assertIn("wrong result: kernels/mult_f64/sse2/64/aligned/fixed: f64 array", text)
        self.assertNotIn("mult_f64/base", text)

    def test_chain(self):
        image = planted("fir_step_c64_sse2", rb"\x66(.?)\x0f\x59", b"\x58")
        _, text = self.report(image, "--groups", "chain", "--filter", "fir_c16_alt/.*/256/")
        self.assertIn("wrong result: chain/fir_c16_alt/sse2/256/taps=32/aligned/fixed", text)
        self.assertNotIn("fir_c16_alt/base", text)

    def test_sum_without_its_last_element(self):
        image = planted("avg_f64_base", rb"\xf2(.?)\x0f\x58", b"\x5c", count=1)  # the sum's
        _, text = self.report(image, "--filter", "^kernels/avg_f64/base")
        self.assertIn("wrong result: kernels/avg_f64/base", text)


class Requests(unittest.TestCase):
    def test_help(self):
        text, _ = run("--help")
        for word in ("--filter", "--sizes", "--levels", "--full", "--json", "--csv", "--png",
                     "--compare", "--tolerance", "--threads", "--peers", "Examples:", "aligned",
                     "together", "crossed", "multiplications"):
            self.assertIn(word, text)

    def test_manual_lists_the_options(self):
        page = pathlib.Path(__file__).resolve().parent.parent / "docs" / "man" / "simd-bench.1"
        manual = subprocess.run(["mandoc", "-T", "ascii", page], capture_output=True, text=True,
                                check=True).stdout
        listed = [set(re.findall(r"(?<![\w-])--?[a-z][\w-]*", " ".join(
            line for line in text.splitlines() if re.match(r" +-", line))))
            for text in (run("--help")[0], re.sub(r".\x08", "", manual))]
        self.assertGreater(len(listed[0]), 20)
        self.assertEqual(*listed)

    def test_peers(self):
        text, _ = run("--peers")
        self.assertRegex(text, r"memcpy_fast +glibc +memcpy")

    def test_bad_requests(self):
        for arguments in (["--sizes", "65"], ["--sizes", "0"], ["--sizes", "x"],
                          ["--levels", "mmx"], ["--places", "nowhere"], ["--filter", "("],
                          ["--filter", "no such row"],
                          ["--groups", "none"], ["--library", "/nowhere"], ["--nonsense"],
                          ["--library", PROGRAM, "--list"]):
            _, text = run(*arguments, status=2)
            self.assertTrue(text.startswith("simd-bench: "), text)

    def test_list(self):
        text, _ = run("--list", "--groups", "kernels,chain,threads", "--sizes", "64")
        for key in ("kernels/fill_f32/base/64/aligned/fixed",
                    "chain/fir_c32_alt/sse2/4Ki/taps=512/", "chain/vfilter_f32/sse/4Ki/taps=129/",
                    "chain/whole chain/sse2/64Ki/",
                    "chain/quantise f32 to s16/sse2/", "threads/fir_step_c64/"):
            self.assertIn(key, text)

    def test_bounds(self):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "bounds.txt")
            here = ["--bounds", path, "--filter", "mult_f64/sse2/64/aligned/fixed", "--json", "-",
                    *SHORT]
            pathlib.Path(path).write_text("# remark\nmult_f64 sse2 aligned 0.5 one store a cycle\n")
            row = json.loads(run(*here)[0])["rows"][0]
            self.assertEqual(row["bound"], {"cycles_per_element": 0.5,
                                            "resource": "one store a cycle"})
            for line in ("mult_f64 sse2 aligned soon\n", "processor AuthenticAMD 25 x Zen\n",
                         "processor AuthenticAMD 25\n"):
                pathlib.Path(path).write_text(line)
                self.assertIn("line 1", run(*here, status=2)[1])

    def test_bounds_hold_for_their_processor_only(self):
        with open("/proc/cpuinfo", encoding="utf-8") as info:
            text = info.read()
        vendor, family, model = (re.search(rf"^{name}\s*: (\S+)", text, re.M)[1]
                                 for name in ("vendor_id", "cpu family", "model"))
        here = ["--filter", "mult_f64/sse2/64/aligned/fixed", *SHORT]
        row = "mult_f64 sse2 aligned 0.5 store\n"
        other = f"processor {vendor} {family} {int(model) + 1} Other core\n"
        own = f"processor {vendor} {family} {int(model) + 1},0-{model} This core\n"
        elsewhere = f"processor Elsewhere {family} {model} Else\n"
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "bounds.txt")
            for table, core in (
                    (row, "any processor"), (other + row, None), (elsewhere + row, None),
                    (own + row, "This core"), (own + row + other + row.replace("5", "7"),
                                               "This core")):
                pathlib.Path(path).write_text(table)
                report = json.loads(run(*here, "--bounds", path, "--json", "-")[0])
                self.assertEqual(report["machine"]["bounds_of"], core, table)
                self.assertEqual(report["machine"]["cpuid"],
                                 f"{vendor} family {family} model {model}")
                bound = report["rows"][0]["bound"]
                self.assertEqual(bound and bound["cycles_per_element"], core and 0.5, table)
                shown = run(*here, "--bounds", path)[0]
                self.assertIn(f"over the bounds of {core}" if core else "none is known", shown)

    def test_chain_and_threads(self):
        text, _ = run("--groups", "chain,threads", "--sizes", "64", *SHORT, "--json", "-",
                      "--filter", "^chain/.*/(256|4Ki)/(taps=(8|3|32|33)/)?a|^threads/mult_f64")
        rows = json.loads(text)["rows"]
        self.assertGreater(len(rows), 20)
        self.assertEqual({r["group"] for r in rows}, {"chain", "threads"})
        for row in rows:
            self.assertEqual((row["wrong"], row["wrong_rivals"]), (None, []), row["key"])
            self.assertGreater(len(row["rivals"]), 0)

    def test_a_terminal_gets_a_bar(self):
        ours, theirs = pty.openpty()
        done = subprocess.run([PROGRAM, *SHORT, "--sizes", "64", "--filter", "fill_f32/base"],
                              stdout=subprocess.DEVNULL, stderr=theirs, timeout=60, check=True)
        os.close(theirs)
        self.assertEqual(done.returncode, 0)
        self.assertIn(b"kernels/fill_f32/base", os.read(ours, 65536))
        os.close(ours)

    def test_needs_no_test_framework(self):
        text = subprocess.run(["ldd", PROGRAM], capture_output=True, text=True, check=True).stdout
        self.assertIn("libsimd", text)
        self.assertNotIn("gtest", text)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
