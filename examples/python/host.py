#!/usr/bin/env python3
"""A host in Python: a row of a spectrum, windowed, in decibels, as bytes: host.py JSON LIBRARY."""
import sys

import numpy

import libsimd

COUNT = 1024


def main():
    simd = libsimd.Library(*sys.argv[1:])
    installed = sum(kernel.installed for kernel in simd.kernels.values())
    print(f"{installed} of {len(simd.kernels)} kernels installed")

    # A tone in bin 100, windowed by a product. The destination comes first.
    block, window, windowed = (libsimd.aligned(COUNT, "float32") for _ in range(3))
    block[:] = numpy.cos(2 * numpy.pi * 100 * numpy.arange(COUNT) / COUNT)
    window[:] = numpy.hanning(COUNT + 1)[:COUNT]
    simd.mult_f32(windowed, block, window, COUNT)

    # Its power spectrum by the double-precision kernel, whose bits are the same at every level.
    bins = libsimd.aligned(2 * COUNT, "float64")
    bins[:] = numpy.fft.fft(windowed.astype("float64")).view("float64")
    power = libsimd.aligned(COUNT, "float64")
    simd.fft_abs_f64(bins, COUNT, power)
    row, decibels = libsimd.aligned(COUNT, "float32"), libsimd.aligned(COUNT, "float32")
    row[:] = power
    simd.spec_log_f32(row, COUNT, decibels, 10 * numpy.log10((COUNT / 4) ** 2))
    strongest = int(numpy.argmax(decibels))
    print(f"strongest bin {abs(strongest - COUNT // 2)} at {abs(decibels[strongest]):.1f} dB")

    # The visible part of the row as pixels, and back.
    decibels[decibels < -120] = -120
    pixels = numpy.zeros(COUNT, "uint8")
    step, lowest = simd.pack_f32_u8(decibels, COUNT, pixels)
    restored = numpy.empty(COUNT, "float32")
    simd.unpack_u8_f32(pixels, COUNT, restored, step, lowest)
    within = numpy.abs(restored - decibels).max() <= step * 1.001
    print(f"pixels from {lowest:.1f} dB in steps of {step:.3f} dB")
    print("restored within a step" if within else "restored with more than a step of error")


if __name__ == "__main__":
    main()
