#!/usr/bin/env python3
"""check-binaries.py DIR [hardened]: reads the programs and libraries of DIR with readelf. Every library search path must be
relative to the program; "hardened" also expects what the release build is compiled and linked with."""
import os
import subprocess
import sys


def readelf(path):
    return subprocess.run(["readelf", "--wide", "--dynamic", "--program-headers", "--dyn-syms", path],
                          capture_output=True, text=True, check=True).stdout


def faults(text, hardened):
    for line in text.splitlines():
        if "(RUNPATH)" in line or "(RPATH)" in line:
            entries = line.split("[", 1)[1].rsplit("]", 1)[0].split(":")
            if not all(entry.startswith("$ORIGIN") for entry in entries):
                yield "search path " + ":".join(entries)
        if "GNU_STACK" in line and "RWE" in line:
            yield "executable stack"
    if hardened:
        if "BIND_NOW" not in text and "Flags: NOW" not in text:
            yield "symbols are bound late"
        if "GNU_RELRO" not in text:
            yield "no RELRO"
        if "__stack_chk_fail" not in text:
            yield "no stack protector"


def main():
    hardened = "hardened" in sys.argv[2:]
    checked = found = 0
    for directory, _, names in os.walk(sys.argv[1]):
        for path in (os.path.join(directory, name) for name in names):
            with open(path, "rb") as file:
                if os.path.islink(path) or file.read(4) != b"\x7fELF":
                    continue
            checked += 1
            for fault in faults(readelf(path), hardened):
                print(f"{path}: {fault}")
                found += 1
    return 0 if checked and not found else 1


sys.exit(main())
