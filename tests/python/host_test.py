#!/usr/bin/env python3
"""Runs the example: host_test.py HOST."""
import subprocess
import sys

WANTED = """strongest bin 100 at 0.0 dB
pixels from -120.0 dB in steps of 0.471 dB
restored within half a step
"""

run = subprocess.run([sys.executable, sys.argv[1]], capture_output=True, text=True, check=False)
if (run.returncode, run.stdout, run.stderr) != (0, WANTED, ""):
    sys.exit(f"host.py: {run.returncode}, {run.stdout!r}, {run.stderr!r}")
