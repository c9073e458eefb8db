#!/usr/bin/env python3
"""Holds README, FAQ and the other texts to the tree: docs_text_test.py JSON SOURCE BUILD CC."""
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

compiler = sys.argv.pop()
build = pathlib.Path(sys.argv.pop())
source = pathlib.Path(sys.argv.pop())
kernels = {kernel["name"]: kernel for kernel in
           json.loads(pathlib.Path(sys.argv.pop()).read_text(encoding="ascii"))["kernels"]}
LEVELS = {"baseline": "base", "SSE2": "sse2", "SSE3": "sse3", "SSSE3": "ssse3", "SSE4.1": "sse41"}


def text(name):
    return (source / name).read_text(encoding="ascii")


def rows(table, first):
    """Cells of the Markdown table whose heading begins with `first`."""
    lines = table.split(f"| {first} |", 1)[1].split("\n\n", 1)[0].split("\n")[2:]
    return [[cell.strip() for cell in line.strip("|").split(" | ")] for line in lines]


class Text(unittest.TestCase):
    def test_links_lead_somewhere(self):
        pages = sorted(f"docs/{path.name}" for path in (source / "docs").glob("*.md"))
        for name in ("README.md", "CONTRIBUTING.md", "CHANGELOG.md", *pages):
            for target in re.findall(r"\]\(([^)#:]+)\)", text(name)):
                self.assertTrue((source / name).parent.joinpath(target).exists(), (name, target))
            for script in re.findall(r"\bscripts/[\w-]+", text(name)):
                self.assertTrue(os.access(source / script, os.X_OK), (name, script))

    def test_readme_names_every_kernel_and_no_other(self):
        found = set()
        for _, calls in rows(text("README.md"), "to"):
            for word in re.findall(r"`(\w+)`", calls):
                self.assertIn(word, kernels)
                found.add(word)
            # `min_*` `max_*` (u8, s16)
            for words, types in re.findall(r"((?:`\w+_\*` ?)+)\(([^)]*)\)", calls):
                for word in re.findall(r"`(\w+_)\*`", words):
                    names = {k for k in kernels if re.fullmatch(word + r"[usf]\d+", k)}
                    self.assertEqual(names, {word + suffix for suffix in types.split(", ")})
                    found |= names
        self.assertEqual(found, set(kernels))

    def test_host_of_the_readme_runs(self):
        host = re.search(r"```c\n(.*?)```", text("README.md"), re.S)[1]
        self.run_program(host + """
int main(void)
{
    static float samples[4096];
    for (int i = 0; i < 4096; ++i)
        samples[i] = (float)(i % 100) / 50.0F - 1.0F;
    store(samples);
    for (int i = 0; i < 4096; ++i)
        if (restored[i] - samples[i] > step || samples[i] - restored[i] > step || step > 1e-4F)
            return 1;
    return 0;
}
""")

    def test_host_of_the_cpp_page_runs(self):
        host = re.search(r"```cpp\n(.*?)```", text("docs/cpp.md"), re.S)[1]
        self.run_program(host, "from -1.00 to 0.98, mean -0.0110\n", ".cpp", "-std=c++20")

    @unittest.skipUnless(shutil.which("bindgen", path="/usr/bin") and shutil.which("rustc", path="/usr/bin"),
                         "Debian's bindgen and rustc are not installed")
    def test_rust_program_runs(self):
        page = text("docs/other-languages.md")
        commands = re.search(r"\n    (bindgen .*)\n    (rustc .*)\n", page)
        with tempfile.TemporaryDirectory() as folder:
            program = re.search(r"```rust\n(.*?)```", page, re.S)[1]
            self.assertLessEqual(len(program.splitlines()), 10)
            pathlib.Path(folder, "main.rs").write_text(program, encoding="ascii")
            header = str(source / "include/libsimd.h")
            here = ["-L", build, "-C", f"link-arg=-Wl,-rpath,{build}"]
            for command, more in ((commands[1].replace("/usr/include/libsimd.h", header), []), (commands[2], here)):
                result = subprocess.run([*command.split(), *more], cwd=folder, capture_output=True, text=True,
                                        env={"PATH": "/usr/bin:/bin"})
                self.assertEqual(result.returncode, 0, result.stderr)
                self.assertNotIn("warning", result.stderr)
            result = subprocess.run([f"{folder}/main"], capture_output=True, text=True)
        self.assertEqual((result.returncode, result.stdout),
                         (0, "step 0.0000302, centre -0.0100, codes [-32768, -32106, -31444]\n"))

    def test_kernel_list_is_as_shown(self):
        shown = json.loads(re.search(r"```json\n(.*?)```", text("docs/other-languages.md"), re.S)[1])
        self.assertEqual(shown, {key: kernels[shown["name"]][key] for key in shown})

    def test_guard_of_the_faq_runs(self):
        guard = re.search(r"\n\n((?:    .*\n)+)", text("docs/faq.md").split(
            "## How does my host guard itself?")[1])[1]
        self.run_program("""
#include <cpuid.h>
#include <stdio.h>
static int refuse(const char* why) { fprintf(stderr, "%s\\n", why); return 1; }
int main(void)
{
    unsigned a, b, c, d;
""" + guard + "    return 0;\n}\n")

    def run_program(self, code, prints="", suffix=".c", *flags):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder, "host" + suffix)
            path.write_text(code, encoding="ascii")
            subprocess.run([compiler, "-Wall", *flags, path, f"-I{source}/include", f"-L{build}", "-lsimd",
                            "-lstdc++", f"-Wl,-rpath,{build}", "-o", f"{folder}/host"], check=True)
            result = subprocess.run([f"{folder}/host"], capture_output=True, text=True)
            self.assertEqual((result.returncode, result.stdout, result.stderr), (0, prints, ""))

    def test_demands_in_the_faq_are_those_of_the_header(self):
        told = {}
        for level, names, sets in rows(text("docs/faq.md"), "installed at"):
            for name in re.findall(r"`(\w+)`", names):
                told[name, LEVELS[level]] = [LEVELS[s] for s in sets.split(", ")]
        self.assertEqual(told, {(name, level["level"]): level["demands"]
                                for name, kernel in kernels.items()
                                for level in kernel["levels"] if level["demands"]})

    def test_names_in_texts_are_kernels(self):
        known = set(kernels) | {"my_spec_log"}
        stems = {re.split(r"_", name)[0] for name in kernels}
        pages = [f"docs/kernels/{name}.md" for name in kernels]
        for name in ("README.md", "docs/faq.md", *pages):
            for word in re.findall(r"`([a-z]\w*_\w+)`", text(name)):
                if word.split("_")[0] in stems:
                    self.assertIn(word, known, name)

    def test_versions_agree(self):
        project = re.search(r"project\(libsimd VERSION ([\d.]+)", text("CMakeLists.txt"))[1]
        changes = re.search(r"^## ([\d.]+), (\d{4}-\d\d-\d\d)$", text("CHANGELOG.md"), re.M)
        self.assertEqual(changes[1], project)
        months = ["January", "February", "March", "April", "May", "June", "July", "August",
                  "September", "October", "November", "December"]
        year, month, day = (int(part) for part in changes[2].split("-"))
        date = f"{months[month - 1]} {day}, {year}"
        self.assertIn(f'"{date}"', text("docs/CMakeLists.txt"))
        for page in (source / "docs/man").iterdir():
            self.assertIn(f".Dd {date}\n", page.read_text(encoding="ascii"), page.name)


if __name__ == "__main__":
    unittest.main()
