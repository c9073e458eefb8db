"""bench/bounds.txt and the tables of docs/limits.md, written and read back."""
import re

from . import facts

FAMILIES = {
    "fill": "Fill", "copy": "Copy", "swap": "Word swap", "pack": "Quantising",
    "unpack": "Restoring", "extremes": "Extremes", "means": "Means and levels",
    "elementwise": "Elementwise", "spectrum": "Spectrum", "filter": "Filters",
}
BEGIN, END = "<!-- tables: scripts/limits writes from here -->", "<!-- to here -->"
HEAD = ("| variant | elements | loads | stores | uops | aligned | by | floor | unaligned | by "
        "| 4-cycle adds | by | call | fold | single |")


def number(value, digits=4):
    return "-" if value is None else f"{value:.{digits}g}"


def count(value):
    return f"{value:.0f}" if value else "-"


def bounds_lines(rows):
    """kernel level place cycles resource, a line for each variant and place."""
    for (kernel, level), row in rows.items():
        for place in ("aligned", "unaligned"):
            bound = row[place]
            yield f"{kernel} {level} {place} {number(bound.cycles)} {bound.resource}\n"


def row_line(kernel, level, row):
    here, off, there, beside = row["aligned"], row["unaligned"], row["adds"], row["beside"]
    shape = [count(here.elements), *([f"{here.loads}", f"{here.stores}", f"{here.uops}"]
                                     if here.uops else ["-"] * 3)]
    rest = ["-"] * 3
    if beside:
        rest = [f"{beside.uops}", f"{beside.fold:.0f}" if beside.fold else "-",
                number(beside.single, 3) if beside.single else "-"]
    cells = [f"{kernel} {level}", *shape, number(here.cycles), here.resource,
             number(row["floor"]), number(off.cycles), off.resource, number(there.cycles),
             there.resource, *rest]
    return "| " + " | ".join(cells) + " |"


def traffic_table():
    yield "### Bytes per element beyond the caches"
    yield ""
    yield "| kernel | read | written | moved |"
    yield "| --- | --- | --- | --- |"
    for kernel, known in facts.KERNELS.items():
        read, written, moved = facts.traffic(kernel, "base")
        yield f"| {kernel} | {read} | {written} | {moved} |"
        if any(name == kernel for name, _ in facts.STREAMING):
            read, written, moved = facts.traffic(kernel, "sse2")
            yield f"| {kernel} at SSE2 and AVX2 | {read} | {written} | {moved} |"


def tables(rows):
    lines = []
    for family, title in FAMILIES.items():
        chosen = [key for key in rows if facts.KERNELS[key[0]].family == family]
        lines += [f"### {title}", "", HEAD, "| --- " * (HEAD.count("|") - 1) + "|"]
        lines += [row_line(*key, rows[key]) for key in chosen] + [""]
    return "\n".join([*lines, *traffic_table()]) + "\n"


def with_tables(document, rows):
    before, _, rest = document.partition(BEGIN)
    _, found, after = rest.partition(END)
    if not found:
        raise SystemExit("limits: docs/limits.md has no place for the tables")
    return f"{before}{BEGIN}\n\n{tables(rows)}\n{END}{after}"


def disagreements(document, bounds, variants):
    """What is wrong with the tables and the list, against each other and against the variants."""
    listed = {}
    for line in bounds.splitlines():
        kernel, level, place, cycles, resource = line.split(" ")
        if (kernel, level, place) in listed:
            yield f"bounds.txt: {kernel} {level} {place} twice"
        if cycles != "-" and not float(cycles) > 0.0:
            yield f"bounds.txt: {kernel} {level} {place}: {cycles}"
        listed[kernel, level, place] = (cycles, resource)
    columns = [cell.strip() for cell in HEAD.strip("|").split("|")]
    shown = {}
    for line in document.splitlines():
        cells = [cell.strip() for cell in line.strip("|").split("|")]
        if len(cells) == len(columns) and re.fullmatch(r"\w+ (base|sse\w*|ssse3|avx2?)", cells[0]):
            kernel, level = cells[0].split()
            if (kernel, level, "aligned") in shown:
                yield f"limits.md: {kernel} {level} twice"
            at = columns.index
            for place in ("aligned", "unaligned"):
                shown[kernel, level, place] = (cells[at(place)], cells[at(place) + 1])
    wanted = {(*variant, place) for variant in variants for place in ("aligned", "unaligned")}
    for name, table in (("bounds.txt", listed), ("limits.md", shown)):
        yield from (f"{name}: no row for {' '.join(key)}" for key in sorted(wanted - set(table)))
        yield from (f"{name}: {' '.join(key)} is no variant" for key in sorted(set(table) - wanted))
    for key in sorted(set(listed) & set(shown)):
        if listed[key] != shown[key]:
            yield f"{' '.join(key)}: {listed[key]} in bounds.txt, {shown[key]} in limits.md"
