#!/usr/bin/env python3
"""Runs the Embedded Python Block of spectrum.grc beside the same graph of GNU Radio's own blocks, on the
same samples: compare.py [SAMPLES]. Prints how far apart the rows are, and the throughput of both."""
import pathlib
import sys
import time

import numpy as np
import yaml
from gnuradio import blocks, fft, filter, gr  # noqa: A004

SIZE = 1024


def embedded_block():
    """The class in the flow graph's Embedded Python Block."""
    graph = yaml.safe_load(pathlib.Path(__file__).with_name("spectrum.grc").read_text("ascii"))
    source, = (b["parameters"]["_source_code"] for b in graph["blocks"] if b["id"] == "epy_block")
    names = {}
    exec(source, names)
    return names["blk"]


def run(samples, *chain):
    """The rows that the chain makes of the samples, and the seconds it takes."""
    graph = gr.top_block()
    sink = blocks.vector_sink_f(SIZE)
    graph.connect(blocks.vector_source_c(samples), *chain, sink)
    start = time.perf_counter()
    graph.run()
    return np.array(sink.data()).reshape(-1, SIZE), time.perf_counter() - start


def main():
    count = int(sys.argv[1]) if len(sys.argv) > 1 else 1 << 21
    random = np.random.default_rng(1)
    samples = (random.normal(size=count) + 1j * random.normal(size=count)).astype("complex64")
    block = embedded_block()(SIZE)
    ours, our_time = run(samples, block)
    taps = block.fir.taps.tolist()
    stock, stock_time = run(samples, filter.fir_filter_ccf(1, taps),
                            blocks.stream_to_vector(gr.sizeof_gr_complex, SIZE),
                            fft.fft_vcc(SIZE, True, block.window.tolist(), True),
                            blocks.complex_to_mag_squared(SIZE))
    apart = np.abs(ours - stock).max() / stock.max()
    print(f"{len(ours)} rows, {len(stock)} by stock blocks, at most {apart:.1e} of the peak apart")
    print(f"libsimd in an Embedded Python Block: {count / our_time / 1e6:.1f} million samples a second")
    print(f"stock blocks:                        {count / stock_time / 1e6:.1f} million samples a second")


if __name__ == "__main__":
    main()
