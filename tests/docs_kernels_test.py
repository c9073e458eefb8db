#!/usr/bin/env python3
"""Holds the kernel list to what is compiled, and to what is written elsewhere:

    docs_kernels_test.py KERNELS.JSON LIBRARY CC NM SIMD_INFO SOURCE_FOLDER
"""
import json
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

source = pathlib.Path(sys.argv.pop())
simd_info = sys.argv.pop()
nm = sys.argv.pop()
compiler = sys.argv.pop()
library = sys.argv.pop()
listed = json.loads(pathlib.Path(sys.argv.pop()).read_text(encoding="ascii"))
kernels = {kernel["name"]: kernel for kernel in listed["kernels"]}
header = (source / "include/libsimd.h").read_text(encoding="ascii")

# Above how many elements a level's variant works, written down a second time.
THRESHOLDS = {
    "swap_words_u32": {"sse2": 15, "ssse3": 15, "avx2": 15},
    "min_u8": {"sse2": 31, "avx2": 63}, "max_u8": {"sse2": 31, "avx2": 63},
    "min_s16": {"sse2": 15, "avx2": 31}, "max_s16": {"sse2": 15, "avx2": 31},
    "minmax_s16": {"sse2": 15, "avx2": 31},
    "min_f32": {"sse": 15, "avx": 31}, "max_f32": {"sse": 15, "avx": 31},
    "minmax_f32": {"sse": 15, "avx": 31}, "minmaxmed_f32": {"sse": 15, "avx": 31},
    "min_f64": {"sse2": 7, "avx": 15}, "max_f64": {"sse2": 7, "avx": 15},
    "minmax_f64": {"sse2": 15, "avx": 31}, "minmaxmed_f64": {"sse2": 15, "avx": 15},
    "avg_abs_s16": {"ssse3": 15, "avx2": 31},
    "max_array_f32": {"sse": 15, "avx": 31}, "max_array_f64": {"sse2": 15, "avx": 15},
    "spec_log_f32": {"sse2": 15, "avx2": 31},
    "iir1_f32": {"sse": 15, "avx": 31}, "iir1_f64": {"sse2": 15, "avx": 15},
}


def test_source(name):
    return (source / "tests" / name).read_text(encoding="ascii")


def declared(kernel):
    """The kernel's type as C writes it, with the arguments' types only."""
    types = ", ".join(argument["type"] for argument in kernel["arguments"])
    return f"{kernel['returns']['type']} (*)({types})"


class Kernels(unittest.TestCase):
    maxDiff = None

    def test_names_and_kinds_are_those_of_the_library(self):
        table = subprocess.run([nm, "-D", "--defined-only", library], check=True,
                               capture_output=True, text=True).stdout
        symbols = {line.split()[-1]: line.split()[-2] for line in table.splitlines()}
        kinds = {name: "function" if letter == "T" else "entry" for name, letter in symbols.items()}
        self.assertEqual(len(listed["kernels"]), 53)
        self.assertEqual({name: kernel["kind"] for name, kernel in kernels.items()}, kinds)

    def test_types_are_those_that_the_compiler_sees(self):
        lines = ['#include "libsimd.h"']
        for name, kernel in kernels.items():
            have = f"__typeof__({'&' if kernel['kind'] == 'function' else ''}{name})"
            lines.append(f"_Static_assert(__builtin_types_compatible_p({have}, {declared(kernel)}),"
                         f' "{name}");')
        self.assertEqual(len(lines), 54)
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder, "types.c")
            path.write_text("\n".join(lines) + "\n", encoding="ascii")
            run = subprocess.run([compiler, "-std=c11", "-fsyntax-only", f"-I{source}/include",
                                  path], capture_output=True, text=True)
        self.assertEqual(run.returncode, 0, run.stderr)

    def test_arguments_stand_in_the_order_of_the_header(self):
        code = " ".join(re.sub(r"/\*.*?\*/", "", header, flags=re.S).split())
        for name, kernel in kernels.items():
            arguments = ", ".join(
                a["type"].replace(" *", "*") + " " + a["name"] for a in kernel["arguments"])
            suffix = "_fn" if kernel["kind"] == "entry" else ""
            self.assertEqual(code.count(f" {name}{suffix}({arguments});"), 1,
                             f"{name}({arguments})")
            self.assertEqual(kernel["prototype"].replace(" *", "* "),
                             f"{kernel['returns']['type']} {name}({arguments})")

    def test_levels_are_those_of_the_test_rig(self):
        rows = re.findall(r'\{"(\w+)", \{([a-z0-9, ]+)\}\},', test_source("rig/library.cpp"))
        self.assertEqual(len(rows), 50)
        self.assertEqual({name: [level["level"] for level in kernel["levels"]]
                          for name, kernel in kernels.items() if kernel["kind"] == "entry"},
                         {name: levels.split(", ") for name, levels in rows})

    def test_demands_are_those_of_the_machine_code(self):
        code = test_source("code_test.cpp").split("& demands(", 1)[1].split("list.find", 1)[0]
        rows = {row[1]: set(re.findall(r'\{"(\w+)", \{"', row[2]))
                for row in re.finditer(r'\{"(\w+_\w+)", (\{\{.*?\}\}\})\}', code)}
        self.assertEqual(len(rows), 16)
        self.assertEqual({f"{name}_{level['level']}": set(level["demands"])
                          for name, kernel in kernels.items() for level in kernel["levels"]
                          if level["demands"]}, rows)

    def test_simd_info_knows_the_same_kernels(self):
        answer = subprocess.run([simd_info, "--json"], capture_output=True, text=True)
        self.assertIn(answer.returncode, (0, 1), answer.stderr)  # 1: it warns of this processor
        told = {row["name"]: row for row in json.loads(answer.stdout)["kernels"]}
        self.assertEqual({name: (row["kind"], row["variants"]) for name, row in told.items()},
                         {name: (kernel["kind"], [level["level"] for level in kernel["levels"]])
                          for name, kernel in kernels.items()})
        for name, row in told.items():
            demands = {level["level"]: level["demands"] for level in kernels[name]["levels"]}
            self.assertEqual(row["also_uses"], demands.get(row["installed"], []), name)

    def test_thresholds(self):
        self.assertEqual({name: {level["level"]: level["threshold"] for level in kernel["levels"]
                                 if level["threshold"] is not None}
                          for name, kernel in kernels.items()},
                         {name: THRESHOLDS.get(name, {}) for name in kernels})

    def test_arguments_say_what_a_binding_needs(self):
        for name, kernel in kernels.items():
            names = {a["name"] for a in kernel["arguments"]}
            for a in kernel["arguments"]:
                with self.subTest(kernel=name, argument=a["name"]):
                    self.assertTrue(a["text"])
                    pointer = a["type"].endswith("*")
                    self.assertEqual(a["direction"] == "value", not pointer)
                    self.assertEqual(a["length"] is None, not pointer)
                    if pointer:
                        self.assertEqual(a["direction"] == "in", a["type"].startswith("const "))
                        self.assertLessEqual(set(re.findall(r"[a-z]+", a["length"])), names)
            self.assertEqual(kernel["returns"]["text"] is None,
                             kernel["returns"]["type"] == "void", name)

    def test_texts_are_those_of_the_header(self):
        plain = "\n".join(re.sub(r"^(/\*\* ?| \*/| \* ?)|( \*/)$", "", line).rstrip()
                          for line in header.splitlines())
        for name, kernel in kernels.items():
            self.assertEqual(plain.count(kernel["text"]), 1, name)
            self.assertTrue(kernel["text"].startswith(kernel["brief"].split(" ")[0]), name)


if __name__ == "__main__":
    unittest.main()
