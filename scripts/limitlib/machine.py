"""The processors: what llvm-mca knows of an instruction, and what is added to it here."""
import collections
import itertools
import json
import os
import re
import shutil
import subprocess
import types

from . import loop, zen4

# One kind of core. ids: what CPUID tells of it, for bench/bounds.txt; none where its bounds are only
# for reading. Loads, stores and operations per cycle, of vector registers and of any; which of
# llvm-mca's ports are not execution ports; latencies in cycles where llvm-mca is not asked; and an
# object that corrects what llvm-mca has of single instructions.
Model = collections.namedtuple(
    "Model", "title ids cpu width loads stores vector_loads vector_stores memory_ports add_to_add "
    "forward split_store divider lea_ports rotate_ports indexed_store_loads keeps_loads corrected")


class Uncorrected:
    """llvm-mca's words as they are."""

    @staticmethod
    def ports(_):
        return None

    latency = uops = ports


# Cycles that the divider is taken for; llvm-mca has 1 for Golden Cove.
DIVIDER = types.MappingProxyType({"vdivps": 5, "divps": 3, "divss": 3, "vdivss": 3})

GOLDEN_COVE = Model(
    "Golden Cove", "GenuineIntel 6 143,207", "sapphirerapids", width=6, loads=3, stores=2,
    vector_loads=3, vector_stores=2,
    memory_ports=re.compile(r"(02|03|11|04|09|07|08)$"), add_to_add=2, forward=5, split_store=2,
    divider=DIVIDER, lea_ports=("p0", "p1", "p10", "p5", "p6"), rotate_ports=("p0", "p6"),
    indexed_store_loads=False, keeps_loads=False, corrected=Uncorrected)
ZEN4 = Model(
    "Zen 4", "AuthenticAMD 25 16-31,96-127,160-175", "znver4", width=6, loads=3, stores=2,
    vector_loads=2, vector_stores=1,
    memory_ports=re.compile(r"Zn4(AGU|Load|LSU|Store|FP45|FPSt)"), add_to_add=3, forward=9,
    split_store=0, divider=zen4.DIVIDER, lea_ports=("alu0", "alu1", "alu2", "alu3"),
    rotate_ports=("alu1", "alu2"), indexed_store_loads=False, keeps_loads=True, corrected=zen4)
SKYLAKE = Model(
    "Skylake", None, "skylake", width=4, loads=2, stores=1, vector_loads=2, vector_stores=1,
    memory_ports=re.compile(r"[2347]$"), add_to_add=4, forward=4, split_store=1,
    divider=DIVIDER, lea_ports=("p1", "p5"), rotate_ports=("p0", "p6"),
    indexed_store_loads=True, keeps_loads=False, corrected=Uncorrected)
MODELS = (GOLDEN_COVE, ZEN4, SKYLAKE)
MEASURED = (GOLDEN_COVE, ZEN4)  # whose properties were, and whose bounds the bench divides by


ROTATE = re.compile(r"ro[lr]")


def find_mca():
    """The newest llvm-mca at hand; version 14 has models of neither Golden Cove nor Zen 4."""
    names = [os.environ.get("LLVM_MCA", "")] + [f"llvm-mca-{v}" for v in range(30, 18, -1)]
    return next((path for name in names if name and (path := shutil.which(name))), None)


def text_of(x, registers_only=False):
    """An instruction as llvm-mca reads it: jumps without a target; with registers_only its memory
    operand becomes a register that nothing else uses."""
    operands = list(x.operands)
    if x.mnemonic.startswith(("j", "call")):
        return f"{x.mnemonic} .Lout"
    if registers_only and (operand := loop.memory_of(x)) and not loop.is_lea(x):
        vector = "%ymm15" if loop.width_of(x) == 32 else "%xmm15"
        others = [o for o in operands if o != operand]
        general = others and not any("mm" in o for o in others) or "cvtsi" in x.mnemonic
        if general or not others:
            return "nop"  # only the recurrences of floating-point kernels ask, never for these
        operands = [vector if o == operand else o for o in operands]
    return f"{x.mnemonic} {', '.join(operands)}".strip()


class Facts:
    """uops, latency and execution ports of single instructions, asked once per text."""

    def __init__(self, model, mca):
        self.model, self.mca, self.known, self.blocks = model, mca, {}, {}

    def learn(self, texts):
        new = sorted(set(texts) - set(self.known))
        if not new:
            return
        source = "".join(f"# LLVM-MCA-BEGIN r{i}\n{text}\n# LLVM-MCA-END\n"
                         for i, text in enumerate(new))
        answer = self.ask(source, "-iterations=100", "-instruction-info", "-resource-pressure")
        names = [re.sub(r"^[A-Z]+Port", "", name)
                 for name in answer["TargetInfo"]["Resources"]]
        for text, region in zip(new, answer["CodeRegions"]):
            info = region["InstructionInfoView"]["InstructionList"][0]
            pressure = {names[p["ResourceIndex"]]: p["ResourceUsage"]
                        for p in region["ResourcePressureView"]["ResourcePressureInfo"]
                        if p["InstructionIndex"] == 1}
            ports = {self.short(k): v for k, v in pressure.items()
                     if not self.model.memory_ports.match(k) and "Divider" not in k}
            self.known[text] = (info["NumMicroOpcodes"], info["Latency"], ports)

    @staticmethod
    def short(port):
        """'00' of Intel's and 'Zn4FP0' of AMD's models as p0 and fp0."""
        if port.startswith("Zn4"):
            return port[3:].lower()
        return "p" + (port.lstrip("0") or "0")

    def block_throughput(self, texts):
        """llvm-mca's own bound for the whole body, front end left out."""
        source = "\n".join(texts) + "\n"
        if source not in self.blocks:
            answer = self.ask(source)
            self.blocks[source] = answer["CodeRegions"][0]["SummaryView"]["BlockRThroughput"]
        return self.blocks[source]

    def ask(self, source, *views):
        out = subprocess.run(
            [self.mca, "-mtriple=x86_64", f"-mcpu={self.model.cpu}", "-json", "-dispatch=1000",
             "-all-views=false", "-summary-view", *views], input=source, capture_output=True,
            text=True)
        if out.returncode != 0:
            raise RuntimeError(f"llvm-mca: {out.stderr[:300]}")
        return json.loads(out.stdout)

    def latency(self, x):
        if loop.memory_of(x) and not loop.is_lea(x):
            text = text_of(x, registers_only=True)
        else:
            text = text_of(x)
        own = self.model.corrected.latency(x)
        if own is not None:
            return own
        self.learn([text])
        return max(1, self.known[text][1])


def costly(trace, model):
    """The instructions that need an execution port: no move that renaming does, no cleared
    register, no compare that its jump takes along."""
    pairs = loop.fused_pairs(trace, not model.keeps_loads)
    return [x for i, x in enumerate(trace) if i not in pairs and not loop.is_register_move(x)
            and not loop.is_zero_idiom(x) and "nop" not in x.mnemonic
            and not x.mnemonic.startswith("xchg")]


def as_modelled(trace, model):
    """Those of them for which llvm-mca's ports are taken over as they are."""
    return [x for x in costly(trace, model) if not loop.is_lea(x) and not ROTATE.match(x.mnemonic)
            and model.corrected.ports(x) is None]


def groups(x, facts):
    """[(ports, cycles)] of an instruction: ports that share alike are one choice, whole cycles on a
    port are its own."""
    if loop.is_lea(x):
        return [(facts.model.lea_ports, 1.0)]
    if ROTATE.match(x.mnemonic):
        return [(facts.model.rotate_ports, 1.0)]  # llvm-mca has the form that rotates by one
    own = facts.model.corrected.ports(x)
    if own is not None:
        return own
    ports = facts.known[text_of(x)][2]
    own = [((port,), round(cycles)) for port, cycles in ports.items() if cycles > 0.95]
    shared = {port: cycles for port, cycles in ports.items() if 0.01 < cycles <= 0.95}
    if shared:
        own.append((tuple(sorted(shared)), round(sum(shared.values()))))
    return own


def port_bound(trace, facts):
    """(cycles, ports): the largest of what any set of ports has to do alone, per port."""
    facts.learn(text_of(x) for x in costly(trace, facts.model))
    demands = collections.Counter()
    for x in costly(trace, facts.model):
        for ports, cycles in groups(x, facts):
            demands[ports] += cycles
    names = sorted({port for ports in demands for port in ports})
    best = (0.0, ())
    for size in range(1, len(names) + 1):
        for chosen in itertools.combinations(names, size):
            load = sum(cycles for ports, cycles in demands.items() if set(ports) <= set(chosen))
            if load / size > best[0] + 1e-9:
                best = (load / size, chosen)
    return best


def front_end(trace, facts):
    """Operations that renaming handles: a load stays within its operation and a store is one, a
    compare goes with its jump; but on Intel's cores an indexed load leaves a three-operand
    operation, and on AMD's a compare with memory stands by itself."""
    facts.learn(text_of(x) for x in trace)
    keeps = facts.model.keeps_loads
    pairs = loop.fused_pairs(trace, not keeps)
    total = 0
    for i, x in enumerate(trace):
        if i in pairs:
            continue
        count = facts.model.corrected.uops(x) or max(1, facts.known[text_of(x)][0])
        if loop.stores(x) and x.mnemonic.startswith(("mov", "vmov")):
            count = 1
        elif loop.loads(x) and count > 1 and not keeps:
            count -= 1
        total += count + (not keeps and bool(loop.unlaminated(x)))
    return total


def load_cycles(trace, splits, model):
    """A load across a line takes two turns, and one such load is done per cycle. Where the third
    address port is for plain addresses only, an indexed store takes a turn of a load."""
    vectors = sum(loop.loads(x) and loop.is_vector(x) for x in trace)
    count = sum(loop.loads(x) for x in trace)
    if model.indexed_store_loads:
        count += sum(loop.stores(x) and loop.is_indexed(x) for x in trace)
    return max((count + splits) / model.loads, (vectors + splits) / model.vector_loads, splits)


def store_cycles(accesses, splits, width, model):
    """One or two stores per cycle: two only into one line, one behind the other. A store across a
    line takes split_store cycles by itself."""
    written = [a for a in accesses if a.kind == "store"]
    if not written:
        return 0.0
    if model.stores == 1:
        return len(written) + splits * model.split_store
    if splits and model.split_store:
        per_line = 64 // width
        return splits * (-(-(per_line - 1) // 2) + model.split_store)
    cycles = 0.0
    if model.vector_stores == 1:
        cycles = sum(a.vector for a in written)
        written = [a for a in written if not a.vector]
    runs = [list(run) for _, run in itertools.groupby(written, key=lambda a: a.place)]
    if len(runs) > 1 and runs[0][0].place == runs[-1][0].place:
        runs[0] += runs.pop()
    return cycles + sum(
        len(run) / 2 if len(run) % 2 == 0 or len(runs) == 1 else -(-len(run) // 2) for run in runs)
