#!/usr/bin/python3
"""Draws a report of simd-bench: plot.py REPORT.json PICTURE.png [--kind KIND] [--size N].

Kinds: bars (who takes how many times our time, kernel by kernel), chain (the same of the chains),
taps and lengths (samples per second of a streaming filter against them), threads (speed-up).
"""
import argparse
import json
import sys

import matplotlib

matplotlib.use("Agg")
from matplotlib import pyplot  # noqa: E402 (the backend is chosen first)

COLOURS = {"baseline": "#9e9e9e", "g++": "#1f77b4", "clang++": "#ff7f0e",
           "g++ fast-math": "#9bc4e2", "clang++ fast-math": "#ffc796", "VOLK": "#2ca02c",
           "liquid-dsp": "#8c564b",
           "Highway": "#d62728", "xsimd": "#9467bd", "Eigen": "#e377c2", "glibc": "#17becf",
           "libsimd": "#000000"}
ORDER = list(COLOURS)
LEVELS = ["base", "sse", "sse2", "sse3", "ssse3", "sse41", "avx", "avx2"]


def times(row):
    return {r["name"]: r["times_ours"]["median"] for r in row["rivals"]}


def quartiles(row):
    return {r["name"]: (r["times_ours"]["low"], r["times_ours"]["high"]) for r in row["rivals"]}


def highest(rows):
    """Of each name the row of its highest level, in the order of the report."""
    best = {}
    for row in rows:
        old = best.get(row["name"])
        if old is None or LEVELS.index(row["level"]) > LEVELS.index(old["level"]):
            best[row["name"]] = row
    return list(best.values())


def timed(report, group):
    return [r for r in report["rows"] if r["group"] == group and not r["wrong"]]


def bars(rows, title, picture):
    """Horizontal bars, a block per row, 1.0 being our time; columns where there are many."""
    names = [n for n in ORDER if any(n in times(r) for r in rows)]
    columns = min(4, 1 + len(rows) // 14)
    share = -(-len(rows) // columns)
    parts = [rows[i:i + share] for i in range(0, len(rows), share)]
    bars_of = [sum(1 + len(times(r)) for r in part) for part in parts]
    figure, all_axes = pyplot.subplots(1, len(parts), squeeze=False, sharex=True,
                                       figsize=(2 + 4.5 * len(parts), 1.2 + 0.11 * max(bars_of)))
    for axes, part in zip(all_axes[0], parts):
        column(axes, part, names)
        axes.set_ylim(max(bars_of), -1)
    figure.suptitle(f"{title} (right of 1 we are faster)")
    known = [matplotlib.patches.Patch(color=COLOURS[n], label=n) for n in names]
    figure.legend(handles=known, fontsize=8, ncols=len(names), loc="lower center")
    figure.tight_layout(rect=(0, 0.03, 1, 0.99))
    save(figure, picture)


def column(axes, rows, names):
    y, ticks = 0.0, []
    for row in rows:
        ratios, spread = times(row), quartiles(row)
        first = y
        for name in (n for n in names if n in ratios):
            low, high = spread[name]
            axes.barh(y, ratios[name], 0.9, color=COLOURS[name],
                      xerr=[[ratios[name] - low], [high - ratios[name]]],
                      error_kw={"linewidth": 0.6})
            y += 1
        ticks.append(((first + y - 1) / 2, f'{row["name"]}\n{row["level"]}'))
        y += 1
    axes.set_yticks([t[0] for t in ticks], [t[1] for t in ticks], fontsize=7)
    axes.set_xscale("log", base=2)
    axes.xaxis.set_major_formatter(matplotlib.ticker.FormatStrFormatter("%g"))
    axes.axvline(1, color="black", linewidth=1)
    axes.grid(axis="x", linewidth=0.3)


def lines(panels, x, label, picture):
    """Samples per second against x, a panel per chain."""
    figure, all_axes = pyplot.subplots(1, len(panels), squeeze=False,
                                       figsize=(5 * len(panels), 4.2))
    for axes, (title, rows) in zip(all_axes[0], panels):
        rows = sorted(rows, key=lambda r: r[x])
        series = {"libsimd": [(r[x], 1e3 / r["ns_per_element"]) for r in rows]}
        for row in rows:
            for rival in row["rivals"]:
                series.setdefault(rival["name"], []).append((row[x], 1e3 / rival["ns_per_element"]))
        for name in sorted(series, key=lambda n: ORDER.index(n) if n in ORDER else 99):
            axes.plot(*zip(*series[name]), color=COLOURS.get(name), marker=".", label=name,
                      linewidth=2 if name == "libsimd" else 1)
        axes.set_xscale("log", base=2)
        axes.set_yscale("log")
        axes.set_xlabel(label)
        axes.set_ylabel("million samples a second")
        axes.set_title(title, fontsize=9)
        axes.grid(linewidth=0.3)
        axes.legend(fontsize=6)
    save(figure, picture)


def save(figure, picture):
    figure.savefig(picture, dpi=110, bbox_inches="tight", metadata={"Software": "simd-bench"})
    pyplot.close(figure)


def chain_panels(rows, varies, fixed):
    """The chains' highest levels, those rows where `varies` changes and `fixed` does not."""
    panels = []
    for name in dict.fromkeys(r["name"] for r in rows):
        own = [r for r in rows if r["name"] == name]
        level = max((r["level"] for r in own), key=LEVELS.index)
        own = [r for r in own if r["level"] == level and r[varies]]
        groups = {}
        for row in own:
            groups.setdefault(row[fixed], []).append(row)
        if groups:
            most = max(groups.values(), key=len)
            if len(most) > 1:
                unit = "taps" if fixed == "taps" else "samples a call"
                where = f", {most[0][fixed]} {unit}" if most[0][fixed] else ""
                panels.append((f"{name} {level}{where}", most))
    return panels


def draw(report, kind, picture, size):
    if kind in ("taps", "lengths"):
        x, other, label = (("taps", "size", "taps") if kind == "taps"
                           else ("size", "taps", "samples of a call"))
        panels = chain_panels(timed(report, "chain"), x, other)
        if panels:
            lines(panels, x, label, picture)
        return bool(panels)
    group = {"bars": "kernels", "chain": "chain", "threads": "threads"}[kind]
    rows = [r for r in timed(report, group) if r["place"] == "aligned" and r["lengths"] == "fixed"]
    sizes = sorted({r["size"] for r in rows})
    if not sizes:
        return False
    chosen = size or (16384 if 16384 in sizes else sizes[-1])
    rows = [r for r in rows if r["size"] == chosen]
    if kind == "chain":
        rows = [r for r in rows if r["taps"] in (None, 32, 33)]
    rows = highest(rows)
    if rows:
        bars(rows, f"{chosen} elements a call, aligned: others' time over ours", picture)
    return bool(rows)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("report")
    parser.add_argument("picture")
    parser.add_argument("--kind", choices=["bars", "chain", "taps", "lengths", "threads"],
                        help="bars, or chain where there are no kernels")
    parser.add_argument("--size", type=int, help="elements of a call (16384)")
    options = parser.parse_args()
    with open(options.report, encoding="ascii") as file:
        report = json.load(file)
    kinds = [options.kind] if options.kind else ["bars", "chain", "threads"]
    if not any(draw(report, kind, options.picture, options.size) for kind in kinds):
        sys.exit("plot: the report has no rows for this picture")


if __name__ == "__main__":
    main()
