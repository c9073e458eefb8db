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
    """Horizontal bars from 1.0, our time, a block per row; columns where there are many."""
    names = [n for n in ORDER if any(n in times(r) for r in rows)]
    columns = min(4, 1 + len(rows) // 14)
    share = -(-len(rows) // columns)
    parts = [rows[i:i + share] for i in range(0, len(rows), share)]
    bars_of = [sum(1 + len(times(r)) for r in part) for part in parts]
    figure, all_axes = pyplot.subplots(1, len(parts), squeeze=False, sharex=True,
                                       figsize=(2 + 4.2 * len(parts), 1.8 + 0.12 * max(bars_of)))
    ratios = [min(max(t, 1 / 64), 64) for row in rows for t in times(row).values()]
    for axes, part in zip(all_axes[0], parts):
        column(axes, part, names)
        axes.set_ylim(max(bars_of), -1)
        axes.set_xlim(min([*ratios, 1]) / 1.2, max([*ratios, 1]) * 1.2)
    figure.suptitle(f"{title}\nright of 1: we are faster; thin lines: quartiles", fontsize=11)
    known = [matplotlib.patches.Patch(color=COLOURS[n], label=n) for n in names]
    legend(figure, known)
    save(figure, picture)


def legend(figure, known):
    figure.legend(handles=known, fontsize=9, ncols=min(6, len(known)), loc="lower center")
    height = figure.get_size_inches()[1]
    rows = -(-len(known) // 6)
    figure.tight_layout(rect=(0, (0.15 + 0.25 * rows) / height, 1, 1 - 0.15 / height))


def column(axes, rows, names):
    y, ticks = 0.0, []
    for row in rows:
        ratios, spread = times(row), quartiles(row)
        first = y
        for name in (n for n in names if n in ratios):
            axes.barh(y, ratios[name] - 1, 0.9, left=1, color=COLOURS[name])
            axes.plot(spread[name], (y, y), color="black", linewidth=0.6)
            y += 1
        ticks.append(((first + y - 1) / 2, f'{row["name"]}\n{row["level"]}'))
        y += 1
    axes.set_yticks([t[0] for t in ticks], [t[1] for t in ticks], fontsize=8)
    axes.set_xscale("log", base=2)
    axes.xaxis.set_major_formatter(matplotlib.ticker.FormatStrFormatter("%g"))
    axes.set_xlabel("times our time")
    axes.axvline(1, color="black", linewidth=1)
    axes.grid(axis="x", linewidth=0.3)


def size_text(n):
    for shift, unit in ((20, "Mi"), (10, "Ki")):
        if n >= 1 << shift and n % (1 << shift) == 0:
            return f"{n >> shift} {unit}"
    return str(n)


def dots(rows, picture):
    """A line per kernel, a dot for each length of its blocks."""
    names = list(dict.fromkeys(r["name"] for r in rows))
    sizes = sorted({r["size"] for r in rows})
    figure, axes = pyplot.subplots(figsize=(8, 1.6 + 0.19 * len(names)))
    known = []
    for i, size in enumerate(sizes):
        colour = matplotlib.colormaps["viridis"](i / max(1, len(sizes) - 1))
        own = [r for r in rows if r["size"] == size]
        axes.plot([next(iter(times(r).values())) for r in own],
                  [names.index(r["name"]) for r in own], "o", color=colour, markersize=5)
        known.append(matplotlib.lines.Line2D([], [], marker="o", linestyle="", color=colour,
                                             label=f"{size_text(size)} elements"))
    axes.set_yticks(range(len(names)), names, fontsize=8)
    axes.set_ylim(len(names), -1)
    axes.set_xlim(left=0)
    axes.axvline(1, color="black", linewidth=1)
    axes.grid(linewidth=0.3)
    axes.set_xlabel("one thread's time for the work of all, over theirs")
    figure.suptitle("Several threads on separate blocks, highest variants", fontsize=11)
    legend(figure, known)
    save(figure, picture)


def lines(panels, x, label, picture):
    """Samples per second against x, a panel per chain."""
    columns = min(4, len(panels))
    figure, all_axes = pyplot.subplots(-(-len(panels) // columns), columns, squeeze=False,
                                       figsize=(4 * columns, 0.8 + 3 * -(-len(panels) // columns)))
    names = []
    for axes, (title, rows) in zip(all_axes.flat, panels):
        rows = sorted(rows, key=lambda r: r[x])
        series = {"libsimd": [(r[x], 1e3 / r["ns_per_element"]) for r in rows]}
        for row in rows:
            for rival in row["rivals"]:
                series.setdefault(rival["name"], []).append((row[x], 1e3 / rival["ns_per_element"]))
        for name in sorted(series, key=ORDER.index):
            axes.plot(*zip(*series[name]), color=COLOURS[name], marker=".",
                      linewidth=2 if name == "libsimd" else 1)
        names += [name for name in series if name not in names]
        axes.set_xscale("log", base=2)
        axes.set_yscale("log")
        axes.set_xticks([r[x] for r in rows], [size_text(r[x]) for r in rows], fontsize=7)
        axes.minorticks_off()
        low, high = axes.get_ylim()
        steps = [m * 10 ** e for e in range(-2, 5) for m in (1, 2, 3, 5, 7)]
        axes.set_yticks([v for v in steps if low <= v <= high],
                        [f"{v:g}" for v in steps if low <= v <= high], fontsize=7)
        axes.set_xlabel(label, fontsize=8)
        axes.set_title(title, fontsize=9)
        axes.grid(linewidth=0.3)
    for row in all_axes:
        row[0].set_ylabel("million samples a second", fontsize=8)
    for axes in all_axes.flat[len(panels):]:
        axes.axis("off")
    legend(figure, [matplotlib.lines.Line2D([], [], color=COLOURS[n], label=n)
                    for n in sorted(names, key=ORDER.index)])
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
    rows = timed(report, {"bars": "kernels"}.get(kind, kind))
    if kind == "threads":
        if rows:
            dots(rows, picture)
        return bool(rows)
    rows = [r for r in rows if r["place"] == "aligned" and r["lengths"] == "fixed"]
    sizes = sorted({r["size"] for r in rows})
    if not sizes:
        return False
    chosen = size or (16384 if 16384 in sizes else sizes[-1])
    title = f"{size_text(chosen)} elements a call, aligned"
    if kind == "chain":
        rows = [r for r in rows if r["taps"] in (None, 32, 33)]
        title = f"Chains, blocks of {size_text(chosen)} samples (or the next longer one)"
    rows = highest([r for r in rows if r["size"] == of_size(rows, r["name"], chosen)])
    if rows:
        bars(rows, title, picture)
    return bool(rows)


def of_size(rows, name, chosen):
    """That size, or the next larger one that the name has; else its largest."""
    sizes = sorted({r["size"] for r in rows if r["name"] == name})
    return next((n for n in sizes if n >= chosen), sizes[-1])


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
