"""The library's machine code as functions, control flow and loops, by objdump."""
import collections
import re
import subprocess

Instruction = collections.namedtuple("Instruction", "address mnemonic operands target")

WIDTHS = {"a": "rax", "b": "rbx", "c": "rcx", "d": "rdx"}
PREFIXES = {"data16", "cs", "bnd", "notrack", "rep", "repz", "repnz"}


def split_operands(text):
    """Operands in AT&T order, commas within parentheses left alone."""
    return [part.strip() for part in re.split(r",(?![^(]*\))", text) if part.strip()]


def parse_line(line):
    """An Instruction, or None for a line that holds none."""
    found = re.match(r"\s*([0-9a-f]+):\t(.*)", line)
    if not found:
        return None
    text = re.sub(r"\s*#.*", "", found[2]).strip()
    words = text.split()
    while words and words[0] in PREFIXES:
        words = words[1:]
    if not words:
        return None
    mnemonic, rest = words[0], " ".join(words[1:])
    target = None
    if mnemonic.startswith(("j", "call")) and not rest.startswith("*"):
        target = int(rest.split()[0], 16)
        rest = ""
    return Instruction(int(found[1], 16), mnemonic, split_operands(rest), target)


def functions(library):
    """{name: [Instruction]} of every function, names without their arguments."""
    out = subprocess.run(["objdump", "-d", "-C", "--no-show-raw-insn", str(library)], check=True,
                         capture_output=True, text=True).stdout
    found, body = {}, None
    for line in out.splitlines():
        if header := re.match(r"[0-9a-f]+ <(.*)>:$", line):
            name = header[1].replace("(anonymous namespace)::", "")
            body = found.setdefault(name.split("(")[0].split()[-1], [])
        elif body is not None and (instruction := parse_line(line)):
            body.append(instruction)
    return found


def canonical(register):
    """The 64-bit name of a general register, the number of a vector register ('v3')."""
    name = register.lstrip("%*")
    if found := re.fullmatch(r"[xy]mm(\d+)", name):
        return f"v{found[1]}"
    if found := re.fullmatch(r"(r\d+)[dwb]?", name):
        return found[1]
    if found := re.fullmatch(r"[re]?([abcd])(x|l|h)", name):
        return WIDTHS[found[1]]
    if found := re.fullmatch(r"[re]?([sd]i|[sb]p)l?", name):
        return "r" + found[1]
    return name


class Flow:
    """Basic blocks of one function, their dominators and natural loops."""

    def __init__(self, code):
        self.code = code
        at = {instruction.address: i for i, instruction in enumerate(code)}
        starts = {0} | {at[x.target] for x in code if x.target in at}
        starts |= {i + 1 for i, x in enumerate(code)
                   if x.mnemonic.startswith(("j", "ret")) and i + 1 < len(code)}
        self.starts = sorted(starts)
        ends = self.starts[1:] + [len(code)]
        self.blocks = {start: range(start, end) for start, end in zip(self.starts, ends)}
        self.next = {start: self._successors(block, at) for start, block in self.blocks.items()}
        self._drop_unreachable()
        self.before = collections.defaultdict(list)
        for start, following in self.next.items():
            for successor in following:
                self.before[successor].append(start)
        self.dominators = self._dominators()

    def _successors(self, block, at):
        last = self.code[block[-1]]
        following = []
        if last.mnemonic.startswith("j") and last.target in at:
            following.append(at[last.target])
        if not last.mnemonic.startswith(("jmp", "ret")) and block.stop < len(self.code):
            following.append(block.stop)
        return following

    def _drop_unreachable(self):
        """Padding between blocks leads into the next one, but nothing leads to it."""
        reached, work = set(), [0]
        while work:
            block = work.pop()
            if block not in reached:
                reached.add(block)
                work.extend(self.next[block])
        self.starts = [start for start in self.starts if start in reached]
        self.blocks = {start: self.blocks[start] for start in self.starts}
        self.next = {start: self.next[start] for start in self.starts}

    def _dominators(self):
        everything = set(self.starts)
        dominators = {start: set(everything) for start in self.starts}
        dominators[0] = {0}
        changed = True
        while changed:
            changed = False
            for start in self.starts[1:]:
                above = [dominators[b] for b in self.before[start]]
                new = (set.intersection(*above) if above else set()) | {start}
                if new != dominators[start]:
                    dominators[start], changed = new, True
        return dominators

    def loops(self):
        """{header: blocks} of all loops: the natural ones, and by the jump that closes them those
        that are entered in two places."""
        found = {}
        for start, following in self.next.items():
            for header in following:
                natural = header in self.dominators[start]
                if not natural and header > start:
                    continue
                body, work = {header}, [start]
                while work:
                    block = work.pop()
                    if block not in body and (natural or header <= block <= start):
                        body.add(block)
                        work.extend(self.before[block])
                if natural or not any(header in other for other in found.values()):
                    found.setdefault(header, set()).update(body)
        return found

    def innermost(self):
        """The loops that hold no other loop."""
        all_loops = {header: body for header, body in self.loops().items()
                     if self.shortest(header, {header}, body)}
        return {header: body for header, body in all_loops.items()
                if not any(other != header and other in body for other in all_loops)}

    def shortest(self, start, goals, within=None):
        """The blocks of the way from start to the first of the goals that executes least, without
        the goal; None if there is none. A way back to the start counts as a way."""
        cost, came, work = {}, {}, [(0, start, None)]
        while work:
            work.sort()
            so_far, block, previous = work.pop(0)
            if block in goals and previous is not None:
                way = [previous]
                while came[way[-1]] is not None:
                    way.append(came[way[-1]])
                return way[::-1]
            if block in cost:
                continue
            cost[block], came[block] = so_far, previous
            for following in self.next[block]:
                if within is None or following in within:
                    work.append((so_far + len(self.blocks[block]), following, block))
        return None

    def trace(self, blocks):
        return [self.code[i] for block in blocks for i in self.blocks[block]]

    def loop_trace(self, header, body):
        """One iteration, on the way that executes least."""
        return self.trace(self.shortest(header, {header}, body))

    def entry_trace(self, header):
        way = self.shortest(0, {header})
        return self.trace(way) if way else []

    def exit_trace(self, header, body):
        """From the loop to the return, on the way that executes least."""
        returns = {start for start, block in self.blocks.items()
                   if self.code[block[-1]].mnemonic.startswith("ret")
                   or (self.code[block[-1]].mnemonic == "jmp" and not self.next[start])}
        best = None
        for block in body:
            for out in self.next[block]:
                if out in body:
                    continue
                way = [out] if out in returns else self.shortest(out, returns)
                if way is None:
                    continue
                if out not in returns:
                    last = [b for b in self.next[way[-1]] if b in returns]
                    way = way + last[:1]
                trace = self.trace(way)
                if best is None or len(trace) < len(best):
                    best = trace
        return best or []
