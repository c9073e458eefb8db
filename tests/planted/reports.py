"""Runs the checks of the file on a planted library: exactly the expected cases must fail.

    reports.py FOLDER LIBRARY OBJECTS ['case: text' ...]

FOLDER holds the test programs. The text, part of what the case must say, may be missing. Without
any case the library must pass all checks.
"""
import json
import os
import subprocess
import sys
import tempfile

PROGRAMS = ["binary_test", "code_test",
            "dispatch_test --gtest_filter=probe.cpuid_is_twice*:probe.baseline_is_in*"]


def failures(program, environment):
    """Failed cases with their messages, and how many cases ran."""
    with tempfile.TemporaryDirectory() as folder:
        report = os.path.join(folder, "report.json")
        subprocess.run([*program.split(), "--gtest_output=json:" + report], env=environment,
                       stdout=subprocess.DEVNULL, timeout=120, check=False)
        with open(report, encoding="utf-8") as file:
            suites = json.load(file)["testsuites"]
    cases = [(suite["name"].split("/")[-1] + "." + case["name"], case)
             for suite in suites for case in suite["testsuite"]]
    failed = {name: "\n".join(failure["failure"] for failure in case["failures"])
              for name, case in cases if "failures" in case}
    return failed, len(cases)


def main():
    folder, library, objects, *expected = sys.argv[1:]
    environment = dict(os.environ, LIBSIMD_LIBRARY=library, LIBSIMD_OBJECTS=objects)
    failed, ran = {}, 0
    for program in PROGRAMS:
        found, cases = failures(os.path.join(folder, program), environment)
        failed |= found
        ran += cases
    wrong = 0
    for case, _, text in (e.partition(": ") for e in expected):
        if case not in failed:
            print(f"not reported: {case}")
            wrong += 1
        elif text not in failed[case]:
            print(f"{case} does not say `{text}` but:\n{failed[case]}")
            wrong += 1
    names = {e.partition(": ")[0] for e in expected}
    for case, message in failed.items():
        if case not in names:
            print(f"reported and not planted: {case}:\n{message}")
            wrong += 1
    print(f"{os.path.basename(library)}: {ran} cases, {len(failed)} reported, {wrong} wrong")
    return wrong != 0 or ran < 640


if __name__ == "__main__":
    sys.exit(main())
