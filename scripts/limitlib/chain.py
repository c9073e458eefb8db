"""What waits for what: from one iteration to the next, and from the last block to the end."""
import collections
import re

from .code import canonical
from .loop import (COMPARES, PURE_LOADS, Symbolic, accesses, is_lea, is_register_move,
                   is_zero_idiom, loads, memory_of, stores)

FLOAT_ADD = re.compile(r"v?(add|sub|addsub|hadd)[ps][sd]$")


def registers(operand):
    return [canonical(r) for r in re.findall(r"%\w+", operand)]


def flow_of(x):
    """(sources, target) as names; flags are a register of their own."""
    o, m = x.operands, x.mnemonic
    if not o or "nop" in m:
        return [], None
    read = [r for operand in o[:-1] for r in registers(operand)]
    if m.startswith(COMPARES):
        return [r for operand in o for r in registers(operand)], "flags"
    if m.startswith(("cmov", "set", "adc", "sbb")):
        read.append("flags")
    last = o[-1]
    if "(" in last:
        return read + registers(last), "memory" if stores(x) else None
    target = canonical(last)
    overwrites = is_lea(x) or m.startswith(("v", "mov", "cvt", "pmov", "pshufd", "pabs", "lddqu"))
    merges = re.match(r"(movs[sd]|mov[lh]p[sd]|movhlps|movlhps)$", m) and last.startswith("%") \
        and not loads(x) or re.match(r"cvtsi2s[sd]|cvts[sd]2s[sd]", m)
    if len(o) == 1 or not overwrites or merges:
        read.append(target)
    if is_zero_idiom(x):
        read = []
    return read, target


def per_iteration(trace, latency, forward, add_to_add):
    """Cycles per iteration of the longest chain from one iteration to the next, where nothing but
    results has to be waited for. latency(x): of the operation without its load; forward: from a
    store to a load of the same place; add_to_add: from one floating-point sum to the next. What
    merely counts the iterations takes no time here: it is the branch's cycle."""
    moving = {a.place for a in accesses(trace) if a.stride != 0}
    ready, add_ready, in_memory = collections.defaultdict(float), {}, {}
    state, marks = Symbolic(), []
    for turn in range(60):
        for x in trace:
            operand = memory_of(x)
            place = None
            if operand and not is_lea(x):
                place = tuple(sorted((s, c) for s, c in state.address(operand).items()))
                if tuple(p for p in place if p[0]) in moving:
                    place = None
            read, target = flow_of(x)
            is_add = bool(FLOAT_ADD.match(x.mnemonic))
            start = 0.0
            address = registers(operand) if operand else []
            for r in read:
                early = add_ready.get(r) if is_add else None
                start = max(start, ready[r] if early is None or r in address else early)
            if place in in_memory and loads(x):
                start = max(start, in_memory[place] + forward)
            state.step(x)
            if target is None:
                continue
            vector = target.startswith("v")
            counts = not vector and re.match(r"(add|sub|inc|dec|lea)", x.mnemonic) \
                and (len(x.operands) == 1 or x.operands[0][0] == "$" or is_lea(x))
            moved = is_register_move(x)
            loaded = operand and x.mnemonic.startswith(PURE_LOADS)
            took = 0 if moved or counts or loaded else latency(x)
            if target == "memory":
                if place is not None:
                    in_memory[place] = max(ready[r] for r in registers(x.operands[0])) if \
                        registers(x.operands[0]) else start
                continue
            early = add_ready.get(canonical(x.operands[0])) if moved else None
            ready[target] = start + took
            add_ready.pop(target, None)
            if early is not None:
                add_ready[target] = early
            if is_add:
                add_ready[target] = start + min(took, add_to_add)
        if turn in (29, 59):
            marks.append(max([*ready.values(), *in_memory.values()], default=0.0))
    return (marks[1] - marks[0]) / 30


def fold_latency(trace, known, model):
    """Cycles from the last block to the last result, if nothing but results is waited for."""
    ready = collections.defaultdict(float)
    for x in trace:
        read, target = flow_of(x)
        start = max((ready[r] for r in read), default=0.0)
        if target is None or not any(name.startswith("v") or ready[name] for name in read):
            continue
        if target == "memory":
            ready[target] = max(ready[target], start)
        else:
            ready[target] = start + (0 if is_register_move(x) else known.latency(x))
    return max(ready.values(), default=0.0)
