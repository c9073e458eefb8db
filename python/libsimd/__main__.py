"""python3 -m libsimd: prints libsimd.info(); with --json for programs."""
import json
import sys

import libsimd

if sys.argv[1:] not in ([], ["--json"]):
    sys.exit("usage: python3 -m libsimd [--json]")
print(json.dumps(libsimd.info(), indent=2) if sys.argv[1:] else libsimd.info())
