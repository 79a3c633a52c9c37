#!/usr/bin/env python3
"""Reads the shipped modules' headers: what a loader needs to protect the host is there, and nothing of the build machine.

Every module: data is not executable, addresses are random and of high entropy, relocations are there for that, no section is both
writable and executable, the checksum is right, no path of the folder that it was built in is inside, no time of its building.
"""
import os
import pathlib
import struct
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
WANTED = {0x0100: "data execution prevention", 0x0040: "random addresses", 0x0020: "high-entropy addresses"}
SECTION_WRITES, SECTION_RUNS = 0x80000000, 0x20000000
NO_RELOCATIONS = 0x0001


def checksum(image: bytes, offset: int) -> int:
    """The platform's: 16-bit words added with carry, without the field itself, and the length."""
    padded = image[:offset] + bytes(4) + image[offset + 4:] + bytes(len(image) % 2)
    total = sum(struct.unpack(f"<{len(padded) // 2}H", padded))
    while total >> 16:
        total = (total & 0xFFFF) + (total >> 16)
    return total + len(image)


def faults(image: bytes):
    header = struct.unpack_from("<I", image, 0x3C)[0]
    sections, stamp, optional_size, characteristics = struct.unpack_from("<2xHI8xHH", image, header + 4)
    optional = header + 24
    if image[header:header + 4] != b"PE\0\0" or struct.unpack_from("<H", image, optional)[0] != 0x20B:
        yield "no 64-bit module"
        return
    found = struct.unpack_from("<H", image, optional + 70)[0]
    yield from (f"no {name}" for bit, name in WANTED.items() if not found & bit)
    if struct.unpack_from("<I", image, optional + 64)[0] != checksum(image, optional + 64):
        yield "a wrong checksum"
    relocations = struct.unpack_from("<I", image, optional + 112 + 5 * 8 + 4)[0]
    has_code = struct.unpack_from("<I", image, optional + 16)[0] != 0
    if characteristics & NO_RELOCATIONS or (has_code and relocations == 0):
        yield "no relocations"
    if stamp:
        yield "the time of its building"
    for number in range(sections):
        name, flags = struct.unpack_from("<8s28xI", image, optional + optional_size + 40 * number)
        if flags & SECTION_WRITES and flags & SECTION_RUNS:
            yield f"the section {name.decode().strip(chr(0))}, writable and executable"
    for folder in {str(ROOT), str(pathlib.Path.home()) + "/"}:
        if any(folder.encode(code) in image for code in ("utf-8", "utf-16-le")):
            yield f"the path {folder}"


def main() -> int:
    stage = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else ROOT / "out" / os.environ.get("HALVORA_COMPILER", "") / "windows/stage"
    modules = sorted(path for path in stage.rglob("*") if path.suffix in {".dll", ".exe"})
    modules = [path for path in modules if ".unsigned" not in path.parts]
    bad = 0
    for module in modules:
        for fault in faults(module.read_bytes()):
            print(f"{module.name} has {fault}")
            bad += 1
    print(f"note: {len(modules)} modules")
    return 1 if bad or not modules else 0


sys.exit(main())
