#!/usr/bin/env python3
"""scripts/check-layers.py: fails on an include of src/ that breaks the order of its layers, on private headers of Qt,
gRPC or protobuf in src/ and platform/, and in src/ on Qt's logging beside VT_LOG and on a literal style sheet."""
import re
import subprocess
import sys
from pathlib import Path

TOP = Path(__file__).resolve().parent.parent
WINDOWS = {"base", "widgets", "frame/VisualizedEvents.h", "frame/VtServiceClient.h", "frame/ManagerAccess.h",
           "frame/WindowHost.h"}
# Folder of src/: the folders and single headers that its files may include, besides their own folder.
ALLOWED = {
    "base": set(),
    "widgets": {"base"},
    "upgrade": WINDOWS,
    "message": WINDOWS,
    "login": WINDOWS | {"upgrade/ProcessChecker.h"},
    "frame": {"base", "widgets", "upgrade", "message", "login"},
}
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.MULTILINE)
PRIVATE = re.compile(r"_p\.h$|(^|/)(private|qpa|internal|impl)/")
LOGGING = re.compile(r"\bq(C?(Debug|Info|Warning|Critical))\s*\(")
SHEET = re.compile(r'setStyleSheet\(\s*(QStringLiteral|QLatin1String|QString::|u?")')
CONTRACT = [TOP / "platform/contract", TOP / "platform/keys"]


def faults(path, text):
    folder = path.parts[1] if path.parts[0] == "src" else None
    for quote, header in INCLUDE.findall(text):
        if PRIVATE.search(header):
            yield f"private header {header}"
        if folder is None or quote == "<":
            continue
        if header.startswith("tarn/"):
            if not any((root / header).is_file() for root in CONTRACT):
                yield f"{header} belongs neither to the contract nor to the keys"
        elif header.split("/")[0] != folder and not {header, header.split("/")[0]} & ALLOWED[folder]:
            yield f"{folder} must not include {header}"
    if folder and path.name != "Log.h":
        yield from (f"{match[0]}...: VT_LOG is the log of src" for match in LOGGING.finditer(text))
        yield from (f"{match[0]}...: a style sheet is a named function" for match in SHEET.finditer(text))


files = subprocess.check_output(["git", "-C", TOP, "ls-files", "src/*.cpp", "src/*.h", "platform/*.cpp", "platform/*.h"], text=True)
found = [f"{name}: {fault}" for name in files.split() if (TOP / name).is_file()
         for fault in faults(Path(name), (TOP / name).read_text(encoding="utf-8"))]
print("\n".join(found) or f"{len(files.split())} files keep to their layers")
sys.exit(1 if found else 0)
