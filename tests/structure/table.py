#!/usr/bin/env python3
"""The table of what no result shows: tests/structure/table.ini, its checks and its wrong libraries.

    table.py --check [--build DIR]                    every row has both, every case a row
    table.py --build DIR [--jobs N] [ROW ...]         builds each row's wrong library: exactly the
                                                      cases that the row names must fail on it

A row has `promise`, in words; `held`, the cases that check it, KERNEL.LEVEL_CASE with * for any; and
one thing wrong: `file`, `old`, `new` (and `nth`, or `all`, where `old` stands
more than once; \\n is a new line), for a header also `sources`, the files that are compiled with it.
`reported` are the cases that fail then, if they are not all that `held` names.
"""
import argparse
import concurrent.futures
import configparser
import contextlib
import fnmatch
import functools
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile

here = pathlib.Path(__file__).resolve().parent
root = here.parent.parent


def rows():
    parsed = configparser.ConfigParser(interpolation=None, delimiters=("=",), comment_prefixes=("#",),
                                       strict=True)
    parsed.optionxform = str
    parsed.read_string((here / "table.ini").read_text())
    return {name: parsed[name] for name in parsed.sections()}


@functools.cache
def listed(program):
    """All cases of a test program, without what follows a parameter's name."""
    shown = subprocess.run([program, "--gtest_list_tests"], check=True, stdout=subprocess.PIPE, text=True)
    names, suite = [], ""
    for line in shown.stdout.splitlines():
        if line.startswith("  "):
            names.append(suite + line.split("#")[0].strip())
        elif re.fullmatch(r"[\w/]+\.( .*)?", line):
            suite = line.split(" ")[0].split("/")[-1]
    return names


def matching(patterns, names):
    return {name for name in names for pattern in patterns.split() if fnmatch.fnmatchcase(name, pattern)}


def wrong_in(table, programs):
    """What the table lacks."""
    wrong = []
    own = listed(programs / "structure_test")
    cases = own + listed(programs / "code_test") + listed(programs / "spec_log_code_test")
    held = set()
    for name, row in table.items():
        for key in ("promise", "held", "file", "old", "new"):
            if not row.get(key, "" if key != "new" else "-"):
                wrong.append(f"[{name}] has no {key}")
        for pattern in row.get("held", "").split():
            found = matching(pattern, cases)
            held |= found
            if not found:
                wrong.append(f"[{name}]: no case is called {pattern}")
        reported = row.get("reported", row.get("held", ""))
        if not matching(reported, matching(row.get("held", ""), cases)):
            wrong.append(f"[{name}]: its wrong library is reported by no case that holds it")
        if row.get("file"):
            patched((root / row["file"]).read_text(), row, name)
    wrong += [f"no row is held by {case}" for case in own if case not in held]
    return wrong, len(table), len(held)


def patched(text, row, name):
    old, new = (re.sub(r"(?<!\\)\\n", "\n", row[key]).replace("\\\\", "\\") for key in ("old", "new"))
    count = text.count(old)
    if count == 0 or (count > 1 and "nth" not in row and "all" not in row):
        sys.exit(f"table: [{name}]: `{old}` stands {count} times in {row['file']}")
    if "all" in row:
        return text.replace(old, new)
    at = -1
    for _ in range(int(row.get("nth", "1"))):
        at = text.find(old, at + 1)
        if at < 0:
            sys.exit(f"table: [{name}]: `{old}` has no such occurrence")
    return text[:at] + new + text[at + len(old):]


class Build:
    """How the library of a build folder is compiled and linked."""

    def __init__(self, folder):
        self.folder = pathlib.Path(folder).resolve()
        self.programs = self.folder / "tests"
        self.commands = {}
        for entry in json.loads((self.folder / "compile_commands.json").read_text()):
            path = pathlib.Path(entry["file"])
            if " -o CMakeFiles/simd.dir/" in entry["command"]:
                self.commands[str(path.relative_to(root))] = shlex.split(entry["command"])

    def object_of(self, source):
        command = self.commands[source]
        return self.folder / command[command.index("-o") + 1]

    def compile(self, source, overlay, where):
        command = [word for word in self.commands[source] if word not in ("-g", "-Werror")]
        made = where / (source.replace("/", "_") + ".o")
        command[command.index("-o") + 1] = str(made)
        own = overlay / source
        command[-1] = str(own if own.exists() else root / source)
        # The overlay's headers come before the tree's.
        at = next(i for i, word in enumerate(command) if word.startswith("-I"))
        command.insert(at, "-I" + str(overlay))
        done = subprocess.run(command, cwd=self.folder, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              text=True, check=False)
        return made if done.returncode == 0 else done.stdout

    def link(self, objects, output):
        compiler = next(word for word in self.commands["dispatch/dispatch.cpp"] if "ccache" not in word)
        command = [compiler, "-shared", "-nostartfiles", "-nodefaultlibs", "-Wl,-soname,libsimd.so",
                   f"-Wl,--version-script={root}/cmake/libsimd.map", "-Wl,-z,defs,-z,relro,-z,now",
                   "-Wl,-z,noexecstack", "-o", output, *objects, "-lm", "-lc"]
        return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                              check=False)

    def failures(self, library, patterns):
        """The failed cases among those of the kernels that the patterns name."""
        failed, ran = set(), 0
        for program in ("structure_test", "code_test", "spec_log_code_test"):
            names = set(listed(self.programs / program))
            if not matching(patterns, names):
                continue
            suites = {pattern.split(".")[0] for pattern in patterns.split()}
            chosen = ":".join(f"*{suite}.*" for suite in suites)
            with tempfile.TemporaryDirectory() as folder:
                report = os.path.join(folder, "report.json")
                with contextlib.suppress(subprocess.TimeoutExpired):
                    subprocess.run([self.programs / program, "--gtest_filter=" + chosen,
                                    "--gtest_output=json:" + report],
                                   env=dict(os.environ, LIBSIMD_LIBRARY=str(library)),
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=60,
                                   check=False)
                if not os.path.exists(report):
                    failed.add(f"{program} did not end")
                    continue
                for suite in json.loads(pathlib.Path(report).read_text())["testsuites"]:
                    for case in suite["testsuite"]:
                        ran += 1
                        if "failures" in case:
                            failed.add(suite["name"].split("/")[-1] + "." + case["name"])
        return failed, ran


def verdict(build, name, row):
    """What is wrong with the row's wrong library; empty: it is reported as stated."""
    sources = row.get("sources", row["file"]).split()
    reported = row.get("reported", row["held"])
    with tempfile.TemporaryDirectory() as folder:
        where = pathlib.Path(folder)
        overlay = where / "overlay"
        target = overlay / row["file"]
        target.parent.mkdir(parents=True)
        target.write_text(patched((root / row["file"]).read_text(), row, name))
        objects = {source: build.object_of(source) for source in build.commands}
        for source in sources:
            made = build.compile(source, overlay, where)
            if isinstance(made, str):
                return "does not compile:\n" + made
            objects[source] = made
        library = where / "libsimd.so"
        linked = build.link([str(o) for o in objects.values()], library)
        if linked.returncode != 0:
            return "does not link:\n" + linked.stdout
        failed, ran = build.failures(library, reported + " " + row["held"])
    wrong = []
    for pattern in reported.split():
        if not matching(pattern, failed):
            wrong.append(f"not reported: {pattern}")
    for case in sorted(failed - matching(reported, failed)):
        wrong.append(f"reported and not named: {case}")
    if ran == 0:
        wrong.append("no case ran")
    return "; ".join(wrong)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--check", action="store_true")
    parser.add_argument("--build", default=str(root / "build"))
    parser.add_argument("--jobs", type=int, default=1)
    parser.add_argument("names", nargs="*")
    options = parser.parse_args()
    table = rows()
    if options.check:
        wrong, count, held = wrong_in(table, pathlib.Path(options.build) / "tests")
        print("\n".join([*wrong, f"{count} rows, {held} cases hold them, {len(wrong)} wrong"]))
        return bool(wrong) or count == 0
    build = Build(options.build)
    names = [n for n in table if any(fnmatch.fnmatchcase(n, p) for p in options.names or ["*"])]
    failed = 0
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        for name, said in zip(names, pool.map(lambda n: verdict(build, n, table[n]), names)):
            print(f"{name}: {said[:2000] or 'reported'}", flush=True)
            failed += bool(said)
    print(f"{len(names)} wrong libraries: {len(names) - failed} reported by the cases named, {failed} not")
    return bool(failed) or not names


if __name__ == "__main__":
    sys.exit(main())
