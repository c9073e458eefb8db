#!/usr/bin/env python3
"""Plants mistakes in the documents and the kernel list, and sees each caught by its check.

    docs_planted_test.py DOCS_BUILD SOURCE LIBRARY CC NM DOXYGEN MANDOC SIMD_INFO SIMD_WATERFALL
"""
import json
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

docs_build, source, library, *programs = sys.argv[1:]
del sys.argv[1:]
compiler, nm, doxygen, mandoc, simd_info, simd_waterfall = programs
source = pathlib.Path(source)
KEPT = ["include", "scripts", "docs", "examples", "README.md", "CHANGELOG.md",
        "CONTRIBUTING.md", "CMakeLists.txt", "tests/rig/library.cpp", "tests/code_test.cpp"]


class Planted(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.tree = pathlib.Path(self.folder.name, "tree")
        self.build = pathlib.Path(self.folder.name, "docs")
        for name in KEPT:
            (self.tree / name).parent.mkdir(parents=True, exist_ok=True)
            copy = shutil.copytree if (source / name).is_dir() else shutil.copy
            copy(source / name, self.tree / name)
        shutil.copytree(docs_build, self.build)

    def tearDown(self):
        self.folder.cleanup()

    def fresh(self):
        self.tearDown()
        self.setUp()

    def change(self, name, old, new):
        path = self.build / name if (self.build / name).exists() else self.tree / name
        text = path.read_text(encoding="ascii")
        self.assertGreaterEqual(text.count(old), 1, f"nothing to plant in {name}")
        path.write_text(text.replace(old, new, 1), encoding="ascii")

    def change_list(self, edit):
        path = self.build / "kernels.json"
        listed = json.loads(path.read_text(encoding="ascii"))
        edit({kernel["name"]: kernel for kernel in listed["kernels"]}, listed["kernels"])
        path.write_text(json.dumps(listed), encoding="ascii")

    def run_python(self, script, *words):
        return subprocess.run([sys.executable, script, *map(str, words)], capture_output=True,
                              text=True, timeout=60)

    def fails(self, result, words):
        self.assertNotEqual(result.returncode, 0, "not caught")
        self.assertIn(words, result.stdout + result.stderr)

    def list_kernels(self):
        return self.run_python(self.tree / "scripts/kernel-list", self.tree / "include/libsimd.h")

    def make_pages(self):
        return self.run_python(self.tree / "docs/kernel-pages", self.build / "kernels.json",
                               self.tree / "include/libsimd.h", self.build, "November 21, 2026")

    def check_kernels(self):
        return self.run_python(source / "tests/docs_kernels_test.py", self.build / "kernels.json",
                               library, compiler, nm, simd_info, self.tree)

    def check_pages(self):
        settings = self.build / "Doxyfile"  # the copy reads the copied pages
        text = settings.read_text(encoding="ascii").replace(docs_build, str(self.build))
        settings.write_text(text, encoding="ascii")
        return self.run_python(source / "tests/docs_pages_test.py", self.build,
                               self.tree / "docs", doxygen, mandoc, simd_info, simd_waterfall)

    def check_text(self):
        return self.run_python(source / "tests/docs_text_test.py", self.build / "kernels.json",
                               self.tree, pathlib.Path(library).parent, compiler)

    def test_without_a_mistake_all_is_well(self):
        for check in (self.list_kernels, self.make_pages, self.check_kernels, self.check_pages,
                      self.check_text):
            result = check()
            self.assertEqual(result.returncode, 0, result.stderr)

    def test_header(self):
        header = "include/libsimd.h"
        for old, new, words in (
                (" * @param value  stored n times\n", "", "fill_f32: value is not documented"),
                ("@param value  stored", "@param valve  stored", "fill_f32: value is not"),
                (" * @param n      elements\n * @param value",
                 " * @param n      elements\n * @param m      more\n * @param value",
                 "fill_f32: has no argument m"),
                ("@param dst    n floats, written", "@param dst    n floats",
                 "fill_f32: dst is float *, but its text says 'in'"),
                ("bit for bit. Baseline, SSE, AVX.", "bit for bit.",
                 "fill_f32: its levels are not stated"),
                ("SSSE3      avg_abs_s16", "SSSE3      avg_abs_s61", "names no variant"),
                (" * @return   the weighted mean\n", "", "what it returns is not documented"),
                ("extern fill_f32_fn* fill_f32;", "extern fill_f64_fn* fill_f32;",
                 "type and entry disagree"),
                ("*/\ntypedef void mix_f64_fn(", "*/\nint stray;\ntypedef void mix_f64_fn(",
                 "not read: mix_f64")):
            with self.subTest(planted=new or old):
                shutil.copy(source / header, self.tree / header)
                self.change(header, old, new)
                self.fails(self.list_kernels(), words)

    def test_kernel_list(self):
        def swap(name, i, j):
            def edit(kernels, _):
                a = kernels[name]["arguments"]
                a[i], a[j] = a[j], a[i]
            return edit

        def set_level(name, place, member, value):
            return lambda kernels, _: kernels[name]["levels"][place].update({member: value})

        def add_level(kernels, _):
            kernels["fill_f32"]["levels"].append(
                {"level": "avx2", "threshold": None, "demands": []})

        def rename(kernels, _):
            kernels["fill_f32"]["name"] = "fill_f16"

        for edit, words in (
                (swap("pack_f32_u8", 3, 4), "test_arguments_stand_in_the_order"),
                (swap("fill_f32", 1, 2), "test_types_are_those"),
                (lambda kernels, every: every.remove(kernels["mix_f64"]), "test_names_and_kinds"),
                (rename, "test_names_and_kinds"),
                (lambda kernels, _: kernels["fir_c16_alt"].update(kind="entry"),
                 "test_names_and_kinds"),
                (lambda kernels, _: kernels["mix_f64"]["arguments"][2].update(type="uint32_t"),
                 "test_types_are_those"),
                (lambda kernels, _: kernels["min_u8"]["returns"].update(type="int8_t"),
                 "test_types_are_those"),
                (add_level, "test_levels_are_those_of_the_test_rig"),
                (lambda kernels, _: kernels["fft_abs_f64"]["levels"].pop(2),
                 "test_levels_are_those_of_the_test_rig"),
                (set_level("avg_f64", 1, "demands", []), "test_demands_are_those"),
                (set_level("min_u8", 1, "threshold", 15), "test_thresholds"),
                (lambda kernels, _: kernels["mix_f64"]["arguments"][3].update(length="2 * m"),
                 "test_arguments_say"),
                (lambda kernels, _: kernels["mix_f64"].update(text="Interleaves."),
                 "test_texts_are_those")):
            with self.subTest(words=words):
                shutil.copy(pathlib.Path(docs_build, "kernels.json"), self.build)
                self.change_list(edit)
                self.fails(self.check_kernels(), words)

    def test_page_sources(self):
        self.assertEqual(self.make_pages().returncode, 0)
        (self.tree / "examples/kernels/mix_f64.c").unlink()
        self.fails(self.make_pages(), "examples/kernels and the header disagree on mix_f64")
        (self.tree / "docs/kernels/extra.md").write_text("# extra\n", encoding="ascii")
        self.fails(self.make_pages(), "docs/kernels and the header disagree on extra")
        (self.tree / "docs/kernels/extra.md").unlink()
        shutil.copy(source / "examples/kernels/mix_f64.c", self.tree / "examples/kernels")
        self.change("docs/kernels/mix_f64.md", "## A count of 0", "## A count of 1")
        self.fails(self.make_pages(), "docs/kernels/mix_f64.md must have")

    def test_manual(self):
        for name, old, new, words in (
                ("docs/man/libsimd.7", ".Sh FILES", ".Bl -tag\n.Sh FILES", "missing end of block"),
                ("docs/man/libsimd.7", ".Sh FILES", ".Shh FILES", "unknown macro: .Shh FILES"),
                ("docs/man/libsimd.7", ".Xr fir_c16_alt 3", ".Xr fir_c8_alt 3", "'fir_c8_alt'"),
                ("docs/man/simd-info.1", "Fl \\-json", "Fl \\-jason", "'--json'"),
                ("man3/mix_f64.3", "misaligned ones. (A", "misaligned. (A",
                 "test_manual_holds_the_contract"),
                ("man3/mix_f64.3", '.Fa "size_t n"\n.Fa "double *out"',
                 '.Fa "double *out"\n.Fa "size_t n"', "test_manual_shows_the_arguments")):
            with self.subTest(planted=new):
                self.fresh()
                self.change(name, old, new)
                self.fails(self.check_pages(), words)

    def test_reference(self):
        for name, old, new, words in (
                ("pages/libsimd.h", " * @param value stored n times\n", "", "not documented"),
                ("pages/libsimd.h", "@param value", "@param valve", "valve"),
                ("pages/mix_f64.md", "## Buffers", "## Puffers", "mix_f64.html"),
                ("pages/pack_f64_u8.md", "@ref kernel_pack_f32_u8", "@ref kernel_pack_f32",
                 "unable to resolve")):
            with self.subTest(planted=new):
                self.fresh()
                self.change(name, old, new)
                self.fails(self.check_pages(), words)

    def test_texts(self):
        for name, old, new, words in (
                ("docs/faq.md", "`avg_f64` ", "", "test_demands_in_the_faq"),
                ("docs/faq.md", "| SSSE3 | `avg_abs_s16` | SSE4.1 |\n", "", "test_demands_in_the"),
                ("docs/faq.md", "if (!__builtin", "if (__builtin", "test_guard_of_the_faq"),
                ("README.md", "`mix_f64`", "`mix_f32`", "mix_f32"),
                ("README.md", "(s16, f32, f64)", "(s16, f32)", "test_readme_names_every_kernel"),
                ("README.md", "`iir1_f32` ", "", "test_readme_names_every_kernel"),
                ("README.md", "restored, step, mid)", "restored, mid, step)", "test_host_of_the"),
                ("README.md", "(docs/faq.md)", "(docs/fap.md)", "docs/fap.md"),
                ("CHANGELOG.md", "## 1.0.0", "## 1.0.1", "test_versions_agree"),
                ("docs/kernels/mix_f64.md", "`out`", "`mix_f46`", "mix_f46")):
            with self.subTest(planted=new):
                self.fresh()
                self.change(name, old, new)
                self.fails(self.check_text(), words)

    def test_example(self):
        path = self.tree / "examples/kernels/swap_words_u32.c"
        program = pathlib.Path(self.folder.name, "example")
        folder = pathlib.Path(library).parent
        for expected, status in (("0x00020001", 0), ("0x00010002", -6)):
            self.change("examples/kernels/swap_words_u32.c", "iq[0] == 0x00020001",
                        f"iq[0] == {expected}")
            subprocess.run([compiler, "-std=c11", path, f"-I{source}/include", f"-L{folder}",
                            "-lsimd", f"-Wl,-rpath,{folder}", "-o", program], check=True)
            self.assertEqual(subprocess.run([program], stderr=subprocess.PIPE).returncode, status)


if __name__ == "__main__":
    unittest.main()
