#!/usr/bin/env python3
"""simd-info on emulated processors against --cpu on this one: emulated_test.py QEMU PROGRAM."""
import json
import subprocess
import sys
import unittest

qemu, program = sys.argv[1:3]
del sys.argv[1:3]

# The emulator's name for a processor, and simd-info's.
MODELS = {"Opteron_G1,-sse3": "opteron", "core2duo": "core2", "Penryn": "penryn",
          "Nehalem": "nehalem", "SandyBridge": "sandybridge", "Haswell": "haswell", "EPYC": "zen"}


def report(*command):
    result = subprocess.run([*command, "--json"], stdout=subprocess.PIPE, text=True, timeout=60,
                            stderr=subprocess.DEVNULL)
    return result.returncode, json.loads(result.stdout)


class Emulated(unittest.TestCase):
    def test_models(self):
        for emulated, model in MODELS.items():
            with self.subTest(model):
                there, real = report(qemu, "-cpu", emulated, program)
                here, described = report(program, "--cpu", model)
                self.assertEqual(real["processor"]["name"], "this")
                self.assertEqual(there, here)
                for member in ("library", "avx2", "kernels", "warnings"):
                    self.assertEqual(real[member], described[member])
                for member in ("vendor", "features", "wide_registers_enabled"):
                    self.assertEqual(real["processor"][member], described["processor"][member])
                self.assertEqual([(q["leaf"], q["subleaf"]) for q in real["cpuid"]][:2],
                                 [(q["leaf"], q["subleaf"]) for q in described["cpuid"]][:2])


if __name__ == "__main__":
    unittest.main()
