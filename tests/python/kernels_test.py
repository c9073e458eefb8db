#!/usr/bin/env python3
"""Checks libsimd.kernels: kernels_test.py RECORD_CALLS KERNELS_JSON. The registry's calls give C's bits
and are refused where C faults; bad arguments are refused by name; calls are cheap and run side by side."""
import ast
import doctest
import json
import pathlib
import struct
import subprocess
import sys
import timeit
import unittest

import numpy as np

import libsimd
from libsimd import _native, kernels

RECORD_CALLS, KERNELS_JSON = sys.argv[1:3]
with open(KERNELS_JSON, encoding="ascii") as file:
    DESCRIPTIONS = {k["name"]: k for k in json.load(file)["kernels"]}
INSTALLED = {k["name"]: k["installed"] for k in libsimd.info()["kernels"]}
TYPES = {"float": "float32", "double": "float64", "uint8_t": "uint8", "int16_t": "int16",
         "uint16_t": "uint16", "uint32_t": "uint32", "void": "uint8", "int64_t": "int64"}
LEVELS = ["base", "sse", "sse2", "sse3", "ssse3", "sse41", "avx", "avx2"]


def pointers(name):
    return [a for a in DESCRIPTIONS[name]["arguments"] if a["direction"] != "value"]


def element(argument):
    return TYPES[argument["type"].replace("const", "").replace("*", "").strip()]


def at(offset, data, dtype):
    """An array of these bytes at an address that is `offset` modulo 64."""
    room = np.zeros(len(data) + 192, np.uint8)
    skip = (offset - room.ctypes.data) % 64
    room[skip:skip + len(data)] = np.frombuffer(data, np.uint8)
    return room[skip:skip + len(data)].view(dtype)


class Reader:
    """The records of record_calls."""

    def __init__(self, data):
        self.data, self.place = data, 0

    def number(self):
        self.place += 8
        return struct.unpack_from("<Q", self.data, self.place - 8)[0]

    def bytes(self):
        size = self.number()
        self.place += size
        return self.data[self.place - size:self.place]

    def __iter__(self):
        while self.place < len(self.data):
            name, level = self.bytes().decode(), self.bytes().decode()
            n, faulted, returned = self.number(), self.number() == 1, self.bytes()
            arrays = [(self.number(), self.number(), self.bytes(), self.bytes())
                      for _ in range(self.number())]
            numbers = [self.bytes() for _ in range(self.number())]
            yield name, level, n, faulted, returned, arrays, numbers


def refused_beyond(name, level, n):
    """Calls that run in C: over the end of a half, without the last bin that an odd count has and C
    does not read, or handing out what was not computed."""
    if name.startswith("fft_abs"):
        width = {"base": 0, "avx": 32}.get(level, 16)
        return n % max(2, 2 * width // (4 if name.endswith("f32") else 8)) != 0
    return n == 0 and name.startswith(("pack", "minmax"))


def quiet(value, bits):
    """As a Python float hands a float32 on: a signalling NaN turns quiet."""
    return value | (1 << 22) if bits == 32 and value & 0x7F800000 == 0x7F800000 and \
        value & 0x7FFFFF else value


def same_number(got, wanted):
    if len(wanted) == 4 and isinstance(got, float):
        return quiet(struct.unpack("<I", struct.pack("<f", got))[0], 32) == \
            quiet(struct.unpack("<I", wanted)[0], 32)
    if isinstance(got, float):
        return struct.pack("<d", got) == wanted
    return got == int.from_bytes(wanted, "little", signed=got < 0)


class SameBits(unittest.TestCase):
    """Every call of the registry, made by C++ on each level's library, made again from Python."""

    def make(self, record):
        """Makes the call; the arrays after it, and the values it gave."""
        name, _, n, _, _, arrays, numbers = record
        places = pointers(name)
        if name.startswith("fir_c"):  # recorded last, fifth in C
            arrays = arrays[:2] + arrays[-1:] + arrays[2:-1]
        self.assertEqual(len(places), len(arrays), name)
        given, out = [], []
        made = {p["name"]: (p, at(offset, before, element(p)), after)
                for p, (_, offset, before, after) in zip(places, arrays)}
        left = list(numbers)
        for argument in DESCRIPTIONS[name]["arguments"]:
            if argument["name"] in made:
                p, array, after = made[argument["name"]]
                if argument["name"] == "pos":
                    given.append(int(array[0]))
                    out.append(after)
                elif p["direction"] == "out" and p["length"] == "1":
                    out.append(after)
                else:
                    given.append(array)
            elif argument["name"] not in ("n", "count", "last", "len"):
                given.append(np.frombuffer(left.pop(0), element(argument))[0])
        result = getattr(kernels, name)(*given, n=n)
        return made, out, result

    def test_every_recorded_call(self):
        recorder = subprocess.run([RECORD_CALLS], stdout=subprocess.PIPE, check=True)
        calls, refusals, kept = {}, 0, {}
        for record in Reader(recorder.stdout):
            name, level, n, faulted, returned, arrays, _ = record
            what = f"{name} at {level}, n {n}, offsets {[a[1] for a in arrays]}"
            _native.presume(level)
            try:
                self.make(record)
                refused = False
            except ValueError:
                refused = True
            finally:
                _native.presume(None)
            self.assertEqual(refused, faulted or refused_beyond(name, level, n), what)
            refusals += refused
            kept[name, level] = kept.get((name, level), 0) + 1
            own = INSTALLED[name] or INSTALLED["fir_step_c64"]
            if refused or level != own:
                continue
            calls[name] = calls.get(name, 0) + 1
            made, out, result = self.make(record)
            for key, (p, array, after) in made.items():
                if key != "pos" and not (p["direction"] == "out" and p["length"] == "1"):
                    self.assertEqual(array.tobytes(), after, f"{what}: {key}")
            values = [] if result is None else result if isinstance(result, tuple) else [result]
            wanted = ([returned] if returned else []) + out
            self.assertEqual(len(values), len(wanted), what)
            for value, bits in zip(values, wanted):
                self.assertTrue(same_number(value, bits), f"{what}: {value} for {bits.hex()}")
        self.assertEqual(set(calls), set(DESCRIPTIONS))
        self.assertGreater(min(calls.values()), 15, calls)
        print(f"{sum(calls.values())} calls with C's bits, {sum(kept.values())} decisions at "
              f"{len(kept)} variants, {refusals} refusals", file=sys.stderr)


class Refusals(unittest.TestCase):
    """What is wrong with an argument is said in its name."""

    def refused(self, error, words, name, *arguments, **keywords):
        before = [a.copy() if isinstance(a, np.ndarray) else a for a in arguments]
        with self.assertRaises(error, msg=words) as caught:
            getattr(kernels, name)(*arguments, **keywords)
        self.assertEqual(str(caught.exception), f"{name}: {words}")
        for a, b in zip(arguments, before):
            if isinstance(a, np.ndarray) and not a.dtype.hasobject:
                self.assertEqual(a.tobytes(), b.tobytes())

    def test_types(self):
        a, d = np.zeros(8, "float32"), np.zeros(8)
        wanted = "wanted an array of float32, got "
        for other, got in ((d, "float64"), ([0.0] * 8, "list"), (None, "NoneType"),
                           (a.astype(">f4"), ">f4"), (a.astype("int32"), "int32"),
                           (a.astype("float16"), "float16"), (a.astype(object), "object"),
                           (a.view("V4"), "|V4"), (memoryview(a), "memoryview"),
                           (a.view("complex64"), "complex64"), (a.astype("longdouble"), "float128")):
            for place in range(3):
                arguments = [a.copy(), a.copy(), a.copy()]
                arguments[place] = other
                self.refused(TypeError, f"{('dst', 'a', 'b')[place]}: {wanted}{got}", "mult_f32",
                             *arguments)
        self.refused(TypeError, "value: wanted a number, got str", "fill_f32", a, "1")
        self.refused(TypeError, "n: wanted a whole number, got float", "fill_f32", a, 1, n=1.5)
        self.refused(TypeError, "src: wanted an array of any type without Python objects, got object",
                     "memcpy_fast", d, d.astype(object))
        self.refused(TypeError, "dst: wanted an array of any type without Python objects, got "
                     "[('x', 'O')]", "memcpy_fast", np.zeros(8, [("x", "O")]), d)

    def test_shapes(self):
        a = np.zeros(8, "float32")
        frozen = a.copy()
        frozen.flags.writeable = False
        self.refused(ValueError, "b: wanted 8 elements as in dst, got 7", "mult_f32", a, a + 1,
                     a[:7] + 1)
        self.refused(ValueError, "a: wanted at least 8 elements, n of them, got 7", "mult_f32", a,
                     a[:7] + 1, a + 1, n=8)
        self.refused(ValueError, "n: wanted a whole number of 0 or more, got -1", "fill_f32", a, 0,
                     n=-1)
        self.refused(ValueError, f"n: wanted a whole number of 0 or more, got {2**70}", "fill_f32", a,
                     0, n=2**70)
        self.refused(ValueError, f"dst: wanted at least {2**62} elements, n of them, got 8",
                     "fill_f32", a, 0, n=2**62)
        self.refused(ValueError, "dst: wanted a contiguous array, got one with strides", "fill_f32",
                     a[::2], 0)
        self.refused(ValueError, "dst: wanted a contiguous array, got one with strides", "fill_f32",
                     a.reshape(2, 4).T, 0)
        self.refused(ValueError, "dst: wanted a writable array, got a read-only one", "fill_f32",
                     frozen, 0)
        self.refused(ValueError, "p: wanted at least 1 element, got 0", "min_f32", a[:0])
        self.refused(ValueError, "p: wanted at least 1 element, n of them, got 0", "minmax_f32", a,
                     n=0)
        self.refused(ValueError, "in: wanted pairs, an even number of elements, got 7", "fft_abs_f64",
                     np.zeros(7), np.zeros(3))
        kernels.fill_f32(a.reshape(2, 2, 2), 3.0, n=np.int64(7))
        self.assertEqual(a.tolist(), [3.0] * 7 + [0.0])

    def test_overlaps(self):
        a, o = np.zeros(33, "float32"), np.zeros(32, "float32")
        self.refused(ValueError, "dst: wanted memory apart from a, got an overlap", "mult_f32", a[1:],
                     a[:-1], o)
        self.refused(ValueError, "dst: wanted memory apart from b, got an overlap", "mult_f32", o,
                     a[1:], o)
        self.refused(ValueError, "dst: wanted memory apart from src, got an overlap", "max_array_f32",
                     a[1:], a[:-1])
        kernels.mult_f32(o, a[1:], a[:-1])
        kernels.max_array_f32(o, o)
        kernels.fill_f32(a[4:12], 1.0)
        self.refused(ValueError, "dst: wanted memory apart from src, got an overlap", "memcpy_fast",
                     a[1:], a[:-1])
        kernels.memcpy_fast(a[4:], a, n=16)
        self.assertEqual(a[8:12].tolist(), [1.0] * 4)
        h, t = np.zeros(4), np.ones(4)
        self.refused(ValueError, "hist_re: wanted memory apart from hist_im, got an overlap",
                     "fir_c64_alt", np.zeros(2), t, 0, h, h, np.zeros(2))
        self.refused(ValueError, "hist_im: wanted memory apart from taps, got an overlap",
                     "fir_c64_alt", np.zeros(2), t, 0, h, t, np.zeros(2))
        y = np.zeros(8)
        self.refused(ValueError, "y: wanted memory apart from taps, got an overlap", "vfilter_f64",
                     np.ones(8), y[:3], y)

    def test_places_of_elements(self):
        raw = np.zeros(8 * 40 + 8, np.uint8)
        odd = lambda dtype, n: raw[1:1 + n * np.dtype(dtype).itemsize].view(dtype)  # noqa: E731
        whole = {"float32": np.zeros(32, "float32"), "float64": np.zeros(32)}
        for name, arguments in (
                ("min_f32", (odd("float32", 32),)), ("minmax_f64", (odd("float64", 32),)),
                ("avg_abs_s16", (odd("int16", 40),)),
                ("iir1_f32", (odd("float32", 32), whole["float32"], 0.5)),
                ("max_array_f64", (whole["float64"], odd("float64", 32))),
                ("pack_f32_u8", (odd("float32", 32), np.zeros(32, "uint8"))),
                ("swap_words_u32", (odd("uint32", 32), np.zeros(32, "uint32")))):
            with self.assertRaisesRegex(ValueError, "wanted an array aligned to its element"):
                getattr(kernels, name)(*arguments)
        kernels.mult_f32(odd("float32", 32), whole["float32"], whole["float32"])
        self.assertEqual(kernels.avg_f64(odd("float64", 32)), 0.0)

    def test_blocks_and_boundaries(self):
        cases = [
            ("fft_abs_f32", "sse", lambda: (np.zeros(12, "complex64"), np.zeros(12, "float32")),
             "n: wanted a multiple of 8, got 12"),
            ("fft_abs_f64", "avx", lambda: (np.zeros(12, complex), np.zeros(12)),
             "n: wanted a multiple of 8, got 12"),
            ("spec_log_f32", "sse2", lambda: (libsimd.empty(18, "float32"),
                                              libsimd.empty(18, "float32"), 0),
             "n: wanted a multiple of 4, got 18"),
            ("spec_log_f32", "avx2", lambda: (libsimd.empty(36, "float32"),
                                              libsimd.empty(36, "float32"), 0),
             "n: wanted a multiple of 8, got 36"),
            ("spec_log_f32", "sse2", lambda: (libsimd.empty(17, "float32")[1:],
                                              libsimd.empty(16, "float32"), 0),
             "in: wanted an array aligned to 16 bytes, got one at 4 modulo 16"),
            ("spec_log_f32", "avx2", lambda: (libsimd.empty(32, "float32"),
                                              libsimd.empty(36, "float32")[4:], 0),
             "out: wanted an array aligned to 32 bytes, got one at 16 modulo 32"),
            ("swap_words_u32", "avx2", lambda: (libsimd.empty(23, "uint32"),
                                                libsimd.empty(23, "uint32")),
             "dst: wanted 29 elements, which the variant for AVX2 reaches, got 23"),
            ("swap_words_u32", "ssse3", lambda: (libsimd.empty(17, "uint32")[1:],
                                                 libsimd.empty(16, "uint32")),
             "dst: wanted an address as src has modulo 16, got 0 modulo 16, src at 4 modulo 16"),
            ("vfilter_f32", "base", lambda: (np.zeros(3, "float32"), np.zeros(5, "float32"),
                                             np.zeros(3, "float32")),
             "x: wanted at least 4 elements (taps - 1), got 3"),
            ("vfilter_f64", "avx", lambda: (np.zeros(9), np.zeros(4), np.zeros(9)),
             "taps: wanted 5 elements (an odd number), got 4"),
        ]
        for name, level, arguments, words in cases:
            _native.presume(level)
            try:
                self.refused(ValueError, words, name, *arguments())
            finally:
                _native.presume(None)
        room = libsimd.empty(29, "uint32")
        _native.presume("avx2")
        try:
            kernels.swap_words_u32(libsimd.empty(23, "uint32"), room, n=23)
        finally:
            _native.presume(None)

    def test_positions_and_lengths(self):
        h, t, x, out = np.zeros(4), np.ones(4), np.zeros(2), np.zeros(2)
        for pos, words in ((4, "pos: wanted a slot below 4, got 4"),
                           (-1, "pos: wanted a whole number of 0 or more, got -1"),
                           (2**63, f"pos: wanted a whole number of 0 or more, got {2**63}")):
            self.refused(ValueError, words, "fir_c64_alt", x, t, pos, h, h.copy(), out)
        self.refused(ValueError, "hist_im: wanted 4 elements as in taps, got 3", "fir_c64_alt", x, t,
                     0, h, np.zeros(3), out)
        self.refused(ValueError, "taps: wanted at least 1 element, got 0", "fir_c64_alt", x, t[:0], 0,
                     h[:0], h[:0], out)
        self.refused(ValueError, "out: wanted 1 elements as in in, got 2", "fir_c64_alt", x, t, 0, h,
                     h.copy(), np.zeros(4))
        self.assertEqual(kernels.fir_c64_alt(x, t, 3, h, h.copy(), out), 2)
        y = np.zeros(8)
        self.refused(ValueError, f"len: wanted less than 2147483648, got {2**31}", "vfilter_f64",
                     np.ones(8), t, y, len=2**31)
        kernels.vfilter_f64(np.ones(8), np.array([1.0, 2.0, 1.0]), y, len=2)
        self.assertEqual(y.tolist(), [4.0] * 8)
        kernels.vfilter_f64(np.ones(8), np.zeros(0), y)
        self.assertEqual(y.tolist(), [1.0] * 8)

    def test_arguments_of_a_call(self):
        with self.assertRaises(TypeError):
            kernels.fill_f32(np.zeros(3, "float32"))
        with self.assertRaises(TypeError):
            kernels.fill_f32(np.zeros(3, "float32"), 1, 3)
        with self.assertRaises(TypeError):
            kernels.fill_f32(np.zeros(3, "float32"), 1, count=3)

    def test_complex_arrays_in_place(self):
        z = np.arange(32, dtype="float32").view("complex64")
        row = np.zeros(16, "float32")
        kernels.fft_abs_f32(z, row)
        again = np.zeros(16, "float32")
        kernels.fft_abs_f32(z.view("float32"), again)
        self.assertEqual(row.tobytes(), again.tobytes())


class Whole(unittest.TestCase):
    def test_names_and_examples(self):
        self.assertEqual(kernels.__all__, list(DESCRIPTIONS))
        parser, runner = doctest.DocTestParser(), doctest.DocTestRunner()
        for name in kernels.__all__:
            text = getattr(kernels, name).__doc__
            self.assertIn(DESCRIPTIONS[name]["prototype"], text)
            test = parser.get_doctest(text, {"numpy": np, "kernels": kernels}, name, None, 0)
            self.assertTrue(test.examples, name)
            self.assertEqual(runner.run(test).failed, 0, name)

    def test_stubs(self):
        """kernels.pyi has each kernel with the arguments of its docstring."""
        stub = pathlib.Path(libsimd.__file__).with_name("kernels.pyi").read_text(encoding="ascii")
        found = {}
        for node in ast.parse(stub).body:
            if isinstance(node, ast.FunctionDef):
                a = node.args
                found[node.name] = [x.arg.rstrip("_") for x in a.posonlyargs + a.args] + \
                    ["*"] + [x.arg + "=None" for x in a.kwonlyargs]
        for name in kernels.__all__:
            head = getattr(kernels, name).__doc__.splitlines()[0]
            arguments = head[head.index("(") + 1:head.index(")")].split(", ")
            self.assertEqual(found.pop(name), arguments, name)
        self.assertEqual(found, {})

    def test_no_copy(self):
        """What is written lies where the caller's array lies, and the call allocates no array."""
        a = np.ones(1000, "float32")
        view = a[10:500]
        kernels.fill_f32(view, 5.0)
        self.assertEqual(a.sum(), 490 * 5 + 510)

    def test_unavailable(self):
        """A library that is not there: one line that says how to install it."""
        for path in ("/nowhere/libsimd.so", sys.executable):
            run = subprocess.run([sys.executable, "-c", "import libsimd"], capture_output=True,
                                 text=True, check=False,
                                 env={"PYTHONPATH": str(pathlib.Path(libsimd.__file__).parent.parent),
                                      "LIBSIMD_LIBRARY": path})
            self.assertEqual(run.returncode, 1)
            last = run.stderr.splitlines()[-1]
            self.assertRegex(last, "^ImportError: libsimd.so cannot be loaded .*apt-get install")

    def test_null_entry(self):
        import ctypes
        entry = ctypes.c_void_p.in_dll(ctypes.CDLL(libsimd.info()["library"]), "unpack_s16_f32")
        held, entry.value = entry.value, None
        try:
            with self.assertRaisesRegex(RuntimeError, "unpack_s16_f32: the library's entry is null"):
                kernels.unpack_s16_f32(np.zeros(3, "int16"), np.zeros(3, "float32"), 1, 0)
        finally:
            entry.value = held
        kernels.unpack_s16_f32(np.zeros(3, "int16"), np.zeros(3, "float32"), 1, 0)

    def test_info(self):
        info = libsimd.info()
        self.assertEqual([k["name"] for k in info["kernels"]], list(DESCRIPTIONS))
        for k in info["kernels"]:
            self.assertEqual([(v["level"], v["also_uses"]) for v in k["variants"]],
                             [(v["level"], v["demands"]) for v in DESCRIPTIONS[k["name"]]["levels"]])
        run = subprocess.run([sys.executable, "-m", "libsimd"], capture_output=True, text=True,
                             check=True)
        self.assertEqual(run.stdout.count("\n"), 5 + 53)
        run = subprocess.run([sys.executable, "-m", "libsimd", "--json"], capture_output=True,
                             text=True, check=True)
        self.assertEqual(json.loads(run.stdout), json.loads(json.dumps(info)))


MEETING = """
import ctypes, sys, threading
import numpy as np
import libsimd

name, call = sys.argv[1:]
library = ctypes.CDLL(libsimd.info()["library"])
libc = ctypes.CDLL(None)
entry = ctypes.c_void_p.in_dll(library, name)
barrier = libsimd.empty(64, "float64")
barrier[:] = 0
libc.pthread_barrier_init(ctypes.c_void_p(barrier.ctypes.data), None, 2)
entry.value = ctypes.cast(libc.pthread_barrier_wait, ctypes.c_void_p).value
threads = [threading.Thread(target=eval("lambda: " + call)) for _ in range(2)]
for thread in threads: thread.start()
for thread in threads: thread.join()
"""


class Threads(unittest.TestCase):
    def meets(self, name, call, seconds=60):
        """Two calls stay in the kernel until both are there: its entry holds a C barrier, and its first
        array is that barrier. If a call kept the interpreter lock, the other would never come."""
        try:
            return subprocess.run([sys.executable, "-c", MEETING, name, call], timeout=seconds,
                                  stderr=subprocess.PIPE, check=False).returncode == 0
        except subprocess.TimeoutExpired:
            return False

    def test_calls_overlap(self):
        self.assertTrue(self.meets("fill_f32", "libsimd.kernels.fill_f32(barrier.view('f4'), 0)"))
        self.assertTrue(self.meets("avg_f64", "libsimd.kernels.avg_f64(barrier)"))
        self.assertTrue(self.meets("avg_f64", "libsimd.mean(barrier)"))
        self.assertTrue(self.meets("max_array_f64", "libsimd.peak_hold(barrier, np.zeros(64), "
                                                    "out=barrier)"))
        # The same with the lock held: it does not end.
        self.assertFalse(self.meets("fill_f32", "ctypes.PyDLL(None).pthread_barrier_wait("
                                                "ctypes.c_void_p(barrier.ctypes.data))", 2))


class Cost(unittest.TestCase):
    def test_a_call(self):
        """mult_f32 on 1 Ki floats: at most a microsecond; three where the machine is busy."""
        a, b, dst = (libsimd.empty(1024, "float32") for _ in range(3))
        a[:], b[:] = 1, 2
        best = min(timeit.repeat(lambda: kernels.mult_f32(dst, a, b), number=2000, repeat=50)) / 2000
        print(f"mult_f32 on 1 Ki floats: {best * 1e9:.0f} ns a call", file=sys.stderr)
        self.assertLess(best, 3e-6)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
