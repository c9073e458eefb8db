"""A kernel's page for man(1), in mdoc, from what docs/kernel-pages has read."""
import re


def sentences(text):
    """A paragraph as mdoc text lines, one sentence each; `code` in bold."""
    text = text.replace("\\", "\\e")
    text = re.sub(r"`([^`]*)`", lambda m: "\\fB" + m[1].replace("-", "\\-") + "\\fR", text)
    lines = re.split(r"(?<=[.:;]) (?=[A-Z\\])", text)
    return ["\\&" + line if line[0] in ".'" else line for line in lines]


def literal(text, *options):
    lines = [line.replace("\\", "\\e") for line in text.split("\n")]
    return [" ".join([".Bd -literal", *options]),
            *("\\&" + line if line[:1] in (".", "'") else line for line in lines), ".Ed"]


def blocks(text):
    """A docstring as (kind, text): paragraphs, items of lists, and literal lines as they stand."""
    found, indent = [], 0
    for line in text.split("\n"):
        item = re.match(r"(- |\d\. )(?=\S)", line)
        if not line:
            found.append(("end", ""))
        elif item:
            indent = len(item[1])
            found.append(("bullet" if line[0] == "-" else "number", line[indent:]))
        elif line.startswith(" " * (indent + 4)):
            line = line[indent + 4:]
            if found and found[-1][0] == "literal":
                line = found.pop()[1] + "\n" + line
            found.append(("literal", line))
        else:
            indent = indent if line.startswith(" " * indent) else 0
            kind, before = found.pop() if found else ("end", "")
            if kind in ("end", "literal"):
                found.append((kind, before))
                kind, before = "more" if indent or kind == "literal" else "paragraph", ""
            found.append((kind, (before + " " + line.strip()).strip()))
    return [block for block in found if block[0] != "end"]


def formatted(parts):
    """Blocks as mdoc; items that follow each other, with what belongs to them, make a list."""
    out, list_of = [], None
    for kind, text in parts:
        if list_of and kind in ("paragraph", "bullet", "number") and kind != list_of:
            out.append(".El")
            list_of = None
        if kind in ("bullet", "number"):
            if not list_of:
                out.append(".Bl -bullet" if kind == "bullet" else ".Bl -enum")
                list_of = kind
            out += [".It", *sentences(text)]
        elif kind == "literal":
            out += literal(text, "-offset", "indent")
        else:
            out += [".Pp"] if kind == "paragraph" and out else []
            out += sentences(text)
    return out + [".El"] * bool(list_of)


def prose(section):
    """Paragraphs and "- " items of docs/kernels as mdoc."""
    return formatted([("bullet", block[2:]) if block.startswith("- ") else ("paragraph", block)
                      for block in section])


def page(kernel, date, title, status, arguments, sections, contract, caption, code, related):
    """The whole page. arguments: (name, type, direction, meaning); sections: docs/kernels' own."""
    name, returns = kernel["name"], kernel["returns"]
    out = [f".Dd {date}", f".Dt {name.upper()} 3", ".Os", ".Sh NAME", f".Nm {name}", f".Nd {title}",
           ".Sh SYNOPSIS", ".In libsimd.h", f".Ft {returns['type']}", f".Fo {name}"]
    out += [f'.Fa "{c_type}{"" if c_type.endswith("*") else " "}{argument}"'
            for argument, c_type, _, _ in arguments]
    out += [".Fc", ".Sh DESCRIPTION", *(line for text in status for line in sentences(text)),
            ".Pp", "The arguments, in order:", ".Bl -tag -width Ds"]
    for argument, _, direction, meaning in arguments:
        out += [f".It Fa {argument} Pq {direction}", *sentences(meaning)]
    out.append(".El")
    for heading in ("Buffers", "A count of 0", "Results by level"):
        out += [f".Ss {heading}", *prose(sections[heading])]
    out += [".Ss The contract in the header", *formatted(blocks(contract))]
    if kernel["as"]:
        out += [".Pp", "The rest of these rules stands in", f".Xr {kernel['as']} 3 ."]
    if returns["text"]:
        out += [".Sh RETURN VALUES", *sentences(returns["text"].capitalize() + ".")]
    out += [".Sh EXAMPLES", *sentences(caption + ":"), *literal(code)]
    references = [f".Xr {other} 3 ," for other in related] + [".Xr libsimd 7"]
    out += [".Sh SEE ALSO", *references, ".Sh CAVEATS", *prose(sections["Irregularities"])]
    return "\n".join(out) + "\n"
