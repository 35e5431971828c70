#!/usr/bin/env python3
"""Works out the two reports that the module gives of a small dump or of a header alone, from the file's bytes and the public layout of the
format alone: without symbols, and with symbols where there are none to be had. It shares nothing with the module or the
engine: its results are the golden files beside it. The file's name on the machine and the time of the analysis are left
out, since they are the run's own.

    from_bytes.py FILE > NAME.json
"""

import datetime
import importlib.util
import json
import os
import pathlib
import sys

PLACE = pathlib.Path(__file__).resolve().parent.parent / "dump_info" / "from_bytes.py"
SPEC = importlib.util.spec_from_file_location("dump_bytes", PLACE)
dump = importlib.util.module_from_spec(SPEC)
SPEC.loader.exec_module(dump)
u32, u64, maybe64, code, address = dump.u32, dump.u64, dump.maybe64, dump.code, dump.address

KERNEL_SPACE = 0xFFFF800000000000
STACK_BYTES = 2048
MOST_FRAMES = 20
CONTEXT = 0x348
# In the order of their names as texts.
REGISTERS = {"r10": 0xC8, "r11": 0xD0, "r12": 0xD8, "r13": 0xE0, "r14": 0xE8, "r15": 0xF0, "r8": 0xB8, "r9": 0xC0,
             "rax": 0x78, "rbp": 0xA0, "rbx": 0x90, "rcx": 0x80, "rdi": 0xB0, "rdx": 0x88, "rip": 0xF8, "rsi": 0xA8,
             "rsp": 0x98}


def east_asian(ticks):
    """In UTC plus eight hours, to the second."""
    if not ticks:
        return ""
    day = datetime.datetime(1601, 1, 1) + datetime.timedelta(seconds=ticks // 10_000_000, hours=8)
    return day.strftime("%Y-%m-%dT%H:%M:%S")


def level_name(level):
    return ["PASSIVE_LEVEL", "APC_LEVEL", "DISPATCH_LEVEL"][level] if level < 3 else f"DEVICE_LEVEL_{level}"


class Memory:
    """What small dumps keep: blocks of data, then the stack."""

    def __init__(self, b, small):
        self.b = b
        t = small.t
        self.segments = [(u64(b, at), u32(b, at + 8), u32(b, at + 12))
                         for at in range(t(0x78), t(0x78) + 16 * t(0x7C), 16)]
        self.segments.append((u64(b, 0x2048), t(0x28), t(0x2C)))

    def read(self, start, size):
        """From `start` on, up to the first byte that is not there."""
        got = b""
        while len(got) < size:
            at = start + len(got)
            for base, place, length in self.segments:
                if base <= at < base + length and place + at - base < len(self.b):
                    got += self.b[place + at - base:place + min(length, at - base + size - len(got))]
                    break
            else:
                break
        return got


def module_names(modules):
    """The kernel, which is the first, is nt; others have their file's name without the ending."""
    taken = set()
    for i, module in enumerate(modules):
        stem = module["name"].rsplit(".", 1)[0]
        name = "nt" if i == 0 else "".join(c if c.isascii() and (c.isalnum() or c == "_") else "_" for c in stem)
        if name.lower() in taken:
            name += f"_{module['base']:x}"
        taken.add(name.lower())
        yield name


def place_in(modules, value):
    for module in modules:
        if module["base"] <= value < module["base"] + module["size"]:
            return f"{module['short']}+0x{value - module['base']:X}"
    return None


def scan(b, memory, modules):
    rsp = u64(b, CONTEXT + REGISTERS["rsp"])
    stack, seen, frames = memory.read(rsp, STACK_BYTES), set(), []
    for i in range(len(stack) // 8):
        value = u64(stack, 8 * i)
        symbol = place_in(modules, value) if value >= KERNEL_SPACE and value not in seen else None
        if symbol is None:
            continue
        seen.add(value)
        frames.append({"stack_address": address(rsp + 8 * i), "code_address": address(value), "symbol": symbol})
        if len(frames) >= MOST_FRAMES:
            break
    return frames


def system_info(b):
    uptime = maybe64(b, 0x1030) or 0
    return {"os_version": f"{u32(b, 8)} Kernel Version {u32(b, 12)} Free x64", "machine_type": "x64",
            "processor_count": 0, "system_uptime_ms": uptime // 10_000_000 * 1000 % 2**32,
            "crash_time": east_asian(maybe64(b, 0xFA8))}


def modules_of(small):
    """The loaded ones and the unloaded ones; of a header alone there are none."""
    if small is None:
        return [], []
    loaded = list(small.modules())
    for module, name in zip(loaded, module_names(loaded)):
        module["short"] = name
    gone = [{"base": int(m["start"], 16), "size": int(m["end"], 16) - int(m["start"], 16),
             "short": m["name"].rsplit(".", 1)[0]} for m in small.unloaded()]
    return loaded, gone


def without_symbols(b, small, analysis, common, irql):
    loaded, gone = modules_of(small)
    registers = {name: address(u64(b, CONTEXT + at)) for name, at in REGISTERS.items()}
    report = {
        "analysis_info": {**analysis, "symbol_mode": "no_symbol", "symbol_loaded": False, "importance": "TRUE"},
        **common, "crash_context": {**irql, "registers": registers}}
    if small:
        report["call_stack"] = scan(b, Memory(b, small), loaded + gone)
        report["loaded_modules"] = [
            {"name": m["short"], "base_address": address(m["base"]), "size": code(m["size"]),
             "timestamp": m["timestamp"], "path": m["path"]} for m in loaded]
    return report


def with_symbols(b, small, analysis, common, irql):
    loaded, gone = modules_of(small)
    rip = u64(b, CONTEXT + REGISTERS["rip"])
    # No image has its function table in these dumps, so that the walk ends with the frame that it begins with.
    top = {"stack_address": address(u64(b, CONTEXT + REGISTERS["rsp"])), "code_address": address(rip),
           "symbol": place_in(loaded + gone, rip) or f"0x{rip:016X}"}
    # The kernel is found, but the pages with its version are not there; without it there is no word of a version.
    versions = {"nt_file_version": "", "nt_product_version": ""} if small else {}
    return {
        "analysis_info": {**analysis, "symbol_mode": "full", "symbol_loaded": True, "importance": "TRUE"},
        "system_info": {**common["system_info"], **versions}, "bugcheck": common["bugcheck"],
        "crash_context": {"process_name": "Unknown", **irql}, "call_stack": [top]}


def main():
    path = sys.argv[1]
    with open(path, "rb") as file:
        b = file.read()
    dump_type = u32(b, 0xF98)
    small = dump.Small(b) if dump_type == 4 else None
    analysis = {"dump_type": {1: "Complete Memory Dump", 4: "Small Memory Dump"}[dump_type],
                "analyzer_version": "1.0.0"}
    common = {"system_info": system_info(b),
              "bugcheck": {"code": code(u32(b, 0x38)),
                           **{f"parameter{i + 1}": address(u64(b, 0x40 + 8 * i)) for i in range(4)}}}
    irql = {}
    if small:
        level = small.cr8() & 15
        irql = {"irql": {"level": level, "name": level_name(level)}}
    facts = {"file": os.path.basename(path), "no_symbol": without_symbols(b, small, analysis, common, irql),
             "full": with_symbols(b, small, analysis, common, irql)}
    modules = facts["no_symbol"].get("loaded_modules", [])
    if modules:
        facts["no_symbol"]["loaded_modules"] = "@modules"
    rows = ",\n   ".join(json.dumps(row, ensure_ascii=False) for row in modules)
    print(json.dumps(facts, indent=1, ensure_ascii=False).replace('"@modules"', f"[\n   {rows}\n  ]"))


if __name__ == "__main__":
    main()
