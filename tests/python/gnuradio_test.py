#!/usr/bin/env python3
"""Compiles and runs the flow graph of examples/gnuradio, and compares its block with GNU Radio's own:
gnuradio_test.py EXAMPLE. Ends with 77 where GNU Radio is not installed."""
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

import numpy as np

try:
    import gnuradio  # noqa: F401
except ImportError:
    sys.exit(77)
if not shutil.which("grcc"):
    sys.exit(77)

example = pathlib.Path(sys.argv[1])
run = subprocess.run([sys.executable, example / "compare.py", str(1 << 18)], capture_output=True,
                     text=True, check=True)
print(run.stdout, end="")
rows, stock, apart = re.match(r"(\d+) rows, (\d+) by stock blocks, at most (\S+) of", run.stdout).groups()
assert rows == stock == "256", run.stdout
assert 0 < float(apart) < 1e-5, run.stdout

with tempfile.TemporaryDirectory() as folder:
    subprocess.run(["grcc", "-o", folder, example / "spectrum.grc"], check=True, capture_output=True)
    subprocess.run([sys.executable, "spectrum.py"], cwd=folder, check=True, stdin=subprocess.DEVNULL,
                   capture_output=True, timeout=120)
    power = np.fromfile(pathlib.Path(folder) / "spectrum.f32", "float32").reshape(-1, 1024)
mean = power.mean(axis=0)
assert len(power) == 976, power.shape
# Noise of power 1, windowed: the sum of the squared window in the pass band, next to nothing beside it.
assert abs(mean[462:562].mean() / (1024 * 0.375) - 1) < 0.05, mean[462:562].mean()
assert mean[:300].max() < mean[512] * 1e-4
