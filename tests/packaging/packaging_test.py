#!/usr/bin/env python3
"""Uses libsimd as other projects do: packaging_test.py CASE BUILD SOURCES.

CASE: installed (find_package, from the tree as installed and from a moved copy), subdirectory,
pkg_config or plain.
"""
import filecmp
import json
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
import unittest

case, build, sources = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])
del sys.argv[1:]
here = pathlib.Path(__file__).parent

OUTPUT = {"c": "C: -1.0 to 2.5, mean 2.4965\n", "cpp": "C++: mean 499.5, largest 999\n"}


def run(*command, path=None, **more):
    environment = dict(os.environ, **more)
    environment.pop("LD_LIBRARY_PATH", None) if "LD_LIBRARY_PATH" not in more else None
    if path:
        environment["PATH"] = str(path)
    return subprocess.run([str(c) for c in command], capture_output=True, text=True, timeout=300,
                          env=environment)


class Case(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def good(self, *command, **more):
        result = run(*command, **more)
        self.assertEqual(result.returncode, 0, f"{command}\n{result.stdout}\n{result.stderr}")
        return result.stdout

    def install(self, *components):
        prefix = self.folder / "prefix"
        for component in components:
            self.good("cmake", "--install", build, "--prefix", prefix, "--component", component)
        return prefix

    def hosts_answer(self, folder, **more):
        for language, text in OUTPUT.items():
            self.assertEqual(self.good(folder / f"host_{language}", **more), text)


class Installed(Case):
    def consume(self, prefix, name, wanted):
        out = self.folder / name
        configured = run("cmake", "-S", here / "consumer", "-B", out, f"-DWANTED={wanted}",
                         f"-DCMAKE_PREFIX_PATH={prefix}")
        return out, configured

    def build_and_run(self, prefix, name):
        out, configured = self.consume(prefix, name, "1.0")
        self.assertEqual(configured.returncode, 0, configured.stderr)
        self.good("cmake", "--build", out)
        self.hosts_answer(out)
        needed = self.good("ldd", out / "host_c")
        self.assertIn(f"libsimd.so => {prefix}/", needed)

    def test_find_package_here_and_moved(self):
        prefix = self.install("runtime", "development", "tools")
        self.check_files(prefix)
        self.build_and_run(prefix, "one")
        moved = self.folder / "some where" / "else"
        moved.parent.mkdir()
        prefix.rename(moved)
        self.build_and_run(moved, "two")
        self.check_tool(moved)

    def check_files(self, prefix):
        library = next(prefix.rglob("libsimd.so"))
        self.assertTrue(filecmp.cmp(library, build / "libsimd.so", shallow=False))
        self.assertEqual([p.name for p in library.parent.iterdir() if p.is_file()], ["libsimd.so"])
        texts = [p for p in prefix.rglob("*") if p.suffix in (".cmake", ".pc", ".h", ".hpp")]
        self.assertEqual({p.name for p in texts} - {"libsimd.h", "libsimd.hpp"},
                         {"libsimdConfig.cmake", "libsimdConfigVersion.cmake", "libsimd.pc",
                          next(p.name for p in texts if p.name.startswith("libsimdConfig-"))})
        for text in texts:
            for path in (prefix, build, sources):
                self.assertNotIn(str(path), text.read_text(), text)

    def check_tool(self, prefix):
        tool = prefix / "bin" / "simd-info"
        found = json.loads(run(tool, "--json").stdout)
        self.assertTrue(os.path.samefile(found["library"], next(prefix.rglob("libsimd.so"))))
        self.assertEqual(run(prefix / "bin" / "simd-waterfall", "--help").returncode, 0)

    def test_versions(self):
        prefix = self.install("runtime", "development")
        for wanted, fits in (("1", True), ("1.0.0", True), ("1.1", False), ("2.0", False)):
            _, configured = self.consume(prefix, wanted, wanted)
            self.assertEqual(configured.returncode == 0, fits, wanted)
            if not fits:
                self.assertIn("version: 1.0.0", configured.stderr)


class PkgConfig(Case):
    def test_pkg_config(self):
        prefix = self.install("runtime", "development")
        moved = self.folder / "elsewhere"
        prefix.rename(moved)
        library = next(moved.rglob("libsimd.so")).parent
        where = {"PKG_CONFIG_PATH": str(library / "pkgconfig")}
        self.assertEqual(self.good("pkg-config", "--modversion", "libsimd", **where), "1.0.0\n")
        flags = shlex.split(self.good("pkg-config", "--cflags", "--libs", "libsimd", **where))
        self.assertIn("-lsimd", flags)
        for compiler, standard, language in (("cc", "c11", "c"), ("c++", "c++20", "cpp")):
            host = self.folder / f"host_{language}"
            self.good(compiler, f"-std={standard}", here / "consumer" / f"host.{language}", "-o", host, *flags)
        self.hosts_answer(self.folder, LD_LIBRARY_PATH=str(library))


class Bare(Case):
    """No more than a compiler and CMake: nothing else is on PATH, and nothing is looked for."""

    def tools(self):
        folder = self.folder / "tools"
        folder.mkdir()
        for name in ("cc", "c++", "as", "ld", "ar", "ranlib", "cmake", "make", "sh"):
            (folder / name).symlink_to(shutil.which(name))
        return folder

    def configure(self, source, *options):
        out, trace = self.folder / "out", self.folder / "trace"
        self.good("cmake", "-G", "Unix Makefiles", "-S", source, "-B", out, "--trace",
                  f"--trace-redirect={trace}", *options, path=self.tools())
        ours = [line for line in trace.read_text().splitlines() if line.startswith(f"{sources}/")]
        self.assertTrue(any("add_library(simd " in line for line in ours))
        for line in ours:
            self.assertNotRegex(line, r"\b(find_package|find_program|find_library|pkg_check_\w+)\(")
        cache = (out / "CMakeCache.txt").read_text()
        return out, dict(re.findall(r"^(\w+):\w+=(.*)$", cache, re.M))


class Subdirectory(Bare):
    def test_add_subdirectory(self):
        out, cache = self.configure(here / "parent", f"-DLIBSIMD_SOURCE={sources}")
        self.assertEqual(cache["CMAKE_BUILD_TYPE"], "")
        self.assertEqual(cache["BUILD_TESTING"], "ON") # the parent's own
        for option in ("TOOLS", "BENCH", "DOCS", "INSTALL", "WERROR"):
            self.assertEqual(cache["LIBSIMD_" + option], "OFF", option)
        self.good("cmake", "--build", out, "--parallel", "2", path=self.folder / "tools")
        self.hosts_answer(out)
        self.check_flags(out)
        self.good("cmake", "--install", out, "--prefix", self.folder / "prefix")
        installed = [p.name for p in (self.folder / "prefix").rglob("*") if p.is_file()]
        self.assertEqual(installed, ["host_c"])

    def check_flags(self, out):
        """The parent's files are compiled with the parent's flags and the header's folder."""
        commands = json.loads((out / "compile_commands.json").read_text())
        self.assertGreater(len(commands), 50)
        for command in commands:
            if "consumer/host" not in command["file"]:
                continue
            flags = {f for f in shlex.split(command["command"]) if f.startswith("-")}
            standard = {"-std=gnu++11"} if command["file"].endswith("cpp") else set()
            self.assertEqual(flags - {"-o", "-c"}, standard | {f"-I{sources}/include"})


class Plain(Bare):
    def test_without_tools_and_tests(self):
        out, cache = self.configure(sources, "-DBUILD_TESTING=OFF", "-DLIBSIMD_TOOLS=OFF")
        self.assertEqual(cache["LIBSIMD_DOCS"], "OFF")
        self.assertEqual(cache["CMAKE_BUILD_TYPE"], "RelWithDebInfo")
        targets = self.good("cmake", "--build", out, "--target", "help", path=self.folder / "tools")
        named = set(re.findall(r"^\.\.\. (\w+)$", targets, re.M))
        self.assertEqual(named - {"all", "clean", "depend", "edit_cache", "rebuild_cache",
                                  "list_install_components", "install"}, {"simd"})


if __name__ == "__main__":
    cases = {"installed": Installed, "pkg_config": PkgConfig, "subdirectory": Subdirectory,
             "plain": Plain}
    suite = unittest.defaultTestLoader.loadTestsFromTestCase(cases[case])
    sys.exit(not unittest.TextTestRunner(verbosity=2).run(suite).wasSuccessful())
