#!/usr/bin/env python3
"""Calls everything in libsimd with arrays of every make, most of them wrong: fuzz.py SECONDS [SEED].

Each call must return or raise TypeError, ValueError or MemoryError; must write to nothing but what it was
given to write; and a kernel that refuses must have written nothing. Arrays end at the end of their memory,
on the heap for valgrind or an address sanitizer to see, or before a page that nobody may touch.
"""
import ctypes
import json
import mmap
import os
import pathlib
import random
import re
import resource
import sys
import time

import numpy as np

import libsimd
from libsimd import kernels

SECONDS = float(sys.argv[1])
SEED = int(sys.argv[2]) if len(sys.argv) > 2 else random.SystemRandom().randrange(1 << 32)
WATCHED = any(tool in os.environ.get("LD_PRELOAD", "") for tool in ("valgrind", "asan"))
RNG = random.Random(SEED)
CANARY = 0xC5
TYPES = ["uint8", "int16", "uint16", "uint32", "float32", "float64", "complex64", "complex128"]
OTHERS = ["int8", "int64", "uint64", "float16", "longdouble", "clongdouble", "bool", "object", "S3", "U2",
          "M8[s]", "m8[us]", "f4,i2", "V0", ">f4", ">f8", ">i2", ">c8"]
SIZES = [0, 1, 2, 3, 7, 8, 15, 16, 17, 31, 32, 33, 40, 64, 65, 100, 128, 257]
PAGE = mmap.PAGESIZE
LIBC = ctypes.CDLL(None, use_errno=True)
HUGE = 1 << 31


class Room:
    """Bytes with something after them: the heap's end, or a forbidden page; around an array, canaries."""

    pages = []

    def __init__(self, size):
        if RNG.random() < 0.3 and size <= 8 * PAGE:
            self.bytes = self.guarded(size)
        else:
            self.bytes = np.empty(size, np.uint8)
        self.bytes[:] = CANARY

    @classmethod
    def guarded(cls, size):
        if len(cls.pages) < 40:
            whole = mmap.mmap(-1, 10 * PAGE)
            view = np.frombuffer(whole, np.uint8)
            LIBC.mprotect(ctypes.c_void_p(view.ctypes.data + 9 * PAGE), PAGE, 0)
            cls.pages.append(view[:9 * PAGE])
        view = RNG.choice(cls.pages)
        return view[view.size - size:] if size else view[:0]


class Given:
    """An array, the room it lies in, and what the room held."""

    def __init__(self, array, room):
        self.array, self.room = array, room


def fill(array):
    """Any bits, or numbers, often special."""
    kind = RNG.randrange(4)
    if array.dtype.hasobject or array.dtype.kind in "SUVMm" or not array.size:
        return
    if kind == 0 or array.dtype.kind not in "fc":
        raw = np.frombuffer(RNG.randbytes(array.nbytes), np.uint8)
        if array.dtype.kind != "b":
            array.view(np.uint8).reshape(-1)[:] = raw
        return
    with np.errstate(all="ignore"):
        array[...] = np.random.default_rng(RNG.randrange(1 << 30)).normal(0, 10 ** RNG.randrange(-3, 4),
                                                                           array.shape)
        if kind == 1:
            flat = array.reshape(-1)
            flat[RNG.randrange(array.size)] = RNG.choice([np.nan, np.inf, -np.inf, 0, 1e38, -1e-40])


def make(dtype, size, rooms):
    """An array of the type and size, most often plain, at any place."""
    if RNG.random() < 0.06:
        dtype = RNG.choice(TYPES + OTHERS)
    if RNG.random() < 0.06:
        size = max(0, RNG.choice([size - 1, size + 1, 2 * size, RNG.choice(SIZES)]))
    if RNG.random() < 0.02:
        return RNG.choice([None, 1.5, [1.0, 2.0], "text", b"bytes", memoryview(b"12345678"),
                           np.float32(3), (), object()])
    dtype = np.dtype(dtype)
    if RNG.random() < 0.01:
        one = np.zeros(1, dtype)
        return np.lib.stride_tricks.as_strided(one, (HUGE + RNG.randrange(3),), (0,))
    if dtype.hasobject or dtype.itemsize == 0:
        return np.zeros(size, dtype)
    step = RNG.choice([1] * 9 + [2, 3])
    need = size * dtype.itemsize * step
    lead = RNG.choice([0, 16, 32, 64, RNG.randrange(64), RNG.randrange(16) * dtype.itemsize])
    if rooms and RNG.random() < 0.04 and rooms[-1].bytes.size >= need:
        room, lead = rooms[-1], RNG.randrange(rooms[-1].bytes.size - need + 1)  # an overlap
    else:
        room = Room(lead + need)
        lead = lead if (room.bytes.ctypes.data + lead) % dtype.alignment == 0 or RNG.random() < 0.2 else \
            lead - (room.bytes.ctypes.data + lead) % dtype.alignment
        if lead < 0:
            lead += dtype.alignment
            room = Room(lead + need)
        rooms.append(room)
    array = room.bytes[lead:lead + need].view(dtype) if need else room.bytes[:0].view(dtype)
    fill(array)
    array = array[::step]
    turn = RNG.random()
    if turn < 0.03:
        array = array[::-1]
    elif turn < 0.06 and size % 2 == 0:
        array = array.reshape(2, -1)
        array = array.T if RNG.random() < 0.5 else array
    elif turn < 0.08:
        array = np.asarray(array)
        array.flags.writeable = False
    elif turn < 0.09 and size:
        array = np.broadcast_to(array[0], (size,))
    return array


def number():
    return RNG.choice([0, 1, 0.5, -3.25, 1e30, float("nan"), float("inf"), np.float32(2), np.int16(3), True,
                       10 ** 400, "1", None, np.zeros(1), np.zeros(3)]) if RNG.random() < 0.2 else \
        RNG.uniform(-5, 5)


def count(usual):
    roll = RNG.random()
    if roll < 0.75:
        return None
    if roll < 0.9:
        return max(0, usual - RNG.randrange(4))
    return RNG.choice([0, 1, -1, usual + 1, 2 ** 31, 2 ** 32 + 4, 2 ** 61, 2 ** 63 - 1, 2 ** 64 + 8, 1.5, "3",
                       np.uint8(2), True])


ELEMENTS = {"float": "float32", "double": "float64", "uint8_t": "uint8", "int16_t": "int16",
            "uint16_t": "uint16", "uint32_t": "uint32", "void": "uint8"}


def shapes():
    """Of each kernel: (name, type, elements for (n, taps), written) per argument; numbers have no type."""
    path = pathlib.Path(libsimd.__file__).parent.parent / "kernels.json"
    found = {}
    for kernel in json.loads(path.read_text(encoding="ascii"))["kernels"]:
        arguments = found[kernel["name"]] = []
        for a in kernel["arguments"]:
            element = re.sub(r"const|\*", "", a["type"]).strip()
            if a["name"] in ("n", "count", "last", "len") or a["direction"] == "out" and a["length"] == "1":
                continue
            if a["name"] == "pos":
                arguments.append(("pos", None, None, False))
            elif a["direction"] == "value":
                arguments.append((a["name"], None, "number", False))
            else:
                arguments.append((a["name"], ELEMENTS[element], a["length"], a["direction"] != "in"))
    return found


SHAPES = shapes()
DONE = {name: [0, 0] for name in SHAPES}


def snapshot(rooms):
    return [room.bytes.tobytes() for room in rooms]


def outside_changed(before, rooms, allowed):
    """Whether a byte outside the arrays `allowed` is another one."""
    for held, room in zip(before, rooms):
        now = room.bytes
        then = np.frombuffer(held, np.uint8)
        changed = np.flatnonzero(now != then)
        if not changed.size:
            continue
        free = np.zeros(now.size, bool)
        for array in allowed:
            if array.size:
                low, high = np.lib.array_utils.byte_bounds(array) if hasattr(np.lib, "array_utils") \
                    else np.byte_bounds(array)
                free[max(0, low - now.ctypes.data):max(0, high - now.ctypes.data)] = True
        if not free[changed].all():
            return True
    return False


def call_kernel():
    name = RNG.choice(list(SHAPES))
    n = RNG.choice(SIZES)
    if name.startswith(("fft_abs", "spec_log")) and RNG.random() < 0.8:
        n = n // 16 * 16
    taps = RNG.choice([1, 2, 3, 5, 9, 33])
    if name.startswith("vfilter_"):
        taps |= 1
    lengths = {"n": n, "count": n, "last": taps - 1, "len": taps, "__builtins__": {}}
    arguments, rooms, written = [], [], []
    for argument, element, length, out in SHAPES[name]:
        if argument == "pos":
            arguments.append(RNG.choice([0, taps - 1, RNG.randrange(taps), taps, -1, 2 ** 63, None])
                             if RNG.random() < 0.2 else RNG.randrange(taps))
        elif element is None:
            arguments.append(number())
        else:
            size = eval(length, dict(lengths))
            if RNG.random() < 0.2 and length.startswith("2 * n") and element in ("float32", "float64"):
                element, size = {"float32": "complex64", "float64": "complex128"}[element], size // 2
            array = make(element, size, rooms)
            arguments.append(array)
            if out and isinstance(array, np.ndarray):
                written.append(array)
    keywords = {"n": count(n)}
    if name.startswith("vfilter_") and RNG.random() < 0.2:
        keywords["len"] = count(taps)
    before = snapshot(rooms)
    try:
        getattr(kernels, name)(*arguments, **keywords)
    except (TypeError, ValueError) as error:
        DONE[name][1] += 1
        if outside_changed(before, rooms, []):
            raise AssertionError(f"{name} wrote before it refused: {error}") from error
        if not str(error):
            raise AssertionError(f"{name} refuses without a word") from error
        return
    DONE[name][0] += 1
    if outside_changed(before, rooms, written):
        raise AssertionError(f"{name} wrote outside: {arguments} {keywords}")


FILTERS = [libsimd.FIR([1.0, 0.5]), libsimd.FIR(np.ones(33), 0.5, 1), libsimd.FIR([2.0])]
AVERAGE = [libsimd.SmoothFrames(0.5), libsimd.SmoothFrames(1)]
PLAIN = {
    "minmax": (["uint8", "int16", "float32", "float64"], None, lambda x, o: libsimd.minmax(x, out=o)),
    "minmax rows": (["float32"], None, lambda x, o: libsimd.minmax(x, axis=-1)),
    "mean": (["float32", "float64"], None, lambda x, o: libsimd.mean(x, RNG.choice([None, -1, 1]))),
    "floor_level": (["float32", "float64"], None,
                    lambda x, o: libsimd.floor_level(x, RNG.choice([None, 0.5, number()]))),
    "peak_hold": (["float32", "float64"], "same", lambda x, o: libsimd.peak_hold(o if RNG.random() < 0.5
                                                                                 else x, x, out=o)),
    "decibels": (["float32", "float64"], "same", lambda x, o: libsimd.decibels(x, number(), out=o)),
    "power_spectrum": (["complex64", "complex128"], "part",
                       lambda x, o: libsimd.power_spectrum(x, RNG.random() < 0.5, out=o)),
    "quantize 8": (["float32", "float64"], "uint8", lambda x, o: libsimd.quantize(x, 8, out=o)),
    "quantize 16": (["float32", "float64"], "int16", lambda x, o: libsimd.quantize(x, 16, out=o)),
    "restore": (["uint8", "int16"], "float32", lambda x, o: libsimd.restore(x, number(), 1, out=o)),
    "restore 64": (["uint8", "int16", "uint16"], "float64",
                   lambda x, o: libsimd.restore(x, 0.5, number(), out=o)),
    "smooth": (["float32", "float64"], "same",
               lambda x, o: libsimd.smooth(x, RNG.choice([[1], [1, 2, 1], np.ones(9), np.ones(401), x]),
                                           out=o)),
    "SmoothFrames": (["float32", "float64"], "same",
                     lambda x, o: (RNG.random() < 0.3 and AVERAGE[0].reset(), RNG.choice(AVERAGE)(x, out=o))),
    "FIR": (["complex64", "complex128", "int16"], "complex128",
            lambda x, o: RNG.choice(FILTERS)(x, out=o)),
}
for key in PLAIN:
    DONE[key] = [0, 0]


def call_plain():
    name = RNG.choice(list(PLAIN))
    types, result, function = PLAIN[name]
    element, n, rooms = RNG.choice(types), RNG.choice(SIZES), []
    x = make(element, n, rooms)
    if isinstance(x, np.ndarray) and x.size >= HUGE and (WATCHED or RNG.random() < 0.9):
        return  # seconds each; under valgrind minutes
    out = None
    if result and RNG.random() < 0.7:
        if result == "same":
            kind = element
        elif result == "part":
            kind = "float32" if element == "complex64" else "float64"
        else:
            kind = result
        size = n // 2 if name == "FIR" and element == "int16" else n
        out = make(kind, size, rooms)
        if isinstance(x, np.ndarray) and isinstance(out, np.ndarray) and x.size == out.size and \
                RNG.random() < 0.9 and x.size < HUGE:
            out = out.reshape(x.shape)
        if RNG.random() < 0.05:
            out = x
    before = snapshot(rooms)
    try:
        with np.errstate(all="ignore"):
            function(x, out)
    except (TypeError, ValueError, MemoryError):
        DONE[name][1] += 1
        return
    DONE[name][0] += 1
    if outside_changed(before, rooms, [out] if isinstance(out, np.ndarray) else []):
        raise AssertionError(f"{name} wrote outside: {x!r}")


def main():
    print(f"seed {SEED}", flush=True)
    np.seterr(all="ignore")
    if not WATCHED:
        resource.setrlimit(resource.RLIMIT_AS, (6 << 30, 6 << 30))
    end, calls = time.monotonic() + SECONDS, 0
    while time.monotonic() < end:
        for _ in range(20):
            call_kernel() if RNG.random() < 0.7 else call_plain()
            calls += 1
    print(f"{calls} calls, {sum(d[0] for d in DONE.values())} made, "
          f"{sum(d[1] for d in DONE.values())} refused")
    idle = [name for name, (made, refused) in DONE.items() if not made or not refused]
    if idle and calls > 10000:
        sys.exit(f"never made or never refused: {', '.join(idle)}")


main()
