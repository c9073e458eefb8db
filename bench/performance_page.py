"""The page docs/performance.md from one report of simd-bench; scripts/performance calls it."""
import pathlib
import subprocess

LEVELS = ["base", "sse", "sse2", "sse3", "ssse3", "sse41", "avx", "avx2"]
PLAIN = ["g++", "clang++", "g++ fast-math", "clang++ fast-math"]
LIBRARIES = ["VOLK", "liquid-dsp", "Highway", "xsimd", "Eigen", "glibc"]
PACKAGES = ["g++", "clang", "libbenchmark-dev", "libvolk2-dev", "libliquid-dev", "libhwy-dev",
            "libxsimd-dev", "libeigen3-dev", "libc6"]
BOUND, CROSSED, SHORT, MEMORY = 1.10, 1.25, 1.30, 1.05  # above these a variant falls short
WIN = 0.98  # below it somebody else wins
PICTURES = [("bars", "kernels.png", "Highest variants beside others, 16384 elements, aligned"),
            ("chain", "chain.png", "Chains beside others"),
            ("taps", "taps.png", "Samples per second against taps"),
            ("lengths", "lengths.png", "Samples per second against the length of a call"),
            ("threads", "threads.png", "One thread's time over several threads'")]
CHAINS = """Blocks of samples as hosts take them:

- `fir_c16_alt`, `fir_c32_alt`, `fir_c64_alt`: a stream through a filter of real taps, its history kept.
- `vfilter_f32`, `vfilter_f64`: an array smoothed.
- `quantise`: packed by the block's own range, and restored.
- `whole chain`: filtered, quantised, restored, to powers, smoothed, to decibels.
- `simd-waterfall`: that program's own chain (its default settings) from 16-bit samples in memory to the
  codes of its picture: unpacking, levels, window, FFTW, power, mean, peak and rows, floor, lines,
  decibels, codes; reading files and drawing left out. Beside it the same program with its kernels
  replaced by plain loops. VOLK's is another program: those steps that make spectra and rows, in
  single precision, without levels, floor and lines, its arrays and plan made once.
"""

HEAD = """# How fast, and beside whom

Passes of `simd-bench` on one machine, one after the other, written down by `scripts/performance`;
nothing here is edited by hand. Ratios are "times our time": above 1 we are faster. Each is the median
of the rounds' ratios, all contestants of a row running in turns in one process. The processor is shared
with strangers, who may be busy for seconds: each row is that of the quietest pass, in which all its
contestants together took least. Cycles come from a chain of dependent multiplications, each said to
last 3 cycles. The bounds hold for one kind of processor and for arrays in the first-level cache; how
they were found: [limits.md](limits.md).
"""

NOT_MEASURED = """## What was measured, and what was not

- Each result was checked before it was timed: against the plain loop, or against the header where a
  variant is meant to differ. Sums were checked on up to 4 Ki elements, all else on up to 256 Ki.
- Plain loops: the same source by both compilers at -O3 for the variant's own instruction set, with
  contraction off, and again with -ffast-math, which gives up the promised bits.
- Libraries stand beside the highest variant only: they choose their own instruction set. Those made
  of headers (Highway, xsimd, Eigen) were compiled for AVX2 without fused products. `simd-bench
  --peers` tells what each does differently. VOLK ran with its defaults, without its profile.
- Data: finite random values. Branchy baselines meet the same data again and again, so short blocks
  flatter their branch prediction.
- At 64 elements the end of a call overlaps the next: where the bound is a chain of results that wait
  for each other, such rows may lie below it.
- Not measured: other processors, energy, several processes at once, first calls (page faults, cold
  code), data with NaN or subnormal values.
"""


def quieter(reports):
    """One report of several passes: each row from that in which all its contestants together took least."""
    def taken(row):
        return row["ns_per_element"] + sum(rival["ns_per_element"] for rival in row["rivals"])

    best = {}
    for report in reports:
        for row in report["rows"]:
            old = best.get(row["key"])
            # A wrong result in any pass stays.
            if old is None or not old["wrong"] and (row["wrong"] or taken(row) < taken(old)):
                best[row["key"]] = row
    # Some passes leave the long arrays out.
    most = len(reports[0]["rows"])
    passes = [f'{report["rounds"]}{"" if len(report["rows"]) == most else " (short arrays)"}'
              for report in reports]
    return dict(reports[0], passes=passes, rows=list(best.values()))


def first_line(command):
    try:
        text = subprocess.run(command, capture_output=True, text=True, check=True).stdout
        return text.splitlines()[0]
    except (OSError, subprocess.CalledProcessError, IndexError):
        return None


def versions():
    lines = []
    for package in PACKAGES:
        version = first_line(["dpkg-query", "-W", "-f=${Version}", package])
        if version:
            lines.append(f"{package} {version}")
    return lines


def caches():
    text = subprocess.run(["lscpu"], capture_output=True, text=True, check=False,
                          env={"LC_ALL": "C", "PATH": "/usr/bin:/bin"}).stdout
    return ", ".join(" ".join(line.replace(" cache", "").split()) for line in text.splitlines()
                     if "cache:" in line)


def size_text(n):
    for shift, unit in ((20, "Mi"), (10, "Ki")):
        if n >= 1 << shift and n % (1 << shift) == 0:
            return f"{n >> shift} {unit}"
    return str(n)


def number(value, digits=2):
    return "-" if not value else f"{value:.{digits}f}"


def table(heading, rows, texts=(0,)):
    """texts: the columns that are no numbers."""
    lines = ["| " + " | ".join(heading) + " |",
             "|" + "|".join(" --- " if i in texts else " ---: " for i in range(len(heading))) + "|"]
    return "\n".join(lines + ["| " + " | ".join(row) + " |" for row in rows]) + "\n"


def rivals(row):
    return {r["name"]: r["times_ours"] for r in row["rivals"]}


def ratios(row, names):
    found = rivals(row)
    return [number(found[n]["median"]) if n in found else "" for n in names]


def to_bound(row):
    return row["cycles_per_element"]["median"] / row["bound"]["cycles_per_element"] \
        if row["bound"] else None


def highest(rows):
    best = {}
    for row in rows:
        old = best.get(row["name"])
        if old is None or LEVELS.index(row["level"]) > LEVELS.index(old["level"]):
            best[row["name"]] = row
    return list(best.values())


class Page:
    def __init__(self, report, reasons):
        self.report = report
        self.reasons = reasons
        self.rows = [r for r in report["rows"] if not r["wrong"]]
        self.kernels = [r for r in self.rows if r["group"] == "kernels"]
        self.by_key = {r["key"]: r for r in self.rows}

    def select(self, size, place="aligned", lengths="fixed"):
        return [r for r in self.kernels
                if (r["size"], r["place"], r["lengths"]) == (size, place, lengths)]

    def rounds(self):
        passes = self.report.get("passes", [self.report["rounds"]])
        return f'{len(passes)} pass{"es" * (len(passes) > 1)} of {", ".join(map(str, passes))} rounds'

    def machine(self):
        m = self.report["machine"]
        return "## The machine\n\n" + "".join(f"- {line}\n" for line in [
            f'{m["processor"]} ({m["cpuid"]}), {m["processors"]} processors; {caches()}',
            f'bounds: those of {m["bounds_of"]}' if m["bounds_of"] else
            'bounds: none are known for this processor',
            f'{m["kernel"]}; load {m["load"]:.2f} at the start; a cycle of '
            f'{m["nanoseconds_per_cycle"]:.4f} ns',
            f'built by {self.report["compiler"]}; {", ".join(versions())}',
            f'{self.report["started"]}; {self.rounds()} of '
            f'{1e3 * self.report["seconds_per_round"]:g} ms per contestant (a third of the rounds '
            'where one takes longer than half a second)'])

    def beside_others(self):
        names = ["baseline"] + PLAIN + LIBRARIES
        text = "## Highest variants beside others\n"
        for size in sorted({r["size"] for r in self.kernels}):
            rows = highest(self.select(size))
            shown = [n for n in names if any(n in rivals(r) for r in rows)]
            text += f"\n### {size_text(size)} elements, aligned\n\n"
            text += table(["kernel", "ns/element", "GB/s", "/bound", *shown],
                          [[f'`{r["name"]}` {r["level"]}', number(r["ns_per_element"], 4),
                            number(r["gigabytes_per_second"]), number(to_bound(r)),
                            *ratios(r, shown)] for r in rows])
        return text

    def variants(self):
        """Every variant: bound, and how near to it at each size and place."""
        sizes = sorted({r["size"] for r in self.kernels})
        text = ("## Every variant and its bound\n\nMeasured over bound by size, aligned (cycles "
                "per element, c, where no bound is known); then, at 16 Ki, all arrays one element "
                "off, and mutually misaligned, over the aligned time; and blocks of 64 with "
                "shuffled lengths over fixed ones.\n\n")
        rows, seen = [], set()
        for row in self.kernels:
            name, level = row["name"], row["level"]
            if (name, level) in seen:
                continue
            seen.add((name, level))
            at = lambda n, place="aligned", lengths="fixed": self.by_key.get(  # noqa: E731
                f'kernels/{name}/{level}/{size_text(n).replace(" ", "")}/{place}/{lengths}')
            middle = at(16384)

            def over(other, one):
                if not other or not one:
                    return ""
                return number(other["cycles_per_element"]["median"] /
                              one["cycles_per_element"]["median"])
            bound = row["bound"]
            rows.append([f"`{name}` {level}",
                         f'{bound["cycles_per_element"]:.4g}' if bound else "-",
                         bound["resource"] if bound else "",
                         *[self.near(at(n)) for n in sizes],
                         over(at(16384, "together"), middle), over(at(16384, "crossed"), middle),
                         over(at(64, lengths="shuffled"), at(64))])
        return text + table(["variant", "bound, c/element", "held by", *map(size_text, sizes),
                             "together", "crossed", "shuffled"], rows, (0, 2))

    @staticmethod
    def near(row):
        if not row:
            return ""
        return (number(to_bound(row)) if row["bound"] else
                number(row["cycles_per_element"]["median"], 3) + " c")

    def nearest(self, place):
        """The row of each variant at the size that comes nearest to its bound."""
        best = {}
        for row in self.kernels:
            if row["bound"] and (row["place"], row["lengths"]) == (place, "fixed"):
                old = best.get((row["name"], row["level"]))
                if old is None or to_bound(row) < to_bound(old):
                    best[row["name"], row["level"]] = row
        return list(best.values())

    def short_of_bound(self):
        """The variants that no size brings near their bound, and why."""
        text = (f"## Above {BOUND:.2f} of the bound\n\nAt the size that comes nearest to it, aligned: "
                "short calls are their beginnings and ends, long arrays are out of the cache.\n\n")
        if not any(r["bound"] for r in self.kernels):
            return text + "No bounds were known to this run.\n"
        nearest = self.nearest("aligned")
        rows = sorted((r for r in nearest if to_bound(r) > BOUND), key=to_bound, reverse=True)
        text += f"{len(nearest) - len(rows)} of {len(nearest)} variants are nearer.\n\n"
        return text + table(
            ["variant", "/bound", "elements", "bound held by", "why"],
            [[f'`{r["name"]}` {r["level"]}', number(to_bound(r)), size_text(r["size"]),
              r["bound"]["resource"], self.shortfall(r)] for r in rows], (0, 3, 4))

    def short_unaligned(self):
        nearest = self.nearest("crossed")
        rows = sorted((r for r in nearest if to_bound(r) > CROSSED), key=to_bound, reverse=True)
        if not nearest:
            return ""
        return (f"## Mutually misaligned: above {CROSSED:.2f} of the bound for such arrays\n\nThe bound "
                "is that of one array off its alignment; where more are, each adds its own lines. "
                f"{len(nearest) - len(rows)} of {len(nearest)} variants are nearer.\n\n") + table(
            ["variant", "/bound", "elements", "bound held by"],
            [[f'`{r["name"]}` {r["level"]}', number(to_bound(r)), size_text(r["size"]),
              r["bound"]["resource"]] for r in rows], (0, 3))

    def over_the_fastest(self, size, limit, why):
        """The variants whose time is above `limit` times that of the fastest of their row."""
        rows = [(r, min(r["rivals"], key=lambda rival: rival["ns_per_element"]))
                for r in self.select(size) if r["rivals"] and r["level"] != "base"]
        over = sorted(((r["ns_per_element"] / best["ns_per_element"], r, best) for r, best in rows
                       if r["ns_per_element"] > limit * best["ns_per_element"]), key=lambda o: -o[0])
        if not rows:
            return ""
        return (f"## {size_text(size)} elements: above {limit:.2f} of the fastest contestant\n\n{why} Baselines "
                f"are left out. {len(rows) - len(over)} of {len(rows)} variants are nearer.\n\n") + table(
            ["variant", "over the fastest", "who", "GB/s"],
            [[f'`{r["name"]}` {r["level"]}', number(ratio), best["name"], number(r["gigabytes_per_second"])]
             for ratio, r, best in over], (0, 2))

    def short_blocks(self):
        return self.over_the_fastest(64, SHORT, "Short blocks are their beginnings and ends. What is "
                                     "possible is shown by the fastest of a row's contestants, among them "
                                     "two compilers' unrolled loops, which may give up the bits.")

    def memory(self):
        size = max((r["size"] for r in self.kernels), default=0)
        return self.over_the_fastest(size, MEMORY, "The memory is the limit there, and the fastest of a "
                                     "row's contestants comes nearest to it; of several alike, one is always "
                                     "the fastest. Slow kernels are bound by themselves.") \
            if size >= 1 << 22 else ""

    def shortfall(self, row):
        for name, who, why in self.reasons:
            if name == row["name"] and who in ("bound", f'{row["level"]}-bound'):
                return why
        return "no reason is known: a shortfall"

    def chains(self):
        rows = [r for r in self.rows if r["group"] == "chain"]
        if not rows:
            return ""
        names = ["baseline"] + PLAIN + LIBRARIES
        shown = [n for n in names if any(n in rivals(r) for r in rows)]
        return f"## Chains\n\n{CHAINS}\nMillion samples a second, and times our time.\n\n" + table(
            ["chain", "samples a call", "taps", "MS/s", *shown],
            [[f'{r["name"]} {r["level"]}', size_text(r["size"]), str(r["taps"] or ""),
              number(1e3 / r["ns_per_element"], 1), *ratios(r, shown)] for r in rows])

    def threads(self):
        rows = [r for r in self.rows if r["group"] == "threads"]
        if not rows:
            return ""
        sizes = sorted({r["size"] for r in rows})
        names = list(dict.fromkeys((r["name"], r["level"]) for r in rows))
        lookup = {(r["name"], r["size"]): r for r in rows}
        return ("## Two threads on separate blocks\n\nOne thread's time over two threads', by "
                "elements of a block: 2 is twice the work.\n\n") + table(
            ["kernel", *[size_text(n) for n in sizes]],
            [[f"`{name}` {level}", *[number(lookup[name, n]["rivals"][0]["times_ours"]["median"])
                                     if (name, n) in lookup else "" for n in sizes]]
             for name, level in names])

    def reason(self, kernel, rival):
        kernel = kernel.replace(" ", "-")
        for name, who, why in self.reasons:
            if name == kernel and (who in ("*", rival.replace(" ", "-")) or
                                   (who == "plain" and rival in PLAIN)):
                return why
        return "no reason is known: a shortfall"

    def wins(self):
        """A line per variant: who is faster beyond the spread, how often, and in the worst row."""
        found = {}
        for row in self.rows:
            for name, ratio in rivals(row).items():
                if row["group"] == "threads":
                    continue
                entry = found.setdefault((row["name"], row["level"]), {}).setdefault(name, [0, []])
                entry[0] += 1
                if ratio["median"] < WIN and ratio["high"] < 1:
                    entry[1].append((ratio["median"], row))
        lines, baselines = [], []
        for (kernel, level), who in found.items():
            won = {n: (total, rows) for n, (total, rows) in who.items() if rows}
            if not won:
                continue
            worst, row = min((pair for _, rows in won.values() for pair in rows),
                             key=lambda pair: pair[0])
            if level == "base" and kernel != "spec_log_f64":
                baselines.append(f"`{kernel}` {worst:.2f}")
                continue
            where = [size_text(row["size"]), row["place"], row["lengths"]]
            if row["taps"]:
                where.append(f'{row["taps"]} taps')
            lines.append([
                f"`{kernel}` {level}",
                "; ".join(f"{n} {min(r[0] for r in rows):.2f} ({len(rows)} of {total})"
                          for n, (total, rows) in won.items()),
                f'{worst:.2f} ({", ".join(where)})',
                "; ".join(dict.fromkeys(self.reason(kernel, n) for n in won))])
        text = (f"## Where somebody else is faster\n\nRows below {WIN} whose upper quartile is "
                "below 1: the worst of each rival, and in how many of its rows; then the worst of "
                "all.\n\n")
        text += table(["variant", "who", "worst", "why"], lines, (0, 1, 2, 3)) if lines else \
            "No variant above the baseline.\n"
        if baselines:
            text += ("\n### Baselines\n\nA baseline is the definition, one element at a time and in "
                     "order, for processors without vectors; plain loops for SSE2 are vectors. Those "
                     "that lose, with the worst row: " + ", ".join(baselines) + ".\n")
        return text

    def wrong(self):
        lines = [f'- {r["key"]}: {r["wrong"]}\n' for r in self.report["rows"] if r["wrong"]]
        lines += [f'- {r["key"]}: {text}\n' for r in self.report["rows"]
                  for text in r["wrong_rivals"]]
        return "## Wrong results\n\nNot timed.\n\n" + "".join(lines) if lines else ""

    def text(self, pictures):
        shown = "".join(f"![{title}](performance/{name})\n\n" for name, title in pictures)
        parts = [HEAD, self.machine(), NOT_MEASURED, self.wrong(), shown, self.beside_others(),
                 self.chains(), self.threads(), self.wins(), self.short_of_bound(),
                 self.short_unaligned(), self.short_blocks(), self.memory(), self.variants()]
        return "\n".join(p.rstrip("\n") + "\n" for p in parts if p)


def read_reasons(path):
    reasons = []
    for line in path.read_text(encoding="ascii").splitlines():
        if line and not line.startswith("#"):
            reasons.append(tuple(line.split(None, 2)))
    return reasons


def write(report, report_path, output, top):
    folder = output / "performance"
    folder.mkdir(exist_ok=True)
    pictures = []
    for kind, name, title in PICTURES:
        done = subprocess.run([top / "bench" / "plot.py", report_path, folder / name, "--kind",
                               kind], capture_output=True, text=True, check=False)
        if done.returncode == 0:
            pictures.append((name, title))
        else:
            (folder / name).unlink(missing_ok=True)
            print(f"{name}: {done.stderr.strip()}")
    page = Page(report, read_reasons(pathlib.Path(top, "bench", "reasons.txt")))
    (output / "performance.md").write_text(page.text(pictures), encoding="ascii")
