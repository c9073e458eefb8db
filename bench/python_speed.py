#!/usr/bin/env python3
"""libsimd beside NumPy and SciPy, the installed variants: python_speed.py [--short]. Prints a Markdown table:
microseconds of processor time a call, the best of many, both from one run in turns, and the ratio; below 1
libsimd is faster."""
import sys
import time
import timeit

import numpy as np
import scipy.ndimage
import scipy.signal

import libsimd
from libsimd import kernels

SIZES = [1 << 10, 1 << 16, 1 << 22]
RUNS = 3 if "--short" in sys.argv else 40


def cases(n):
    """Name, ours, theirs, how NumPy or SciPy is called. All write to arrays that are there already."""
    random = np.random.default_rng(1)

    def aligned(values):
        array = libsimd.empty(values.shape, values.dtype)
        array[...] = values
        return array
    x = aligned(random.normal(size=n).astype("float32"))
    y, out = aligned(np.abs(x) + 1), libsimd.empty(n, "float32")
    z = aligned(random.normal(size=(n, 2)).astype("float32").view("complex64")[:, 0])
    w, wide = aligned(z.astype("complex128")), libsimd.empty(n)
    codes, step, offset = libsimd.quantize(x, 16)
    held, filtered = x.copy(), libsimd.empty(n, "complex128")
    taps = scipy.signal.firwin(65, 0.2)
    soft = np.hanning(9).astype("float32")[1:8]
    fir, average, state = libsimd.FIR(taps), libsimd.SmoothFrames(0.25), x.copy()
    average(x)
    part = np.float32(0.25)

    def numpy_quantize():
        low, high = x.min(), x.max()
        scale = np.float32(65535) / (high - low)
        middle = (low + high) / 2
        return np.clip(np.rint((x - middle) * scale), -32768, 32767, out=out).astype("int16")

    def numpy_power(values, target):
        np.multiply(values.real, values.real, out=target)
        target += values.imag * values.imag
        return np.fft.fftshift(target)

    def numpy_frames():
        np.subtract(x, state, out=out)
        np.multiply(out, part, out=out)
        np.add(state, out, out=state)

    yield ("`kernels.mult_f32`", lambda: kernels.mult_f32(out, x, y), lambda: np.multiply(x, y, out=out),
           "`np.multiply`")
    yield ("`minmax`", lambda: libsimd.minmax(x), lambda: (x.min(), x.max()), "`x.min(), x.max()`")
    yield "`mean`", lambda: libsimd.mean(x), x.mean, "`x.mean()`"
    yield ("`floor_level`", lambda: libsimd.floor_level(x, 0.5), lambda: x[x <= 0.5].mean(),
           "`x[x <= level].mean()`")
    yield ("`peak_hold`", lambda: libsimd.peak_hold(held, x, out=held),
           lambda: np.fmax(held, x, out=held), "`np.fmax`")
    yield ("`decibels`", lambda: libsimd.decibels(y, out=out),
           lambda: np.multiply(np.log10(y, out=out), np.float32(10), out=out), "`10 * np.log10`")
    yield ("`power_spectrum`, complex64", lambda: libsimd.power_spectrum(z, out=out),
           lambda: numpy_power(z, out), "`re * re + im * im`, `fftshift`")
    yield ("`power_spectrum`, complex128", lambda: libsimd.power_spectrum(w, out=wide),
           lambda: numpy_power(w, wide), "the same")
    yield ("`quantize`, 16 bits", lambda: libsimd.quantize(x, 16, out=codes), numpy_quantize,
           "`min`, `max`, `rint`, `clip`")
    yield ("`restore`", lambda: libsimd.restore(codes, step, offset, out=out),
           lambda: np.add(np.multiply(codes, np.float32(step), out=out), np.float32(offset), out=out),
           "`codes * step + offset`")
    yield ("`smooth`, 7 taps", lambda: libsimd.smooth(x, soft, out=out),
           lambda: scipy.ndimage.correlate1d(x, soft, mode="nearest", output=out),
           "`scipy.ndimage.correlate1d`")
    yield ("`SmoothFrames`", lambda: average(x, out=out), numpy_frames, "`y += a * (x - y)`")
    yield ("`FIR`, 65 taps, complex64", lambda: fir(z, out=filtered),
           lambda: scipy.signal.lfilter(taps, 1, z), "`scipy.signal.lfilter`")


def best(call, other, n):
    """Both times in seconds, measured in turns."""
    number = max(1, (1 << 15) // n)
    times = [[timeit.timeit(each, number=number, timer=time.process_time) / number for each in (call, other)]
             for _ in range(RUNS if n < 1 << 20 else max(3, RUNS // 4))]
    return min(t for t, _ in times), min(t for _, t in times)


def main():
    table = {}
    for n in SIZES:
        for name, ours, theirs, what in cases(n):
            own, other = best(ours, theirs, n)
            row = table.setdefault(name, [what])
            row.append(f"{own * 1e6:.3g}, {other * 1e6:.3g}, **{own / other:.2f}**")
    print("| libsimd | NumPy, SciPy | 1 Ki | 64 Ki | 4 Mi |\n| --- | --- | --- | --- | --- |")
    for name, (what, *columns) in table.items():
        print(f"| {name} | {what} | {' | '.join(columns)} |")


if __name__ == "__main__":
    main()
