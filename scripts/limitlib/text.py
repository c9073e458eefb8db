"""bench/bounds.txt and the tables of docs/limits.md, written and read back."""
import re

from . import facts, machine

FAMILIES = {
    "fill": "Fill", "copy": "Copy", "swap": "Word swap", "pack": "Quantising",
    "unpack": "Restoring", "extremes": "Extremes", "means": "Means and levels",
    "elementwise": "Elementwise", "spectrum": "Spectrum", "filter": "Filters",
}
BEGIN, END = "<!-- tables: scripts/limits writes from here -->", "<!-- to here -->"
TITLES = [model.title for model in machine.MODELS]
HEAD = "| variant | elements | loads | stores |" + "".join(
    f" {title} | by | {title}, unaligned | by |" for title in TITLES)
BESIDE = "| variant |" + "".join(f" {title}: uops | floor | call | fold | single |"
                                 for title in TITLES)


def number(value, digits=4):
    return "-" if value is None else f"{value:.{digits}g}"


def count(value):
    return f"{value:.0f}" if value else "-"


def bounds_lines(rows):
    """A line for each core, then: kernel level place cycles resource, for each variant and place."""
    for model in machine.MEASURED:
        yield f"processor {model.ids} {model.title}\n"
        for (kernel, level), row in rows.items():
            for place in ("aligned", "unaligned"):
                bound = row[model.title][place]
                yield f"{kernel} {level} {place} {number(bound.cycles)} {bound.resource}\n"


def read_bounds(bounds):
    """{(core's title, kernel, level, place): (cycles, resource)}; what is there twice, first."""
    listed, title = {}, None
    for line in bounds.splitlines():
        words = line.split(" ", 4)
        if words[0] == "processor":
            title = words[4]
        else:
            listed.setdefault((title, *words[:3]), (words[3], words[4]))
    return listed


def bound_row(kernel, level, row):
    first = row[TITLES[0]]["aligned"]
    cells = [f"{kernel} {level}", count(first.elements),
             *([f"{first.loads}", f"{first.stores}"] if first.uops else ["-"] * 2)]
    for title in TITLES:
        for place in ("aligned", "unaligned"):
            cells += [number(row[title][place].cycles), row[title][place].resource]
    return "| " + " | ".join(cells) + " |"


def beside_row(kernel, level, row):
    cells = [f"{kernel} {level}"]
    for title in TITLES:
        uops, beside = row[title]["aligned"].uops, row[title]["beside"]
        cells += [f"{uops}" if uops else "-", number(row[title]["floor"])]
        cells += [f"{beside.uops}", f"{beside.fold:.0f}" if beside.fold else "-",
                  number(beside.single, 3) if beside.single else "-"] if beside else ["-"] * 3
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


def rule(head):
    return "| --- " * (head.count("|") - 1) + "|"


def tables(rows):
    lines = []
    for family, title in FAMILIES.items():
        chosen = [key for key in rows if facts.KERNELS[key[0]].family == family]
        lines += [f"### {title}", "", HEAD, rule(HEAD)]
        lines += [bound_row(*key, rows[key]) for key in chosen] + [""]
    lines += ["### Around the blocks", "", BESIDE, rule(BESIDE)]
    lines += [beside_row(*key, rows[key]) for key in rows] + [""]
    return "\n".join([*lines, *traffic_table()]) + "\n"


def with_tables(document, rows):
    before, _, rest = document.partition(BEGIN)
    _, found, after = rest.partition(END)
    if not found:
        raise SystemExit("limits: docs/limits.md has no place for the tables")
    return f"{before}{BEGIN}\n\n{tables(rows)}\n{END}{after}"


def shown_bounds(document):
    """The same as read_bounds from the tables, and the variants that stand there twice."""
    shown, twice = {}, []
    columns = [cell.strip() for cell in HEAD.strip("|").split("|")]
    reading = False
    for line in document.splitlines():
        reading = line == HEAD or reading and line.startswith("|")
        cells = [cell.strip() for cell in line.strip("|").split("|")]
        if not reading or len(cells) != len(columns) \
                or not re.fullmatch(r"\w+ (base|sse\w*|ssse3|avx2?)", cells[0]):
            continue
        kernel, level = cells[0].split()
        for model in machine.MEASURED:
            for place, heading in (("aligned", model.title),
                                   ("unaligned", f"{model.title}, unaligned")):
                key, at = (model.title, kernel, level, place), columns.index(heading)
                if key in shown:
                    twice.append(" ".join(key))
                shown[key] = (cells[at], cells[at + 1])
    return shown, twice


def disagreements(document, bounds, variants):
    """What is wrong with the tables and the list, against each other and against the variants."""
    listed = read_bounds(bounds)
    lines = [line for line in bounds.splitlines() if not line.startswith("processor ")]
    if len(lines) != len(listed):
        yield f"bounds.txt: {len(lines) - len(listed)} rows twice"
    for key, (cycles, _) in listed.items():
        if cycles != "-" and not float(cycles) > 0.0:
            yield f"bounds.txt: {' '.join(map(str, key))}: {cycles}"
    headings = [f"processor {model.ids} {model.title}" for model in machine.MEASURED]
    if [line for line in bounds.splitlines() if line.startswith("processor ")] != headings:
        yield "bounds.txt: other processors than limitlib/machine.py has"
    shown, twice = shown_bounds(document)
    yield from (f"limits.md: {key} twice" for key in twice)
    wanted = {(model.title, *variant, place) for model in machine.MEASURED for variant in variants
              for place in ("aligned", "unaligned")}
    for name, table in (("bounds.txt", listed), ("limits.md", shown)):
        missing, more = wanted - set(table), set(table) - wanted
        yield from (f"{name}: no row for {' '.join(map(str, key))}" for key in missing)
        yield from (f"{name}: {' '.join(map(str, key))} is no variant" for key in more)
    for key in sorted(wanted & set(listed) & set(shown)):
        if listed[key] != shown[key]:
            yield f"{' '.join(key)}: {listed[key]} in bounds.txt, {shown[key]} in limits.md"
