"""What one iteration of a loop reads, writes and counts."""
import collections
import re

from .code import canonical

Access = collections.namedtuple("Access", "place kind width stride aligned vector")

PURE_LOADS = ("mov", "vmov", "lddqu", "vlddqu", "vbroadcast", "movntdqa", "vmovntdqa")
ALIGNED = re.compile(r"v?mov(ap[sd]|dqa|ntp[sd]|ntdqa?|nti)$")
UNALIGNED = re.compile(r"v?(movup[sd]|movdqu|lddqu)$")
COMPARES = ("cmp", "test", "comis", "ucomis", "vcomis", "vucomis", "bt")
FUSED_FIRST = re.compile(r"(cmp|test|add|sub|inc|dec|and)[bwlq]?$")
NO_RESULT = COMPARES + ("j", "nop", "ret", "call", "push", "vzeroupper")
ADDRESS = re.compile(r"(?P<disp>-?(0x)?[0-9a-f]+)?"
                     r"\((?P<base>%\w+)?(,(?P<index>%\w+)(,(?P<scale>\d))?)?\)")


def memory_of(instruction):
    return next((o for o in instruction.operands if "(" in o), None)


def is_lea(instruction):
    return instruction.mnemonic.startswith("lea")


def stores(instruction):
    """Whether the memory operand is written."""
    o = instruction.operands
    return bool(o) and "(" in o[-1] and not instruction.mnemonic.startswith(NO_RESULT)


def loads(instruction):
    if is_lea(instruction) or memory_of(instruction) is None or "nop" in instruction.mnemonic:
        return False
    moves = re.match(r"v?(mov|pextr|extract)", instruction.mnemonic)
    return not (stores(instruction) and moves)


def is_vector(x):
    """Whether it works on vector registers."""
    return any(re.search(r"%[xy]mm", o) for o in x.operands)


def width_of(x):
    """Bytes that the memory operand covers."""
    m, operands = x.mnemonic, " ".join(x.operands)
    if found := re.match(r"v?pmov[sz]x(bw|wd|dq|bd|wq|bq)", m):
        narrowed = {"bw": 2, "wd": 2, "dq": 2, "bd": 4, "wq": 4, "bq": 8}
        return (32 if "%ymm" in operands else 16) // narrowed[found[1]]
    if re.search(r"[fi]128", m):
        return 16
    if re.match(r"v?(\w*ss|movd|pinsrd|pextrd)$", m):
        return 4
    eight = r"v?(mov(q|[lh]p[sd]|ddup)|\w+sd|cvtps2pd|cvtdq2pd)$"
    if re.match(eight, m) and "%ymm" not in operands:
        return 8
    if "mm" in operands:
        return 32 if "%ymm" in operands else 16
    if found := re.match(r"mov[sz]([bw])", m):
        return {"b": 1, "w": 2}[found[1]]
    register = next((o.lstrip("%") for o in x.operands if o.startswith("%")), None)
    if register is None:
        return {"b": 1, "w": 2, "l": 4}.get(m[-1], 8)
    if register.startswith("e") or re.fullmatch(r"r\d+d", register):
        return 4
    if re.fullmatch(r"[abcd]x|[sd]i|[sb]p|r\d+w", register):
        return 2
    return 8 if register.startswith("r") and not register.endswith("b") else 1


class Symbolic:
    """General registers as sums of symbols and a constant, to see by how much addresses move."""

    def __init__(self):
        self.values, self.fresh = {}, 0

    def unknown(self):
        self.fresh += 1
        return {f"?{self.fresh}": 1}

    def of(self, register):
        name = canonical(register)
        return self.values.setdefault(name, {name: 1})

    def address(self, operand):
        found = ADDRESS.search(operand)
        if not found:
            return {operand: 1}
        total = collections.Counter({"": int(found["disp"] or "0", 16)})
        for part, factor in ((found["base"], 1), (found["index"], int(found["scale"] or 1))):
            if part == "%rip":
                total[operand] += 1
            elif part:
                for symbol, count in self.of(part).items():
                    total[symbol] += factor * count
        return {s: c for s, c in total.items() if c}

    def step(self, instruction):
        m, o = instruction.mnemonic, instruction.operands
        if not o or m.startswith(NO_RESULT) or not o[-1].startswith("%"):
            return
        target = canonical(o[-1])
        if target.startswith("v"):
            return
        if is_lea(instruction):
            self.values[target] = self.address(o[0])
        elif re.fullmatch(r"mov[lq]?", m) and o[0].startswith("%") and not o[0].startswith("%xmm"):
            self.values[target] = dict(self.of(o[0]))
        elif re.fullmatch(r"(add|sub|inc|dec)[lq]?", m) and (len(o) == 1 or o[0][0] in "$%"):
            sign = -1 if m.startswith(("sub", "dec")) else 1
            change = {"": 1}
            if len(o) == 2:
                change = {"": int(o[0][1:], 16)} if o[0][0] == "$" else self.of(o[0])
                if change.get("", 0) > 1 << 63:
                    change = {"": change[""] - (1 << 64)}
            total = collections.Counter(self.of(o[-1]))
            for symbol, count in change.items():
                total[symbol] += sign * count
            self.values[target] = {s: c for s, c in total.items() if c}
        else:
            self.values[target] = self.unknown()


def difference(later, earlier):
    """later - earlier if that is a constant, else None."""
    total = collections.Counter(later)
    total.subtract(earlier)
    return total[""] if all(c == 0 for s, c in total.items() if s) else None


def accesses(trace):
    """Every access of the steady state, with the bytes it moves by per iteration; None where that
    is not constant."""
    state, rounds = Symbolic(), []
    for _ in range(4):
        seen = []
        for x in trace:
            operand = memory_of(x)
            if operand and (loads(x) or stores(x)):
                seen.append((x, state.address(operand)))
            state.step(x)
        rounds.append(seen)
    found = []
    for (x, later), (_, earlier) in zip(rounds[3], rounds[2]):
        stride = difference(later, earlier)
        place = tuple(sorted((s, c) for s, c in later.items() if s))
        aligned = None
        if ALIGNED.match(x.mnemonic):
            aligned = True
        elif UNALIGNED.match(x.mnemonic):
            aligned = False
        for kind in ("load",) * loads(x) + ("store",) * stores(x):
            found.append(Access(place, kind, width_of(x), stride, aligned, is_vector(x)))
    return found


def strides(found):
    return {abs(a.stride) for a in found if a.stride}


def elements(found, sizes):
    """Elements per iteration: the one number by which every stream advances; 0 if there is none."""
    moved = strides(found)
    if not moved or any(a.stride is None for a in found):
        return 0
    count, rest = divmod(min(moved), min(sizes))
    return count if rest == 0 and moved == {count * size for size in sizes} else 0


def is_zero_idiom(x):
    o = x.operands
    return len(o) >= 2 and o[0] == o[1] and re.match(r"v?p?(xor|sub)", x.mnemonic) is not None


def is_register_move(x):
    return bool(re.fullmatch(r"(mov[lq]?|v?mov(ap[sd]|dqa|up[sd]|dqu))", x.mnemonic)) \
        and len(x.operands) == 2 and all(o.startswith("%") for o in x.operands) \
        and canonical(x.operands[0])[0] == canonical(x.operands[1])[0]


def fused_pairs(trace, with_memory=True):
    """Places of the compares that become one operation with the jump behind them."""
    pairs = set()
    for i, (first, second) in enumerate(zip(trace, trace[1:])):
        if second.mnemonic.startswith("j") and second.mnemonic != "jmp" \
                and FUSED_FIRST.match(first.mnemonic) and not stores(first) \
                and (with_memory or not loads(first)):
            pairs.add(i)
    return pairs


def taken_jumps(trace):
    """Jumps of one iteration that are taken: what follows them in the loop is where they lead."""
    return sum(x.target is not None and x.mnemonic.startswith("j") and x.target == after.address
               for x, after in zip(trace, trace[1:] + trace[:1]))


def is_indexed(x):
    return re.search(r"\(%?\w*,%\w+", memory_of(x) or "") is not None


def unlaminated(x):
    """A load that cannot stay within its operation: indexed, and the result is a third operand."""
    return loads(x) and is_indexed(x) \
        and not x.mnemonic.startswith(PURE_LOADS) and not x.mnemonic.startswith(COMPARES) \
        and (x.mnemonic.startswith("v") or len(x.operands) == 1
             or re.match(r"(cvt|pabs|pshuf|pmov|sqrt)", x.mnemonic))


def code_lines(trace):
    """64-byte lines that the instructions begin in: each costs a cycle to fetch, at least."""
    return len({x.address // 64 for x in trace})
