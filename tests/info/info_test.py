#!/usr/bin/env python3
"""simd-info against the truth: info_test.py PROGRAM LIBRARY OTHER_LIBRARY SOURCES.

About levels the truth is the table of tests/rig/library.cpp, about demands the table in the header,
about this processor the entries of the library loaded here, named by its symbol table.
"""
import ctypes
import itertools
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

program, library, other_library, sources = sys.argv[1:5]
del sys.argv[1:5]

LEVELS = ["base", "sse", "sse2", "sse3", "ssse3", "sse41", "avx", "avx2"]
TITLES = dict(zip(LEVELS, ["baseline", "SSE", "SSE2", "SSE3", "SSSE3", "SSE4.1", "AVX", "AVX2"]))
FUNCTIONS = ["fir_c16_alt", "fir_c32_alt", "fir_c64_alt"]

# What each model has, and what of it the library sees: AVX2 stands in sub-leaf 0 alone.
MODELS = {
    "opteron": "sse2", "nocona": "sse3", "k10": "sse3", "core2": "ssse3", "merom": "ssse3",
    "bonnell": "ssse3", "penryn": "sse41", "nehalem": "sse41", "sandybridge": "avx",
    "ivybridge": "avx", "bulldozer": "avx", "haswell": "avx2", "skylake": "avx2",
    "icelake": "avx2", "zen": "avx2", "zen2": "avx2", "zen4": "avx2",
}


def up_to(level):
    return LEVELS[:LEVELS.index(level) + 1]


def rig_table():
    """{entry: [level]} as the test rig has it."""
    text = pathlib.Path(sources, "tests/rig/library.cpp").read_text()
    rows = re.findall(r'\{"(\w+)", \{([a-z0-9, ]+)\}\}', text)
    return {name: levels.split(", ") for name, levels in rows}


def header_demands():
    """{(entry, level): {level}} as the header's table has them."""
    text = pathlib.Path(sources, "include/libsimd.h").read_text()
    block = text[text.index("also uses\n"):]
    block = block[block.index("\n") + 1:block.index("\n *\n")]
    found, level, uses = {}, None, None
    for row in block.splitlines():
        match = re.fullmatch(r" \*\s+(?:(baseline|SSE2|SSSE3)\s+)?([a-z0-9_, ]+?)"
                             r"(?:\s{2,}(SSE[34.1, SE]*))?", row)
        if match[1]:
            level = {"baseline": "base"}.get(match[1], match[1].lower())
        if match[3]:
            uses = {use.strip().lower().replace(".", "") for use in match[3].split(",")}
        for name in re.findall(r"\w+", match[2]):
            found[name, level] = uses
    return found


TABLE = rig_table()
DEMANDS = header_demands()


def expected_level(entry, seen):
    return next((level for level in reversed(TABLE[entry]) if level in {"base", *seen}), None)


def expected_reason(entry, seen, has):
    """The documented meaning of each reason, from the table."""
    level = expected_level(entry, seen)
    if "avx2" in has and "avx2" not in seen and "avx2" in TABLE[entry]:
        return "avx2_not_seen"
    if level is None:
        return "null_entry"
    above = set(LEVELS[LEVELS.index(level) + 1:])
    return "no_variant" if above & set(seen) else "highest"


def run(*arguments, libraries=None, **more):
    environment = dict(os.environ)
    environment.pop("LD_LIBRARY_PATH", None)
    if libraries:
        environment["LD_LIBRARY_PATH"] = str(libraries)
    return subprocess.run([program, *arguments], capture_output="stdout" not in more, text=True,
                          env=environment, timeout=60, **more)


def report(*arguments, **more):
    result = run("--json", *arguments, **more)
    if result.returncode not in (0, 1) or result.stderr:
        raise AssertionError(f"{arguments}: {result.returncode} {result.stderr}")
    found = json.loads(result.stdout)
    if result.returncode != (1 if found["warnings"] else 0):
        raise AssertionError(f"{arguments}: status {result.returncode}")
    return found


def installed(found):
    return {k["name"]: k["installed"] for k in found["kernels"] if k["kind"] == "entry"}


class Truth(unittest.TestCase):
    """Scripted processors against the test rig's table."""

    def check(self, found, seen, has):
        seen, has = {"base", *seen}, {"base", *has}
        features = found["processor"]["features"]
        self.assertEqual({name for name, there in features.items() if there}, has - {"base"})
        self.assertEqual([k["name"] for k in found["kernels"]][-3:], FUNCTIONS)
        self.assertEqual({k["name"] for k in found["kernels"]}, {*TABLE, *FUNCTIONS})
        for kernel in found["kernels"]:
            name = kernel["name"]
            if name in FUNCTIONS:
                self.assertEqual((kernel["kind"], kernel["installed"], kernel["variants"],
                                  kernel["reason"]), ("function", None, [], "plain_function"))
                continue
            with self.subTest(name):
                self.assertEqual(kernel["kind"], "entry")
                self.assertEqual(kernel["variants"], TABLE[name])
                level = expected_level(name, seen)
                self.assertEqual(kernel["installed"], level)
                self.assertEqual(kernel["reason"], expected_reason(name, seen, has))
                self.assertEqual(kernel["why"] == "", kernel["reason"] == "highest")
                self.assertEqual(set(kernel["also_uses"]), DEMANDS.get((name, level), set()))
        self.assertEqual(found["avx2"]["processor_has"], "avx2" in has)
        self.assertEqual(found["avx2"]["library_sees"], "avx2" in seen)
        self.check_warnings(found, has)

    def check_warnings(self, found, has):
        """Every kernel with a demand that is not met is named with it, and no other."""
        want = set()
        for kernel in found["kernels"]:
            uses = DEMANDS.get((kernel["name"], kernel["installed"]), set())
            if uses - has:
                want.add((kernel["name"], frozenset(uses - has)))
        if ("memcpy_fast", frozenset({"sse41"})) in want:
            want |= {(name, frozenset({"sse41"})) for name in ("vfilter_f32", "vfilter_f64")}
        told = {(name, frozenset(w["missing"])) for w in found["warnings"] for name in w["kernels"]
                if "also use" in w["text"]}
        self.assertEqual(told, want)
        for warning in found["warnings"]:
            for missing in warning["missing"]:
                self.assertIn(TITLES[missing], warning["text"])

    def test_the_truth_is_there(self):
        self.assertEqual(len(TABLE), 50)
        self.assertEqual(sum(map(len, TABLE.values())), 158)
        self.assertEqual(len(DEMANDS), 16)

    def test_models(self):
        listed = re.findall(r"^  (\w+) ", run("--list").stdout.split("\nFeatures")[0], re.M)
        self.assertEqual(listed, list(MODELS))
        for model, highest in MODELS.items():
            with self.subTest(model):
                has = up_to(highest)
                found = report("--cpu", model)
                self.check(found, set(has) - {"avx2"}, has)
                self.assertEqual(found["processor"]["name"], model)
                self.assertEqual(found["processor"]["wide_registers_enabled"], "avx" in has)

    def test_every_combination_of_features(self):
        for bits in itertools.product([False, True], repeat=7):
            has = {level for level, on in zip(LEVELS[1:], bits) if on}
            changes = [("+" if on else "-") + level for level, on in zip(LEVELS[1:-1], bits)]
            changes.append(("+" if bits[-1] else "-") + "avx2-everywhere")
            with self.subTest(changes):
                found = report("--cpu", "zen", *[a for c in changes for a in ("--feature", c)])
                self.check(found, has, has)
                gaps = [w for w in found["warnings"] if "may use" in w["text"]]
                named = {(name, frozenset(w["missing"])) for w in gaps for name in w["kernels"]}
                self.assertEqual(named, self.gaps(found, has))

    @staticmethod
    def gaps(found, has):
        """Variants on a processor that lacks what lies below their level."""
        below = {"base": {"sse", "sse2"}, "avx": {"avx"}, "avx2": {"avx", "avx2"}}
        want = set()
        for kernel in found["kernels"]:
            level = kernel["installed"]
            missing = below.get(level, {*up_to(level)} - {"base"}) - has if level else set()
            if missing:
                want.add((kernel["name"], frozenset(missing)))
        return want

    def test_avx2_where_it_is_reported(self):
        has = up_to("avx2")
        for vendor, word, tail in (("skylake", 0x6c65746e, "ntel"), ("zen", 0x444d4163, "cAMD")):
            found = report("--cpu", vendor)
            self.check(found, set(has) - {"avx2"}, has)
            self.assertIn(f"{word:#x} (\"{tail}\"", found["avx2"]["why"])
            asked = [(q["leaf"], q["subleaf"]) for q in found["cpuid"] if q["leaf"] == 7]
            self.assertEqual(asked, [(7, word)])
            self.check(report("--cpu", vendor, "-f", "+avx2-everywhere"), has, has)
            self.check(report("--cpu", vendor, "-f", "-avx2"), up_to("avx"), up_to("avx"))

    def test_avx2_raises_the_highest_leaf(self):
        has = {*up_to("sse2"), "avx2"}
        self.check(report("--cpu", "opteron", "--feature", "+avx2"), up_to("sse2"), has)
        found = report("--cpu", "opteron", "--feature", "+avx2-everywhere")
        self.check(found, has, has)

    def test_operating_system(self):
        for changes, enabled in (((), True), (("-ymm",), False), (("-osxsave",), False),
                                 (("-osxsave", "+ymm"), False), (("-ymm", "+ymm"), True)):
            found = report("--cpu", "haswell", *[a for c in changes for a in ("-f", c)])
            self.assertEqual(found["processor"]["wide_registers_enabled"], enabled)
            named = {name for w in found["warnings"] for name in w["kernels"]}
            wide = {name for name, level in installed(found).items() if level == "avx"}
            self.assertEqual(len(wide), 39)
            self.assertEqual(named, set() if enabled else wide)
            if not enabled:
                self.assertIn("has not enabled the 32-byte registers", found["warnings"][0]["text"])
        self.assertEqual(report("--cpu", "nehalem", "-f", "-osxsave", "-f", "-ymm")["warnings"], [])
        self.assertEqual(len(report("--cpu", "nehalem", "-f", "+avx")["warnings"]), 1)


class ThisProcessor(unittest.TestCase):
    def entries(self):
        """{entry: level} of the library loaded into this process, by its symbol table."""
        loaded = ctypes.CDLL(library)
        base = {}
        symbols = subprocess.run(["nm", "--demangle", library], capture_output=True, text=True,
                                 check=True).stdout
        for address, name in re.findall(r"^([0-9a-f]+) [tT] (\w+)", symbols, re.M):
            base.setdefault(int(address, 16), name)
        anchor = next(a for a, name in base.items() if name == "fir_c16_alt")
        start = ctypes.cast(loaded.fir_c16_alt, ctypes.c_void_p).value - anchor
        found = {}
        for name in TABLE:
            held = ctypes.c_void_p.in_dll(loaded, name).value
            variant = base[held - start] if held else None
            found[name] = variant and variant.removeprefix(name + "_")
        return found

    def test_the_entries_of_the_loaded_library(self):
        found = report()
        self.assertEqual(installed(found), self.entries())
        self.assertEqual(found["processor"]["name"], "this")
        self.assertTrue(os.path.samefile(found["library"], library))

    def test_stripped_library(self):
        with tempfile.TemporaryDirectory() as folder:
            copy = pathlib.Path(folder, "libsimd.so")
            shutil.copy(library, copy)
            subprocess.run(["strip", "--strip-all", copy], check=True)
            self.assertEqual(subprocess.run(["nm", copy], capture_output=True).stdout, b"")
            for arguments in ([], ["--cpu", "core2"], ["--cpu", "zen4", "-f", "+avx2-everywhere"]):
                stripped = report(*arguments, libraries=folder)
                self.assertEqual(stripped.pop("library"), str(copy))
                whole = report(*arguments)
                del whole["library"]
                for answers in (stripped, whole):  # leaf 1 also tells the core it ran on
                    for words in answers["cpuid"]:
                        words["ebx"] &= 0x00FFFFFF if words["leaf"] == 1 else 0xFFFFFFFF
                self.assertEqual(stripped, whole)

    def test_a_feature_taken_from_this_processor(self):
        found = report("--feature", "-avx", "-f", "-avx2")
        has = {name for name, there in found["processor"]["features"].items() if there}
        self.assertFalse(has & {"avx", "avx2"})
        self.assertEqual(installed(found), {name: expected_level(name, has) for name in TABLE})


class OtherLibrary(unittest.TestCase):
    """What is printed comes from the library that is loaded, whatever it does."""
    folder = os.path.dirname(other_library)

    def kernels(self, *arguments):
        found = report(*arguments, libraries=self.folder)
        self.assertTrue(os.path.samefile(found["library"], other_library))
        return found, {k["name"]: k for k in found["kernels"]}

    def test_it_is_reported_as_it_is(self):
        for model, special in (("opteron", {}), ("core2", {"mult_f64": "sse3", "avg_f32": "ssse3"}),
                               ("haswell", {"mult_f64": "sse3", "fill_f32": "avx2"})):
            found, kernels = self.kernels("--cpu", model)
            for name in TABLE:
                usual = None if name == "unpack_s16_f32" else "base"
                self.assertEqual(kernels[name]["installed"], special.get(name, usual), name)
            self.assertEqual(found["avx2"]["library_sees"], "fill_f32" in special)
        self.assertEqual(kernels["fill_f32"]["variants"], ["base", "avx2"])
        self.assertEqual(kernels["mult_f64"]["variants"], ["base", "sse3"])
        self.assertEqual(kernels["unpack_s16_f32"]["variants"], [])
        self.assertEqual(kernels["unpack_s16_f32"]["reason"], "null_entry")
        self.assertIn("sub-leaf 0x0", found["avx2"]["why"])

    def test_a_level_that_is_passed_over(self):
        found, kernels = self.kernels("--cpu", "penryn")
        self.assertEqual(kernels["avg_f32"]["installed"], "base")
        self.assertEqual(kernels["avg_f32"]["reason"], "unexpected")
        self.assertIn(["avg_f32"], [w["kernels"] for w in found["warnings"]])

    def test_what_no_level_explains_is_no_level(self):
        result = run("--cpu", "zen", libraries=self.folder)
        self.assertEqual(result.returncode, 3)
        self.assertEqual(result.stderr, "simd-info: min_u8: holds what no level installs\n")
        self.assertEqual(result.stdout, "")

    def test_another_library_of_the_name_is_refused(self):
        with tempfile.TemporaryDirectory() as folder:
            text = pathlib.Path(sources, "tests/info/other_library.c").read_text()
            pathlib.Path(folder, "more.c").write_text(text + "int more;\n")
            subprocess.run(["cc", "-shared", "-fPIC", "-o", f"{folder}/libsimd.so",
                            f"{folder}/more.c", f"-I{sources}/tools"], check=True)
            result = run(libraries=folder)
            self.assertEqual(result.returncode, 3, result.stderr)
            self.assertRegex(result.stderr, r"^simd-info: .*/libsimd.so: exports more, .*\n$")
            self.assertEqual(result.stdout, "")


class CommandLine(unittest.TestCase):
    def fails(self, status, *arguments):
        result = run(*arguments)
        self.assertEqual(result.returncode, status, result.stderr)
        self.assertEqual(result.stdout, "")
        return result.stderr

    def test_help_and_version(self):
        result = run("--help")
        self.assertEqual(result.returncode, 0)
        for text in ("--cpu", "--feature", "--json", "--list", "Exit status", "Examples"):
            self.assertIn(text, result.stdout)
        self.assertLessEqual(max(map(len, result.stdout.splitlines())), 100)
        version = re.search(r"project\(libsimd VERSION ([\d.]+)",
                            pathlib.Path(sources, "CMakeLists.txt").read_text())[1]
        self.assertEqual(run("--version").stdout, f"simd-info {version}\n")

    def test_bad_arguments(self):
        self.assertIn("'z80': no such processor", self.fails(2, "--cpu", "z80"))
        self.assertIn("'+fma': no such feature", self.fails(2, "--feature", "+fma"))
        self.assertIn("+ or -", self.fails(2, "--feature", "avx"))
        self.assertIn("+ or -", self.fails(2, "--feature", ""))
        self.assertIn("no kernel of this name", self.fails(2, "fill_f16"))
        self.assertIn("nonsense", self.fails(2, "--nonsense"))
        self.fails(2, "--cpu")
        self.fails(2, "--cpu", "zen", "--cpu", "k10")

    def test_output_that_cannot_be_written(self):
        with open("/dev/full", "w") as full:
            result = run(stdout=full, stderr=subprocess.PIPE)
        self.assertEqual(result.returncode, 4)
        self.assertIn("No space left", result.stderr)

    def test_only_some_kernels(self):
        found = report("--cpu", "k10", "avg_f64", "fir_c16_alt")
        self.assertEqual([k["name"] for k in found["kernels"]], ["avg_f64", "fir_c16_alt"])
        self.assertEqual(found["warnings"], [])
        self.assertEqual(len(report("--cpu", "k10", "vfilter_f32")["warnings"]), 1)
        self.assertEqual(len(report("--cpu", "opteron", "avg_f64")["warnings"]), 1)

    def test_text_says_what_the_json_says(self):
        for arguments in ([], ["--cpu", "opteron"], ["--cpu", "haswell", "-f", "-ymm"],
                          ["-c", "penryn", "-f", "-sse2"]):
            found = report(*arguments)
            text = run(*arguments).stdout
            lines = text.splitlines()
            self.assertLessEqual(max(map(len, lines)), 100)
            rows = {line.split()[0]: line for line in lines if re.match(r"[a-z0-9]+_", line)}
            self.assertEqual(list(rows), [k["name"] for k in found["kernels"]])
            for kernel in found["kernels"]:
                blank = "-" if kernel["kind"] == "function" else "NULL"
                words = [TITLES.get(kernel["installed"], blank),
                         *(TITLES[level] for level in kernel["variants"]), *kernel["why"].split()]
                self.assertEqual(rows[kernel["name"]].split()[1:], words)
            flat = re.sub(r"\s+", " ", text)
            self.assertEqual(text.count("\nwarning "), len(found["warnings"]))
            for told in (found["avx2"]["why"], *(w["text"] for w in found["warnings"])):
                self.assertIn(told, flat)

    def test_json_has_the_documented_members(self):
        found = report("--cpu", "zen")
        self.assertEqual(list(found), ["library", "processor", "cpuid", "avx2", "kernels",
                                       "warnings"])
        self.assertEqual(list(found["processor"]), ["name", "about", "vendor", "features",
                                                    "wide_registers_enabled"])
        self.assertEqual(found["processor"]["vendor"], "AuthenticAMD")
        for query in found["cpuid"]:
            self.assertEqual(list(query), ["leaf", "subleaf", "eax", "ebx", "ecx", "edx"])
        for kernel in found["kernels"]:
            self.assertEqual(list(kernel), ["name", "kind", "installed", "variants", "also_uses",
                                            "reason", "why"])


if __name__ == "__main__":
    unittest.main()
