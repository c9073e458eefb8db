#!/usr/bin/env python3
"""Holds docs/faq.md to what a loader does: who sees null entries, and when.

    docs_loading_test.py LIBRARY HEADER_FOLDER CC
"""
import pathlib
import subprocess
import sys
import tempfile
import unittest

compiler = sys.argv.pop()
headers = sys.argv.pop()
library = pathlib.Path(sys.argv.pop())

PRELUDE = """
#include "libsimd.h"
#include <dlfcn.h>
#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>
#define SAY(who) printf("%s: %s\\n", who, fill_f32 != NULL ? "filled" : "null")
"""
EARLY = PRELUDE + """
static void before(void) { SAY("preinit"); }
__attribute__((section(".preinit_array"), used)) static void (*entry)(void) = before;
__attribute__((constructor)) static void construct(void) { SAY("constructor"); }
static int answer(void) { return 1; }
static fill_f32_fn* seen;
static int (*resolve(void))(void) { seen = fill_f32; return answer; }
int resolved(void) __attribute__((ifunc("resolve")));
int main(void)
{
    resolved();
    printf("resolver: %s\\n", seen != NULL ? "filled" : "null");
    SAY("main");
}
"""
OTHER = PRELUDE + """
int other(void);
int other(void) { return fill_f32 != NULL; }
__attribute__((constructor)) static void construct(void) { SAY("other library"); }
"""
USER = PRELUDE + "int other(void);\nint main(void) { other(); SAY(\"main\"); }\n"
LOADER = PRELUDE + """
int main(int count, char** words)
{
    (void)count;
    void* first = dlopen(words[1], RTLD_NOW);
    void** entry = dlsym(first, "fill_f32");
    void* const installed = *entry;
    printf("loaded: %s\\n", installed != NULL ? "filled" : "null");
    *entry = entry;
    void* second = dlopen(words[1], RTLD_NOW);
    printf("again: %s\\n", *(void**)dlsym(second, "fill_f32") == entry ? "overwritten" : "fresh");
    fflush(stdout);
    const int child = fork();
    if (child == 0) {
        printf("child: %s\\n", *entry == entry ? "overwritten" : "fresh");
        fflush(stdout);
        *entry = NULL;
        _exit(0);
    }
    waitpid(child, NULL, 0);
    printf("parent: %s\\n", *entry == entry ? "overwritten" : "changed");
    dlclose(second);
    dlclose(first);
    printf("closed: %s\\n", dlopen(words[1], RTLD_NOW | RTLD_NOLOAD) == NULL ? "gone" : "there");
    entry = dlsym(dlopen(words[1], RTLD_NOW), "fill_f32");
    printf("afresh: %s\\n", *entry != entry && *entry != NULL ? "as installed" : "overwritten");
}
"""
COPIES = PRELUDE + """
int main(void)
{
    void** by_handle = dlsym(dlopen("libsimd.so", RTLD_NOW | RTLD_NOLOAD), "fill_f32");
    void** by_name = dlsym(RTLD_DEFAULT, "fill_f32");
    printf("by handle: %s\\n", *by_handle == NULL ? "null" : "filled");
    printf("by name: %s\\n", (void*)by_name == (void*)&fill_f32 ? "the program's" : "another");
    SAY("main");
}
"""
OVERWRITE = PRELUDE + """
static int calls;
static void step(const double* re, const double* im, const double* taps, size_t n, double* out_re,
                 double* out_im)
{
    (void)re, (void)im, (void)taps, (void)n;
    ++calls;
    *out_re = *out_im = 1.0;
}
static void copy(void* dst, const void* src, size_t n) { (void)dst, (void)src, (void)n, ++calls; }
int main(void)
{
    const double iq[4] = {0}, tap = 1.0;
    double re = 0.0, im = 0.0, out[4];
    int64_t pos = 0;
    fir_step_c64 = step;
    fir_c64_alt(iq, 2, &tap, 0, &pos, &re, &im, out);
    printf("%d steps for 2 samples\\n", calls);
    calls = 0;
    memcpy_fast = copy;
    vfilter_f64(iq, 4, &tap, 1, out);
    printf("%d copy\\n", calls);
}
"""


class Loading(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.path = pathlib.Path(self.folder.name)

    def tearDown(self):
        self.folder.cleanup()

    def build(self, name, text, *words):
        """Builds a program or, from a name in .so, a library; words name what it is linked with."""
        source = self.path / f"{name}.c"
        source.write_text(text, encoding="ascii")
        kind = ["-shared", "-fPIC"] if name.endswith(".so") else []
        subprocess.run([compiler, "-std=gnu11", *kind, f"-I{headers}", source, "-o",
                        self.path / name, f"-L{self.path}", f"-L{library.parent}", *words,
                        "-ldl", f"-Wl,-rpath,{self.path}:{library.parent}"], check=True)

    def lines(self, name, *words):
        result = subprocess.run([self.path / name, *words], capture_output=True, text=True,
                                check=True, timeout=20)
        return result.stdout.splitlines()

    def test_early_code_of_a_program(self):
        for position in (["-fno-pie", "-no-pie"], ["-fPIE", "-pie"]):
            self.build("early", EARLY, *position, "-lsimd")
            self.assertEqual(self.lines("early"), [
                "preinit: null", "constructor: filled", "resolver: null", "main: filled"])

    def test_constructors_of_another_library(self):
        for declared, order, seen in ((["-lsimd"], ["-lother", "-lsimd"], "filled"),
                                      (["-lsimd"], ["-lsimd", "-lother"], "filled"),
                                      ([], ["-lsimd", "-lother"], "null"),
                                      (["-lsimd", "-Wl,-z,initfirst"], ["-lother"], "null")):
            with self.subTest(declared=declared, order=order):
                self.build("libother.so", OTHER, *declared)
                self.build("user", USER, "-Wl,--no-as-needed", *order, "-lsimd")
                self.assertEqual(self.lines("user"), [f"other library: {seen}", "main: filled"])

    def test_loading_at_run_time(self):
        self.build("loader", LOADER)
        self.assertEqual(self.lines("loader", str(library)), [
            "loaded: filled", "again: overwritten", "child: overwritten", "parent: overwritten",
            "closed: gone", "afresh: as installed"])

    def test_copy_relocations(self):
        self.build("copies", COPIES, "-fno-pie", "-no-pie", "-lsimd")
        self.assertEqual(self.lines("copies"),
                         ["by handle: null", "by name: the program's", "main: filled"])
        self.build("copies", COPIES, "-fPIC", "-lsimd")
        self.assertEqual(self.lines("copies")[::2], ["by handle: filled", "main: filled"])

    def test_overwritten_entries_that_the_library_calls(self):
        self.build("overwrite", OVERWRITE, "-lsimd")
        self.assertEqual(self.lines("overwrite"), ["4 steps for 2 samples", "1 copy"])


if __name__ == "__main__":
    unittest.main()
