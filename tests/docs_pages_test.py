#!/usr/bin/env python3
"""Checks the reference and the manual, which its arguments place:

    docs_pages_test.py DOCS_BUILD DOCS_SOURCE DOXYGEN MANDOC SIMD_INFO SIMD_WATERFALL
"""
import html
import json
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

tools = {pathlib.Path(path).name: path for path in (sys.argv.pop(), sys.argv.pop())}
mandoc = sys.argv.pop()
doxygen = sys.argv.pop()
source = pathlib.Path(sys.argv.pop())
build = pathlib.Path(sys.argv.pop())
kernels = json.loads((build / "kernels.json").read_text(encoding="ascii"))["kernels"]
SECTIONS = ["Arguments, in order", "Buffers", "A count of 0", "Results by level", "Irregularities",
            "Example", "The contract in the header"]


def run(*command):
    return subprocess.run([str(word) for word in command], capture_output=True, text=True)


class Pages(unittest.TestCase):
    def test_manual_pages_pass_the_linter(self):
        pages = sorted((build / "man3").glob("*.3")) + sorted((source / "man").glob("*.[17]"))
        self.assertEqual([page.stem for page in pages if page.suffix == ".3"],
                         sorted(kernel["name"] for kernel in kernels))
        self.assertEqual([page.name for page in pages if page.suffix != ".3"],
                         ["libsimd.7", "simd-bench.1", "simd-info.1", "simd-waterfall.1"])
        lint = run(mandoc, "-T", "lint", "-W", "warning", *pages)
        self.assertEqual((lint.returncode, lint.stdout + lint.stderr), (0, ""))

    def test_references_between_manual_pages_lead_somewhere(self):
        pages = [*(build / "man3").glob("*.3"), *(source / "man").glob("*.[17]")]
        known = {(page.stem, page.suffix[1:]) for page in pages}
        system = {("dlopen", "3"), ("ld.so", "8"), ("pkg-config", "1")}
        for page in pages:
            for target in re.findall(r"\.Xr (\S+) (\d)", page.read_text(encoding="ascii")):
                self.assertIn(target, known | system, page.name)

    def test_manual_lists_the_options_of_the_tools(self):
        for name, program in tools.items():
            option = r"(?<![\w-])--?[a-zA-Z][\w-]*"
            shown = run(program, "--help").stdout.split("xamples:")[0]
            text = run(mandoc, "-T", "ascii", source / f"man/{name}.1").stdout
            text = re.sub(r".\x08", "", text).split("EXAMPLES")[0]
            listed = [set(re.findall(option, " ".join(
                line for line in lines.lower().splitlines() if re.match(r" +-", line))))
                for lines in (shown, text)]
            self.assertGreater(len(listed[0]), 5)
            self.assertEqual(listed[0], listed[1], name)

    def test_manual_shows_the_arguments_in_order(self):
        for kernel in kernels:
            text = run(mandoc, "-T", "ascii", "-O", "width=300",
                       build / f"man3/{kernel['name']}.3").stdout
            text = re.sub(r".\x08", "", text)
            name = kernel["name"]
            self.assertIn(kernel["prototype"].split(" ", 1)[1], text.replace("\n", " "), name)

    def test_manual_holds_the_contract_word_by_word(self):
        def words(text):
            return " ".join(re.findall(r"[A-Za-z0-9]+", re.sub(r".\x08", "", text)))

        for kernel in kernels:
            shown = run(mandoc, "-T", "utf8", build / f"man3/{kernel['name']}.3").stdout
            contract = re.split(r"^@(?:param|return)", kernel["text"], flags=re.M)[0]
            self.assertIn(words(contract), words(shown), kernel["name"])

    def test_reference_has_a_page_for_each_kernel_and_no_warning(self):
        with tempfile.TemporaryDirectory() as folder:
            settings = (build / "Doxyfile").read_text(encoding="ascii")
            log = pathlib.Path(folder, "warnings")
            settings += f"\nOUTPUT_DIRECTORY = {folder}\nWARN_LOGFILE = {log}\n"
            pathlib.Path(folder, "Doxyfile").write_text(settings, encoding="ascii")
            result = run(doxygen, f"{folder}/Doxyfile")
            self.assertEqual((result.returncode, log.read_text()), (0, ""))
            rules = pathlib.Path(folder, "html", "libsimd_8h.html").read_text(encoding="utf-8")
            self.assertRegex(rules, r"at {9}entry {50,}also uses")  # is still a table
            index = pathlib.Path(folder, "html", "index.html").read_text(encoding="utf-8")
            linked = re.findall(r'href="kernel_(\w+)\.html"', index)
            self.assertEqual(sorted(linked), sorted(kernel["name"] for kernel in kernels))
            for kernel in kernels:
                page = pathlib.Path(folder, "html", f"kernel_{kernel['name']}.html")
                self.check_page(page, kernel)

    def check_page(self, path, kernel):
        page = html.unescape(path.read_text(encoding="utf-8"))
        headings = re.findall(r"<h1>(?:<a [^>]*></a>)?\s*([^<]*?)</h1>", page)
        self.assertEqual(headings, SECTIONS, path.name)
        words = re.sub(r"<[^>]*>", "", page)
        places = [words.index("Arguments, in order")]
        for a in kernel["arguments"]:
            places.append(words.index(a["text"], places[-1]))
        self.assertIn(f"{kernel['name']}(", words)


if __name__ == "__main__":
    unittest.main()
