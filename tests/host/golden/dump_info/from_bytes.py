#!/usr/bin/env python3
"""Works out what `wardlet dump info --json` has to say of a crash dump, from the file's bytes and the public layout of
the format alone. It shares nothing with the program: its results are the golden files beside it.

    from_bytes.py FILE > NAME.json
"""

import datetime
import json
import os
import struct
import sys
import uuid

ABSENT32, ABSENT64 = 0x45474150, 0x4547415045474150

# For the stop codes of the samples, read off the platform's documentation.
STOP_CODES = {
    0x0: (None, [None] * 4),
    0x1A: ("MEMORY_MANAGEMENT", ["kind of memory management failure"] + ["depends on the kind"] * 3),
    0x1E: ("KMODE_EXCEPTION_NOT_HANDLED", ["exception code", "instruction that raised it",
                                           "the exception's first own parameter",
                                           "the exception's second own parameter"]),
    0x4A: ("IRQL_GT_ZERO_AT_SYSTEM_SERVICE", ["system call routine", "IRQL on the way back to user mode", None, None]),
    0x50: ("PAGE_FAULT_IN_NONPAGED_AREA", ["address that was touched",
                                           "0 if it was read, 1 or 2 if it was written, else run as code",
                                           "instruction that touched it", "kind of page fault"]),
    0x65: ("MEMORY1_INITIALIZATION_FAILED", [None] * 4),
    0x1000007E: ("SYSTEM_THREAD_EXCEPTION_NOT_HANDLED_M", ["exception code", "instruction that raised it",
                                                            "address of the exception record",
                                                            "address of the context record"]),
    0x1C7: ("STORE_DATA_STRUCTURE_CORRUPTION",
            ["kind of damage", "0 to 2: buffer whose hash is wrong; 3: page place at the start of the read",
             "0 to 2: hash expected; 3: page record found now", "0 to 2: number of the physical page"]),
}
MACHINES = {0x14C: "x86", 0x8664: "x64"}
FORMS = {1: "complete", 2: "kernel", 3: "header_only", 4: "small", 5: "complete", 6: "kernel"}


def u16(b, at):
    return struct.unpack_from("<H", b, at)[0]


def u32(b, at):
    return struct.unpack_from("<I", b, at)[0]


def u64(b, at):
    return struct.unpack_from("<Q", b, at)[0]


def maybe32(b, at):
    return None if u32(b, at) == ABSENT32 else u32(b, at)


def maybe64(b, at):
    return None if u64(b, at) == ABSENT64 else u64(b, at)


def code(value):
    return None if value is None else f"0x{value:08X}"


def address(value):
    return None if value is None else f"0x{value:016X}"


def moment(ticks):
    if ticks is None:
        return None
    day = datetime.datetime(1601, 1, 1) + datetime.timedelta(seconds=ticks // 10_000_000)
    return day.strftime("%Y-%m-%dT%H:%M:%S.") + f"{ticks % 10_000_000:07d}Z"


def text(b, at, room):
    """Nothing where the filler stands, or no text at all."""
    raw = b[at:at + room]
    return None if raw[:4] == b"PAGE" else raw.split(b"\0")[0].decode("ascii") or None


def bugcheck(number, parameters):
    name, meanings = STOP_CODES[number]
    return {"code": code(number), "name": name,
            "parameters": [{"value": address(p), "meaning": m} for p, m in zip(parameters, meanings)]}


def memory(b):
    if u32(b, 0x88) == ABSENT32:
        return None
    runs = [struct.unpack_from("<QQ", b, 0x98 + 16 * i) for i in range(min(42, u32(b, 0x88)))]
    return {"pages": u64(b, 0x90), "runs": [{"base_page": base, "pages": count} for base, count in runs]}


def memory_32(b):
    if u32(b, 0x64) == ABSENT32:
        return None
    runs = [struct.unpack_from("<II", b, 0x6C + 8 * i) for i in range(min(86, u32(b, 0x64)))]
    return {"pages": u32(b, 0x68), "runs": [{"base_page": base, "pages": count} for base, count in runs]}


def header_64(b):
    return {
        "major_version": u32(b, 0x8), "directory_table_base": address(u64(b, 0x10)),
        "pfn_database": address(maybe64(b, 0x18)), "loaded_module_list": address(u64(b, 0x20)),
        "active_process_head": address(u64(b, 0x28)), "debugger_data_block": address(maybe64(b, 0x80)),
        "version_user": text(b, 0x60, 32), "physical_memory": memory(b),
        "exception": None if u32(b, 0xF00) == ABSENT32 else {"code": code(u32(b, 0xF00)),
                                                            "address": address(u64(b, 0xF10))},
        "required_dump_space": maybe64(b, 0xFA0), "comment": text(b, 0xFB0, 128),
        "mini_dump_fields": code(maybe32(b, 0x1038)), "secondary_data_state": code(maybe32(b, 0x103C)),
        "product_type": maybe32(b, 0x1040), "suite_mask": code(maybe32(b, 0x1044)),
        "writer_status": code(maybe32(b, 0x1048)), "attributes": code(maybe32(b, 0x1050)),
        "boot_id": maybe32(b, 0x1054), "kd_secondary_version": b[0x104D] if b[0x104D] != 0x41 else None}


def common(path, b, dump_type, machine):
    return {"file": path, "size": len(b), "form": FORMS[dump_type], "dump_type": dump_type,
            "machine": MACHINES[machine], "machine_type": code(machine), "build": u32(b, 0xC)}


def of_32_bit(path, b):
    facts = common(path, b, u32(b, 0xF88), u32(b, 0x20))
    facts.update({
        "crash_time": moment(maybe64(b, 0xFC0)), "uptime_ms": None,
        "bugcheck": bugcheck(u32(b, 0x28), [u32(b, 0x2C + 4 * i) for i in range(4)]),
        "processors": u32(b, 0x24), "crashing_processor": None, "instruction": None, "cr8": None, "thread": None,
        "process": None})
    known = {"major_version": u32(b, 8), "directory_table_base": address(u32(b, 0x10)),
             "loaded_module_list": address(u32(b, 0x18)), "active_process_head": address(u32(b, 0x1C)),
             "pfn_database": address(maybe32(b, 0x14)), "physical_memory": memory_32(b), "comment": text(b, 0x820, 128),
             "required_dump_space": maybe64(b, 0xFA0)}
    facts["header"] = {key: known.get(key) for key in header_64(bytes(0x2000))}
    # A complete dump, the only kind of 32 bits among the samples: pages behind a header of 4096 bytes.
    expected = 0x1000 + 4096 * sum(run["pages"] for run in memory_32(b)["runs"])
    facts.update({"modules": [], "unloaded_modules": [], "stack": None, "secondary_data": [],
                  "completeness": {"complete": expected <= len(b), "consistent": True, "expected_size": expected}})
    return facts


class Small:
    """The parts of a small dump, by the block at 0x2000."""

    def __init__(self, b):
        self.b = b
        self.t = lambda at: u32(b, 0x2000 + at)
        self.kdbg = self.t(0x70)
        self.prcb = self.t(0x1C)

    def processor(self):
        return u32(self.b, self.prcb + u16(self.b, self.kdbg + 0x2BE))

    def cr8(self):
        return u64(self.b, self.prcb + u16(self.b, self.kdbg + 0x2F2) + 0xA0)

    def thread(self):
        return u64(self.b, self.prcb + u16(self.b, self.kdbg + 0x2B4))

    def process(self):
        return u64(self.b, self.t(0x24) + u16(self.b, self.kdbg + 0x2A0))

    def modules(self):
        for i in range(self.t(0x34)):
            at = self.t(0x30) + 0x90 * i
            pool = u32(self.b, at)
            path = self.b[pool + 4:pool + 4 + 2 * u32(self.b, pool)].decode("utf-16-le")
            yield {"name": path.rsplit("\\", 1)[-1], "base": u64(self.b, at + 0x38), "size": u32(self.b, at + 0x48),
                   "timestamp": code(u32(self.b, at + 0x88)), "checksum": code(u32(self.b, at + 0x80)), "path": path}

    def unloaded(self):
        start = self.t(0x18)
        for i in range(u32(self.b, start)):
            at = start + 8 + 0x38 * i
            units = min(12, u16(self.b, at) // 2)
            name = self.b[at + 0x10:at + 0x10 + 2 * units].decode("utf-16-le").split("\0")[0]
            yield {"name": name, "start": address(u64(self.b, at + 0x28)), "end": address(u64(self.b, at + 0x30)),
                   "time": None}

    def stack(self, rsp, modules):
        top, size, place = u64(self.b, 0x2048), self.t(0x2C), self.t(0x28)
        start = rsp if top <= rsp < top + size else top
        words = []
        for at in range(start, top + size - 7, 8):
            value = u64(self.b, place + at - top)
            for module in modules:
                if module["base"] <= value < module["base"] + module["size"]:
                    words.append({"address": address(at), "value": address(value), "module": module["name"],
                                  "offset": f"0x{value - module['base']:X}"})
                    break
        return {"start": address(start), "bytes": top + size - start, "words": words}

    def secondary(self):
        """The blocks, and where the last one ends."""
        at, blocks = self.t(4), []
        if self.b[at:at + 8] != b"DumpBlob":
            return blocks, at
        at += u32(self.b, at + 8)
        while at + 0x20 <= len(self.b) and u32(self.b, at) == 0x20:
            size, before, behind = struct.unpack_from("<III", self.b, at + 0x14)
            tag = "{" + str(uuid.UUID(bytes_le=self.b[at + 4:at + 20])).upper() + "}"
            blocks.append({"tag": tag, "offset": at + 0x20 + before, "size": size})
            at += 0x20 + before + size + behind
        return blocks, at


def of_64_bit(path, b):
    facts = common(path, b, u32(b, 0xF98), u32(b, 0x30))
    up = maybe64(b, 0x1030)
    small = Small(b) if facts["dump_type"] == 4 else None
    facts.update({
        "crash_time": moment(maybe64(b, 0xFA8)), "uptime_ms": None if up is None else up // 10_000,
        "bugcheck": bugcheck(u32(b, 0x38), [u64(b, 0x40 + 8 * i) for i in range(4)]),
        "processors": u32(b, 0x34), "crashing_processor": small.processor() if small else None,
        "instruction": address(u64(b, 0x348 + 0xF8)), "cr8": small.cr8() if small else None,
        "thread": address(small.thread()) if small else None, "process": address(small.process()) if small else None,
        "header": header_64(b)})
    if not small:
        # Of this form only a header is among the samples: all its pages are missing.
        pages = sum(run["pages"] for run in facts["header"]["physical_memory"]["runs"])
        facts.update({"modules": [], "unloaded_modules": [], "stack": None, "secondary_data": [],
                      "completeness": {"complete": False, "consistent": True, "expected_size": 0x2000 + 4096 * pages}})
        return facts
    modules = list(small.modules())
    stack = small.stack(u64(b, 0x348 + 0x98), modules)
    blocks, end = small.secondary()
    attributes = maybe32(b, 0x1050)
    if attributes is not None and attributes & 8:
        # The kernel wrote the file itself and knew its size.
        end = max(end, u64(b, 0xFA0))
    facts["modules"] = [{**module, "base": address(module["base"])} for module in modules]
    facts.update({"unloaded_modules": list(small.unloaded()), "stack": stack, "secondary_data": blocks,
                  "completeness": {"complete": end <= len(b), "consistent": b[small.t(8):small.t(8) + 4] == b"TRGD",
                                   "expected_size": end}})
    return facts


def main():
    path = sys.argv[1]
    with open(path, "rb") as file:
        b = file.read()
    name = os.path.basename(path)
    facts = of_32_bit(name, b) if b[4:8] == b"DUMP" else of_64_bit(name, b)
    # A line for each value, but one for each entry of a list: what differs then shows.
    lists = {}
    for key in ("modules", "unloaded_modules", "secondary_data"):
        lists[key], facts[key] = facts[key], f"@{key}"
    words = None
    if facts["stack"]:
        words, facts["stack"]["words"] = facts["stack"]["words"], "@words"
        lists["words"] = words
    out = json.dumps(facts, indent=1, ensure_ascii=False)
    for key, rows in lists.items():
        body = ",\n  ".join(json.dumps(row, ensure_ascii=False) for row in rows)
        out = out.replace(f'"@{key}"', f"[\n  {body}\n ]" if rows else "[]")
    print(out)


if __name__ == "__main__":
    main()
