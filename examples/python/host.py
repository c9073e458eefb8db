#!/usr/bin/env python3
"""A host in Python: a row of a spectrum, windowed, in decibels, as bytes."""
import numpy

import libsimd

COUNT = 1024


def main():
    # A tone in bin 100, windowed by a product: a kernel itself, whose destination comes first.
    tone = numpy.cos(2 * numpy.pi * 100 * numpy.arange(COUNT) / COUNT).astype("float32")
    window = numpy.hanning(COUNT + 1)[:COUNT].astype("float32")
    windowed = libsimd.empty(COUNT, "float32")
    libsimd.kernels.mult_f32(windowed, tone, window)

    power = libsimd.power_spectrum(numpy.fft.fft(windowed))
    row = libsimd.decibels(power, 20 * numpy.log10(COUNT / 4))
    strongest = int(numpy.argmax(row))
    print(f"strongest bin {abs(strongest - COUNT // 2)} at {abs(row[strongest]):.1f} dB")

    # The visible part of the row as pixels, and back.
    visible = numpy.maximum(row, -120)
    pixels, step, lowest = libsimd.quantize(visible, 8)
    restored = libsimd.restore(pixels, step, lowest, "float64")
    print(f"pixels from {lowest:.1f} dB in steps of {step:.3f} dB")
    within = numpy.abs(restored - visible).max() <= step * 0.501
    print("restored within half a step" if within else "restored with more than half a step of error")


if __name__ == "__main__":
    main()
