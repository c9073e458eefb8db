"""Builds the compiled part and the library by CMake, from the source tree that this folder is part of.

The environment variable LIBSIMD_BUILD_DIR names a build of the tree to take both from instead.
"""
import os
import pathlib
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

TREE = pathlib.Path(__file__).resolve().parent.parent


class Build(build_ext):
    def build_extension(self, ext):
        target = pathlib.Path(self.get_ext_fullpath(ext.name))
        build = os.environ.get("LIBSIMD_BUILD_DIR") or self.with_cmake()
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(pathlib.Path(build) / "python/libsimd" / target.name, target)
        shutil.copy(pathlib.Path(build) / "libsimd.so", target.parent)

    def with_cmake(self):
        if not (TREE / "CMakeLists.txt").exists():
            sys.exit("libsimd: build it in its source tree: pip install <tree>/python")
        build = pathlib.Path(self.build_temp).resolve()
        import pybind11  # where pip has put it, or the system's
        off = [f"-D{name}=OFF" for name in ("BUILD_TESTING", "LIBSIMD_TOOLS", "LIBSIMD_INSTALL")]
        subprocess.run(["cmake", "-S", TREE, "-B", build, *off, "-DLIBSIMD_PYTHON=ON",
                        f"-DPython_EXECUTABLE={sys.executable}",
                        f"-Dpybind11_DIR={pybind11.get_cmake_dir()}"], check=True)
        subprocess.run(["cmake", "--build", build, "--parallel", str(os.cpu_count()),
                        "--target", "simd", "python_native"], check=True)
        return build


setup(ext_modules=[Extension("libsimd._native", [])], cmdclass={"build_ext": Build})
