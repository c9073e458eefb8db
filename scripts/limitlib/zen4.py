"""Zen 4, where measurements differ from llvm-mca 19: which pipes take an operation (each was run
against four others whose pipes are known), its latency, and its share of dispatch."""
import re
import types

# Cycles that the divider is taken for, at either width.
DIVIDER = types.MappingProxyType({"vdivps": 3, "divps": 3, "divss": 3, "vdivss": 3})

ANY, ADD, MUL = ("fp0", "fp1", "fp2", "fp3"), ("fp2", "fp3"), ("fp0", "fp1")
SHUFFLE, WIDE = ("fp1", "fp2", "fp3"), ("fp1", "fp2")

# By mnemonic without its v: the pipes, a cycle on one of each group. The first that fits holds.
PIPES = [(re.compile(pattern + "$"), pipes) for pattern, pipes in (
    (r"p?(and|andn|or|xor)(p[sd])?|padd\w+|psub\w+|pcmp\w+|p(max|min)\w+", [ANY]),
    (r"(add|sub|min|max|cmp\w*)[ps][sd]|cvt(dq2p[sd]|t?p[sd]2dq)|ps[rl][la]\w", [ADD]),
    (r"mul[ps][sd]|p?blend\w+|pabs\w", [MUL]),
    (r"shufp[sd]|p?unpck\w+|pshuf(d|hw|lw)", [SHUFFLE]),
    (r"pack\w+|pmov[sz]x\w+|pshufb|perm[dq]|(insert|extract)f128", [WIDE]),
    (r"u?comis[sd]", [("to integer",)]),
    (r"cvtt?s[sd]2si[lq]?", [("to integer",), ADD]),
)]
LATENCY = [(re.compile(pattern + "$"), cycles) for pattern, cycles in (
    (r"pack\w+|pmov[sz]x\w+|pshufb", 2), (r"perm[dq]", 4), (r"extractf128", 3), (r"insertf128", 1),
    (r"cvtt?ps2dq", 3))]


def plain(x):
    return x.mnemonic.removeprefix("v")


def first(table, name):
    return next((value for pattern, value in table if pattern.match(name)), None)


def crosses(x):
    """A conversion that also changes the width of its vector."""
    return plain(x).startswith("cvt") and len({o[:2] for o in x.operands if "mm" in o}) == 2


def ports(x):
    """[(pipes, cycles)], or None where llvm-mca's are taken."""
    if not any("mm" in o for o in x.operands):
        return None
    if re.match(r"(mov|broadcastf128|lddqu)", plain(x)) and any("(" in o for o in x.operands):
        return []
    pipes = first(PIPES, plain(x))
    if pipes is None:
        return None
    return [(group, 1.0) for group in pipes + ([WIDE] if crosses(x) else [])]


def latency(x):
    if crosses(x):
        return 4 if plain(x) == "cvtdq2pd" else 6
    return first(LATENCY, plain(x))


def uops(x):
    return 1 if re.match(r"vperm[dq]$", x.mnemonic) else None
