"""The bound of each variant: the loop chosen, and what each part of the processor makes of it."""
import collections

from . import chain, code, facts, loop, machine

# One way through a variant: cycles per element and what binds, and the numbers that lead there.
Bound = collections.namedtuple("Bound", "cycles resource parts elements loads stores uops mca")
# What a call costs beside its blocks: uops outside the loops, latency from the last block to the
# result, and cycles per single element of head or tail.
Beside = collections.namedtuple("Beside", "uops fold single")


class Mismatch(Exception):
    """A loop that is not the variant's block loop."""


class Variant:
    """One function of the library and its loops."""

    def __init__(self, kernel, level, functions):
        self.kernel, self.level, self.name = kernel, level, f"{kernel}_{level}"
        self.facts = facts.KERNELS[kernel]
        self.block = self.facts.block.get(level, 1)
        self.flow = code.Flow(functions[self.name])
        starting = {body[0].address: body for body in functions.values() if body}
        self.loops = []
        for header, body in sorted(self.flow.innermost().items()):
            trace = self.flow.loop_trace(header, body)
            found = loop.accesses(trace)
            for called in [x.target for x in trace if x.mnemonic.startswith("call")]:
                trace += [x for x in starting.get(called, []) if not x.mnemonic.startswith("ret")]
            self.loops.append((header, body, trace, found,
                               loop.elements(found, self.facts.sizes)))

    def width(self):
        return {"base": 0, "avx": 32, "avx2": 32}.get(self.level, 16)

    def unaligned_kinds(self, found):
        return {a.kind for a in found if a.aligned is False}

    def distance(self, one, place):
        """How far an instance is from what the place needs: for aligned arrays no unaligned access;
        for unaligned ones an unaligned access of the kind that the shifted array has, and of no
        other if there is such an instance."""
        off = self.facts.off if place == "unaligned" else None
        wanted = {kind for kind, count in zip(("load", "store"), off[1:]) if count} if off \
            else set()
        kinds = self.unaligned_kinds(one[3])
        return len(wanted - kinds), len(kinds - wanted)

    def chosen(self, place):
        """The loop for a place, by rule: the most elements per iteration, then the instance."""
        if (self.name, place) in facts.OVERRIDES:
            return self.checked(self.loops[facts.OVERRIDES[self.name, place]], place)
        if self.is_staged():
            return self.checked(max(self.loops, key=lambda one: (one[4] == self.block, len(one[2]))),
                                place)
        most = max((one[4] for one in self.loops), default=0)
        return self.checked(min((one for one in self.loops if one[4] == most),
                                key=lambda one: self.distance(one, place)), place)

    def is_staged(self):
        return self.kernel in facts.STAGED and self.level != "base"

    def checked(self, one, place):
        """That loop, unless something speaks against it."""
        elements, found = one[4], one[3]
        if elements == 0 or elements % self.block:
            raise Mismatch(f"{self.name}: {elements} elements, not of blocks of {self.block}")
        if elements < max(other[4] for other in self.loops):
            raise Mismatch(f"{self.name}: the loop for the blocks that are left over")
        if self.is_staged() and any(len(other[2]) > len(one[2]) for other in self.loops
                                    if other[4] == elements):
            raise Mismatch(f"{self.name}: one stage of a block")
        if self.level != "base" and max(a.width for a in found if a.stride) \
                < min(self.width(), self.block):
            raise Mismatch(f"{self.name}: a loop without vector accesses")
        if not self.is_staged() and any(
                self.distance(other, place) < self.distance(one, place)
                for other in self.loops if other[4] == elements):
            raise Mismatch(f"{self.name}: not the instance for {place} arrays")
        return one


class Library:
    def __init__(self, path, table, mca):
        self.functions = code.functions(path)
        self.variants = {f"{k}_{v}": Variant(k, v, self.functions)
                         for k, levels in table.items() for v in levels}
        self.known = {model.cpu: machine.Facts(model, mca)
                      for model in machine.MODELS} if mca else {}

    def of_trace(self, trace, found, elements, splits, model, looped=True, width=0):
        """The bound of instructions that stand for some elements. splits: loads and stores across
        a line."""
        known = self.known[model.cpu]
        uops = machine.front_end(trace, known)
        ports, names = machine.port_bound(trace, known)
        counts = [sum(a.kind == kind for a in found) for kind in ("load", "store")]
        divider = sum(model.divider.get(x.mnemonic, 0) for x in trace)
        parts = {
            "front-end": uops / model.width,
            "load": machine.load_cycles(trace, splits[0], model),
            "store": machine.store_cycles(found, splits[1], width, model),
            "+".join(names): ports,
            "divider": divider,
            "branch": float(loop.taken_jumps(trace)) if looped else 0.0,
        }
        if looped:
            parts["chain"] = chain.per_iteration(trace, known.latency, model.forward,
                                                 model.add_to_add)
        # Of equals the one that the contract fixes comes first.
        order = ["load", "store", "divider", "chain"]
        resource = max(parts, key=lambda p: (round(parts[p], 3),
                                             order.index(p) if p in order else -1))
        mca = known.block_throughput([machine.text_of(x)
                                      for x in machine.as_modelled(trace, model)])
        return Bound(parts[resource] / elements, resource, parts, elements, *counts, uops, mca)

    def bound(self, variant, place, model):
        """A Bound, or the word that says why there is none."""
        word = facts.ELSEWHERE.get((variant.kernel, variant.level, place))
        if word:
            return Bound(None, word, {}, 0, 0, 0, 0, 0)
        if variant.kernel.startswith("vfilter_"):
            return self.smoothing(variant, model)
        _, _, trace, found, elements = variant.chosen(place)
        splits, width = [0, 0], 16
        if place == "unaligned" and variant.facts.off and variant.level != "base":
            size, *kinds = variant.facts.off
            splits = [kind * size * elements / 64 for kind in kinds]
            width = max((a.width for a in found if a.kind == "store"), default=16)
        # The accumulators of the staged ones wait for less than a block's work.
        bound = self.of_trace(trace, found, elements, splits, model, width=width,
                              looped=not variant.is_staged())
        first = facts.first_pass(variant.kernel, variant.level)
        if first:
            before = self.bound(self.variants[first], "aligned", model)
            names = f"{before.resource},{bound.resource}" if before.resource != bound.resource \
                else bound.resource
            bound = bound._replace(cycles=bound.cycles + before.cycles, resource=names)
        return bound

    def floor(self, variant, model):
        """Cycles per element that chain, divider, loads and stores alone would take."""
        bound = self.bound(variant, "aligned", model)
        if not bound.parts or variant.kernel.startswith("vfilter_"):
            return None
        cycles = max(bound.parts.get(p, 0.0) for p in ("chain", "divider", "load", "store"))
        first = facts.first_pass(variant.kernel, variant.level)
        before = self.floor(self.variants[first], model) if first else 0.0
        return cycles / bound.elements + before

    def smoothing(self, variant, model):
        """Per output, at so many taps: the folded loop of the baseline with what is around it; or
        one call of the step for two outputs, its loops run as often as they will be."""
        if variant.level == "base":
            inner = max((one for one in variant.loops if any((a.stride or 0) < 0 for a in one[3])
                         and None not in {a.stride for a in one[3]}), key=lambda one: len(one[3]))
            outer = self.around(variant, inner)
            trace = outer + inner[2] * (facts.TAPS // 2)
            return self.of_trace(trace, self.plain_accesses(trace), 4, (0, 0), model, looped=False)
        step = self.variants[variant.name.replace("vfilter_f", "fir_step_c")]
        caller = next(one[2] for one in variant.loops
                      if any(x.mnemonic == "call" for x in one[2]))
        called = self.step_call(step)
        trace = caller + called
        return self.of_trace(trace, self.plain_accesses(trace), 2, (0, 0), model, looped=False)

    @staticmethod
    def plain_accesses(trace):
        return [loop.Access((), kind, loop.width_of(x), None, None, loop.is_vector(x))
                for x in trace
                for kind in ["load"] * loop.loads(x) + ["store"] * loop.stores(x)]

    def step_call(self, step):
        """The instructions of one call of a step with so many taps and unaligned arrays."""
        blocks, singles = divmod(facts.TAPS, step.block)
        header, body, trace, *_ = step.chosen("unaligned")
        tail = [one for one in step.loops if one[4] == 1][-1]
        flow = step.flow
        ways = [flow.shortest(out, {tail[0]}, None) or [] if out != tail[0] else []
                for block in body for out in flow.next[block] if out not in body]
        to_tail = min((way for way in ways if way is not None), key=len)
        return flow.entry_trace(header) + trace * blocks + flow.trace(to_tail) \
            + tail[2] * singles + flow.exit_trace(tail[0], tail[1])

    @staticmethod
    def around(variant, inner):
        """The instructions of the loop around an inner one, without that."""
        flow = variant.flow
        outers = [(h, b) for h, b in flow.loops().items() if inner[0] in b and h != inner[0]]
        header, body = min(outers, key=lambda one: len(one[1]))
        way = flow.shortest(inner[0], {inner[0]}, body - (inner[1] - {inner[0]})) or []
        outside = [block for block in sorted(body - inner[1])
                   if not any(block in one[1] for one in variant.loops)]
        return flow.trace(outside if not way else [b for b in way if b not in inner[1]] or outside)

    def beside(self, variant, model):
        known = self.known[model.cpu]
        if facts.ELSEWHERE.get((variant.kernel, variant.level, "aligned")) \
                or variant.kernel.startswith("vfilter_"):
            return None
        header, body, _, _, _ = variant.chosen("aligned")
        out = variant.flow.exit_trace(header, body)
        around = variant.flow.entry_trace(header) + out
        uops = machine.front_end(around, known) + 1  # and the call itself
        singles = [self.of_trace(one[2], one[3], 1, (0, 0), model).cycles
                   for one in variant.loops
                   if one[4] == 1 and not any(x.mnemonic == "call" for x in one[2])]
        fold = chain.fold_latency(out, known, model)
        first = facts.first_pass(variant.kernel, variant.level)
        if first:
            before = self.beside(self.variants[first], model)
            uops, fold = uops + before.uops, fold + before.fold
        return Beside(uops, fold, max(singles, default=0.0))
