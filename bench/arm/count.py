#!/usr/bin/env python3
"""Executed instructions and estimated ARM1176 cycles per function.

  count.py count BLOCKS OBJECTS NM SAMPLES RATE_HZ > result.json
  count.py report RESULTS.json... > section.md
  count.py selftest

BLOCKS is tb_filter's output (each executed translation block with its
execution count and its instructions), OBJECTS the driver's "object BASE PATH"
lines (load address of each loaded object), NM the arm nm program. SAMPLES is
the number of output samples over all channels, RATE_HZ the samples per second
over all channels that real time needs (sample rate x channels).

Cycle model (an estimate for comparing decoders, not a simulator)
-----------------------------------------------------------------
The ARM1176JZF-S issues one instruction per cycle, in order; the timings
below follow the instruction timing chapter of its Technical Reference Manual
("Cycle Timings and Interlock Behavior"), simplified:

* issue cycles: data processing 1, 2 with a register-specified shift;
  LDR/STR of any width and LDRD/STRD 1; LDM/STM/PUSH/POP ceil(registers / 2)
  (the 64-bit load/store path moves two registers a cycle), at least 1;
  16x16 and 32x16 multiplies (SMULxy, SMLAxy, SMULWy, SMLAWy, SMUAD, SMLAD,
  SMUSD, SMLSD) 1; MUL, MLA, SMMUL, SMMLA, SMMLS, SMLALxy, SMLALD 2; 64-bit
  products (SMULL, UMULL, SMLAL, UMLAL) 3.
* result latencies (cycles from issue until a following instruction can use
  the result): data processing 1; loads 3 (LDM: its issue cycles + 2);
  1-cycle multiplies 3; 2-cycle multiplies 4; 64-bit products 5. An
  instruction waits until the registers it reads are ready (an interlock).
  The accumulator of a multiply-accumulate is forwarded late and never waited
  for, nor is the data register of a store.
* branches: every instruction that writes the pc (B, BL, BX, BLX, POP/LDM/LDR
  or data processing to pc) costs its issue cycles; a fixed 10% of them are
  taken as mispredicted, at 5 extra cycles (0.5 cycles added to each).
* interlocks are followed within one executed block only: registers written
  in an earlier block count as ready. Conditional instructions cost the same
  whether or not their condition passes. Flags are ready the next cycle.
* memory: every access hits the caches, no wait states, no write-buffer or
  TLB stalls. Real code on a real board runs slower, most of all where it
  streams through more memory than the 16 KB data cache holds.

The validation program (bench/arm/known_count.S) checks the counts exactly
and this model's arithmetic on a loop whose cost follows from the rules above.
"""
import json
import re
import subprocess
import sys
from bisect import bisect_right

CONDS = {
    "eq", "ne", "cs", "hs", "cc", "lo", "mi", "pl", "vs", "vc", "hi", "ls", "ge", "lt", "gt",
    "le", "al",
}
MISPREDICT_RATE = 0.10
MISPREDICT_PENALTY = 5

# base mnemonic -> (class, issue cycles, result latency, may take an 's' suffix)
MUL1 = ["smulbb", "smulbt", "smultb", "smultt", "smulwb", "smulwt", "smlabb", "smlabt",
        "smlatb", "smlatt", "smlawb", "smlawt", "smuad", "smuadx", "smusd", "smusdx",
        "smlad", "smladx", "smlsd", "smlsdx"]
MUL2 = ["mul", "mla", "smmul", "smmulr", "smmla", "smmlar", "smmls", "smmlsr", "smlalbb",
        "smlalbt", "smlaltb", "smlaltt", "smlald", "smlaldx", "smlsld", "smlsldx"]
MUL3 = ["smull", "umull", "smlal", "umlal", "umaal"]
ACCUMULATING = {"mla", "smmla", "smmlar", "smmls", "smmlsr", "smlabb", "smlabt", "smlatb",
                "smlatt", "smlawb", "smlawt", "smlad", "smladx", "smlsd", "smlsdx"}
LONG = set(MUL3) | {"smlalbb", "smlalbt", "smlaltb", "smlaltt", "smlald", "smlaldx", "smlsld",
                    "smlsldx"}
LOADS = ["ldr", "ldrb", "ldrh", "ldrsb", "ldrsh", "ldrd", "ldrt", "ldrbt", "ldrex"]
LDM = ["ldm", "ldmia", "ldmib", "ldmda", "ldmdb", "ldmfd", "pop"]
STORES = ["str", "strb", "strh", "strd", "strt", "strbt", "strex"]
STM = ["stm", "stmia", "stmib", "stmda", "stmdb", "stmfd", "push"]
BRANCHES = ["b", "bl", "bx", "blx"]
COMPARES = ["cmp", "cmn", "tst", "teq"]

BASES = {}
for m in MUL1:
    BASES[m] = ("mul", 1, 3, False)
for m in MUL2:
    BASES[m] = ("mul", 2, 4, m in ("mul", "mla", "smlal"))
for m in MUL3:
    BASES[m] = ("mul", 3, 5, True)
for m in LOADS:
    BASES[m] = ("load", 1, 3, False)
for m in LDM:
    BASES[m] = ("ldm", 1, 3, False)
for m in STORES:
    BASES[m] = ("store", 1, 1, False)
for m in STM:
    BASES[m] = ("stm", 1, 1, False)
for m in BRANCHES:
    BASES[m] = ("branch", 1, 1, False)
for m in COMPARES:
    BASES[m] = ("alu", 1, 1, False)

REG = re.compile(r"\b(r1[0-5]|r[0-9]|sb|sl|fp|ip|sp|lr|pc)\b")
REG_SHIFT = re.compile(r"\b(lsl|lsr|asr|ror)\s+(r1[0-5]|r[0-9]|sb|sl|fp|ip|lr)\b")
ALIASES = {"sb": "r9", "sl": "r10", "fp": "r11", "ip": "r12", "sp": "r13", "lr": "r14",
           "pc": "r15"}


DATA_PROCESSING = {"add", "sub", "rsb", "adc", "sbc", "rsc", "and", "orr", "eor", "bic", "mov",
                   "mvn", "lsl", "lsr", "asr", "ror", "rrx"}


def split_mnemonic(mnemonic):
    """Base mnemonic of a (possibly conditional, flag-setting) mnemonic."""
    for cut in range(len(mnemonic), 0, -1):
        base, rest = mnemonic[:cut], mnemonic[cut:]
        if base in BASES:
            may_s = BASES[base][3]
        elif base in DATA_PROCESSING:
            may_s = True
        else:
            continue
        if rest == "" or rest in CONDS:
            return base
        if may_s and (rest == "s" or (rest[:1] == "s" and rest[1:] in CONDS) or
                      (rest[-1:] == "s" and rest[:-1] in CONDS)):
            return base
    # Anything else (extends, saturating and parallel arithmetic, clz, ...):
    # one data-processing cycle; drop a condition for the name.
    if len(mnemonic) > 3 and mnemonic[-2:] in CONDS:
        return mnemonic[:-2]
    return mnemonic


def regs(text):
    return [ALIASES.get(r, r) for r in REG.findall(text)]


def classify(mnemonic, operands):
    """(class, issue cycles, latency, destinations, sources, writes pc)."""
    base = split_mnemonic(mnemonic)
    cls, issue, latency, _ = BASES.get(base, ("alu", 1, 1, True))
    ops = operands
    if cls in ("load", "store"):
        bracket = ops.find("[")
        addr = regs(ops[bracket:]) if bracket >= 0 else []
        data = regs(ops[:bracket]) if bracket >= 0 else regs(ops)
        if cls == "load":
            return cls, issue, latency, data, addr, "r15" in data
        return cls, issue, latency, [], addr, False
    if cls in ("ldm", "stm"):
        brace = ops.find("{")
        lst = regs(ops[brace:]) if brace >= 0 else regs(ops)
        base_reg = regs(ops[:brace]) if brace >= 0 else []
        if base in ("pop", "push"):
            base_reg = ["r13"]
        n = max(1, (len(lst) + 1) // 2)
        if cls == "ldm":
            return cls, n, n + 2, lst, base_reg, "r15" in lst
        return cls, n, 1, [], base_reg, False
    if cls == "branch":
        return cls, issue, latency, [], regs(ops), True
    if cls == "mul":
        r = regs(ops)
        if base in LONG:
            return cls, issue, latency, r[:2], r[2:4], False
        return cls, issue, latency, r[:1], r[1:3] if base in ACCUMULATING else r[1:], False
    r = regs(ops)
    if base in COMPARES:
        return "alu", 1, 1, [], r, False
    if REG_SHIFT.search(ops) or (base in ("lsl", "lsr", "asr", "ror") and len(r) == 3):
        issue = 2
    dst = r[:1]
    return "alu", issue, 1, dst, r[1:], dst == ["r15"]


def block_cost(instructions):
    """Cycles of one execution of a block and its instruction classes."""
    ready = {}
    t = 0.0
    classes = {}
    for mnemonic, operands in instructions:
        cls, issue, latency, dst, src, writes_pc = classify(mnemonic, operands)
        start = max([t] + [ready.get(s, 0.0) for s in src])
        t = start + issue
        if writes_pc:
            t += MISPREDICT_RATE * MISPREDICT_PENALTY
            cls = "branch"
        for d in dst:
            ready[d] = start + latency
        classes[cls] = classes.get(cls, 0) + 1
    return t, classes


def parse_blocks(path):
    """[(pc, runs, [(address, mnemonic, operands)])] from tb_filter's output."""
    blocks = []
    with open(path) as f:
        for line in f:
            if line.startswith("B "):
                _, pc, runs = line.split()
                blocks.append((int(pc, 16), int(runs), []))
            elif line.startswith("0x") and blocks:
                # 0x00010074:  e3a00000  mov      r0, #0
                parts = line.split(None, 3)
                mnemonic = parts[2] if len(parts) > 2 else "?"
                operands = parts[3].strip() if len(parts) > 3 else ""
                blocks[-1][2].append((int(parts[0].rstrip(":"), 16), mnemonic, operands))
    return blocks


class Symbols:
    """Function names of the loaded objects at their run-time addresses."""

    def __init__(self, objects_path, nm):
        self.starts, self.entries = [], []
        entries = []
        with open(objects_path) as f:
            for line in f:
                fields = line.split(None, 2)
                if len(fields) < 3 or fields[0] != "object":
                    continue
                base, path = int(fields[1], 16), fields[2].strip()
                main = path.startswith("(main)")
                if main:
                    path = path.split(" ", 1)[1] if " " in path else ""
                if not path:
                    continue
                label = path.rsplit("/", 1)[-1]
                # The full symbol table, else (a stripped shared library) the
                # dynamic one. Symbols without a size (assembly) reach to the
                # next symbol.
                for args in ([], ["-D"]):
                    out = subprocess.run([nm, "-C", "-S", "-n", "--defined-only"] + args + [path],
                                         capture_output=True, text=True).stdout
                    found = 0
                    for sym in out.splitlines():
                        p = sym.split(None, 2)
                        if len(p) == 3 and len(p[1]) == 1:
                            address, size, kind, name = p[0], None, p[1], p[2]
                        else:
                            p = sym.split(None, 3)
                            if len(p) != 4:
                                continue
                            address, size, kind, name = p[0], int(p[1], 16), p[2], p[3]
                        if kind.lower() not in ("t", "w") or name.startswith("$"):
                            continue
                        entries.append((base + int(address, 16), size, name, label))
                        found += 1
                    if found:
                        break
                # Code before the first symbol of this object.
                entries.append((base, 0, None, label))
        entries.sort(key=lambda e: (e[0], e[2] is not None))
        self.starts = [e[0] for e in entries]
        self.entries = entries

    def name(self, address):
        i = bisect_right(self.starts, address) - 1
        if i < 0:
            return "(unknown)", "?"
        start, size, name, label = self.entries[i]
        if name is not None and (size is None or address < start + size):
            return name, label
        return f"({label}: code without a symbol)", label


def short(name):
    if name.startswith("("):
        return name
    name = re.sub(r"\(anonymous namespace\)::", "", name)
    name = re.sub(r"\(.*$", "", name)
    name = re.sub(r"^mp3d::", "", name)
    name = re.sub(r"@.*$", "", name)
    return name


def count(blocks_path, objects_path, nm, samples, rate):
    syms = Symbols(objects_path, nm)
    functions = {}
    total = {"instructions": 0, "cycles": 0.0}
    classes = {}
    cache = {}
    for pc, runs, insns in parse_blocks(blocks_path):
        key = tuple(insns)
        if key not in cache:
            cache[key] = block_cost([(m, o) for _, m, o in insns])
        cycles, cls = cache[key]
        # A block may run across a function's end (a fall-through into the
        # next symbol): charge each instruction to its own function.
        per_fn = {}
        for address, _, _ in insns:
            fn = syms.name(address)
            per_fn[fn] = per_fn.get(fn, 0) + 1
        n = len(insns)
        for (fn, label), k in per_fn.items():
            rec = functions.setdefault(short(fn), {"object": label, "instructions": 0,
                                                   "cycles": 0.0})
            rec["instructions"] += k * runs
            rec["cycles"] += cycles * runs * k / n
        total["instructions"] += n * runs
        total["cycles"] += cycles * runs
        for c, k in cls.items():
            classes[c] = classes.get(c, 0) + k * runs
    return {
        "samples": samples,
        "rate": rate,
        "instructions": total["instructions"],
        "cycles": total["cycles"],
        "classes": classes,
        "functions": sorted(
            ({"name": k, **v} for k, v in functions.items()),
            key=lambda r: -r["cycles"]),
    }


def report(paths):
    """Markdown tables from count results named STREAM__DECODER.json."""
    runs = {}
    order = []
    for path in paths:
        stem = path.rsplit("/", 1)[-1][:-len(".json")]
        stream, decoder = stem.split("__")
        with open(path) as f:
            runs[(stream, decoder)] = json.load(f)
        if stream not in order:
            order.append(stream)
    decoders = ["mp3d", "libmad", "libmpg123"]
    out = []
    w = out.append
    w("| stream | decoder | instructions per sample | est. cycles per sample | cycles per "
      "instruction | MHz for real time | cycles / mp3d's |")
    w("| --- | --- | ---: | ---: | ---: | ---: | ---: |")
    for stream in order:
        base = runs.get((stream, "mp3d"))
        for d in decoders:
            r = runs.get((stream, d))
            if r is None:
                continue
            ips = r["instructions"] / r["samples"]
            cps = r["cycles"] / r["samples"]
            # Per sample: the decoders may have decoded different lengths.
            ratio = f"{cps / (base['cycles'] / base['samples']):.2f}x" if base else "-"
            w(f"| {stream} | {d} | {ips:.1f} | {cps:.1f} | {cps / ips:.2f} | "
              f"{cps * r['rate'] / 1e6:.2f} | {ratio} |")
    w("")
    w("Instruction mix (share of executed instructions):")
    w("")
    w("| stream | decoder | loads | stores | multiplies | branches | other |")
    w("| --- | --- | ---: | ---: | ---: | ---: | ---: |")
    for stream in order:
        for d in decoders:
            r = runs.get((stream, d))
            if r is None:
                continue
            c, n = r["classes"], r["instructions"]
            loads = c.get("load", 0) + c.get("ldm", 0)
            stores = c.get("store", 0) + c.get("stm", 0)
            mul, br = c.get("mul", 0), c.get("branch", 0)
            other = n - loads - stores - mul - br
            w(f"| {stream} | {d} | {100 * loads / n:.1f}% | {100 * stores / n:.1f}% | "
              f"{100 * mul / n:.1f}% | {100 * br / n:.1f}% | {100 * other / n:.1f}% |")
    for d, top in (("mp3d", 14), ("libmad", 8), ("libmpg123", 8)):
        for stream in order:
            r = runs.get((stream, d))
            if r is None or (d != "mp3d" and stream != order[0]):
                continue
            w("")
            w(f"Profile of {d}, {stream} (per output sample; share of the estimated cycles):")
            w("")
            w("| function | instructions | est. cycles | share |")
            w("| --- | ---: | ---: | ---: |")
            rest_i = rest_c = 0.0
            for i, fn in enumerate(r["functions"]):
                if i < top:
                    w(f"| `{fn['name']}` | {fn['instructions'] / r['samples']:.2f} | "
                      f"{fn['cycles'] / r['samples']:.2f} | "
                      f"{100 * fn['cycles'] / r['cycles']:.1f}% |")
                else:
                    rest_i += fn["instructions"]
                    rest_c += fn["cycles"]
            if rest_c:
                w(f"| (everything else) | {rest_i / r['samples']:.2f} | "
                  f"{rest_c / r['samples']:.2f} | {100 * rest_c / r['cycles']:.1f}% |")
    return "\n".join(out) + "\n"


def selftest():
    """Checks of the mnemonic parser and the model on hand-worked blocks."""
    checks = [
        (split_mnemonic("bls"), "b"), (split_mnemonic("blt"), "b"),
        (split_mnemonic("bleq"), "bl"), (split_mnemonic("teq"), "teq"),
        (split_mnemonic("addseq"), "add"), (split_mnemonic("ldrbne"), "ldrb"),
        (split_mnemonic("smlalne"), "smlal"), (split_mnemonic("popeq"), "pop"),
        (split_mnemonic("smulwb"), "smulwb"), (split_mnemonic("movs"), "mov"),
        # load then immediate use: 1 + 2 interlock + 1
        (block_cost([("ldr", "r0, [r1]"), ("add", "r2, r0, #1")])[0], 4.0),
        # one independent instruction between: 1 + 1 + 1 interlock + 1
        (block_cost([("ldr", "r0, [r1]"), ("mov", "r3, #0"), ("add", "r2, r0, r3")])[0], 4.0),
        # register-specified shift: 2 cycles
        (block_cost([("add", "r0, r1, r2, lsl r3")])[0], 2.0),
        # multiply-accumulate chain on one accumulator: no interlock
        (block_cost([("smlal", "r0, r1, r2, r3"), ("smlal", "r0, r1, r4, r5")])[0], 6.0),
        # 64-bit product used at once: 3 + 2 interlock + 1
        (block_cost([("smull", "r0, r1, r2, r3"), ("add", "r4, r1, r1")])[0], 6.0),
        # pop of 5 registers with pc: 3 cycles + the branch surcharge
        (block_cost([("pop", "{r4, r5, r6, r7, pc}")])[0], 3.5),
        (block_cost([("push", "{r4, lr}"), ("bl", "#0x1000")])[0], 2.5),
    ]
    bad = [(i, got, want) for i, (got, want) in enumerate(checks) if got != want]
    for i, got, want in bad:
        print(f"selftest {i}: got {got}, expected {want}")
    print(f"count.py selftest: {len(checks) - len(bad)} passed, {len(bad)} failed")
    return 1 if bad else 0


def main(argv):
    if len(argv) >= 2 and argv[1] == "selftest":
        return selftest()
    if len(argv) >= 3 and argv[1] == "report":
        sys.stdout.write(report(argv[2:]))
        return 0
    if len(argv) == 7 and argv[1] == "count":
        result = count(argv[2], argv[3], argv[4], int(argv[5]), int(argv[6]))
        json.dump(result, sys.stdout, indent=1)
        return 0
    print(__doc__.split("\n\n")[1], file=sys.stderr)
    return 2


if __name__ == "__main__":
    sys.exit(main(sys.argv))
