#!/usr/bin/env python3
"""Installs the package by pip, and by a wheel of the standard front-end, and imports it from there with
no path given: install_test.py PACKAGE BUILD. The compiled files are those of the build."""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest
import zipfile

PACKAGE, BUILD = sys.argv[1:3]
USE = """
import numpy, libsimd
a = numpy.arange(1001, dtype="float32")[1:]
codes, step, offset = libsimd.quantize(a, 8)
assert abs(libsimd.restore(codes, step, offset) - a).max() <= step
print(libsimd.__file__, libsimd.info()["library"])
"""


class Install(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.source = self.folder / "python"
        shutil.copytree(PACKAGE, self.source, ignore=shutil.ignore_patterns("build", "*.egg-info"))
        self.environment = {k: v for k, v in os.environ.items()
                            if k not in ("PYTHONPATH", "LIBSIMD_LIBRARY")}

    def run_python(self, *arguments, **more):
        return subprocess.run([sys.executable, *arguments], cwd=self.folder, text=True, check=False,
                              capture_output=True, env={**self.environment, **more})

    def uses(self, place):
        run = self.run_python("-c", USE, PYTHONPATH=str(place))
        self.assertEqual(run.stderr, "")
        self.assertEqual(run.stdout.split(), [str(place / "libsimd/__init__.py"),
                                              str(place / "libsimd/libsimd.so")])
        for name in ("py.typed", "__init__.pyi", "kernels.pyi"):
            self.assertTrue((place / "libsimd" / name).exists(), name)

    def test_pip(self):
        place = self.folder / "installed"
        run = self.run_python("-m", "pip", "install", "--no-build-isolation", "--no-index", "--no-deps",
                              "--target", place, "./python", LIBSIMD_BUILD_DIR=BUILD)
        self.assertEqual(run.returncode, 0, run.stdout + run.stderr)
        self.uses(place)

    def test_wheel(self):
        run = self.run_python("-m", "build", "--wheel", "--no-isolation", "--outdir", ".", "python",
                              LIBSIMD_BUILD_DIR=BUILD)
        self.assertEqual(run.returncode, 0, run.stdout + run.stderr)
        wheel, = self.folder.glob("libsimd-1.0.0-cp3*-linux_x86_64.whl")
        place = self.folder / "unpacked"
        with zipfile.ZipFile(wheel) as archive:
            archive.extractall(place)
        self.uses(place)

    def test_without_the_tree(self):
        run = self.run_python("-m", "pip", "install", "--no-build-isolation", "--no-index", "--no-deps",
                              "--target", "installed", "./python", LIBSIMD_BUILD_DIR="")
        self.assertNotEqual(run.returncode, 0)
        self.assertIn("libsimd: build it in its source tree", run.stdout + run.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
