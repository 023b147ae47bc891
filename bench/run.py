#!/usr/bin/python3
"""bench/run.py [--check] [--write] [GROUP...]: runs the groups of figures in bench/figures (all of them) one after the other on
the display it finds, and prints one table in Markdown with the goal beside each figure. --check: exit code 1 when a goal is
missed. --write: puts the table into docs/benchmarks.md. Started by scripts/bench.sh."""

import datetime
import importlib
import os
import pathlib
import platform
import re
import sys

from tarnbench import ROOT, Bench, busy_share, median

HERE = pathlib.Path(__file__).resolve().parent
DOCUMENT = ROOT / "docs" / "benchmarks.md"
PLACE = re.compile("(?<=<!-- figures -->\n).*(?=<!-- end of figures -->)", re.DOTALL)
LOOK_SECONDS = 1


def machine(busy):
    name = re.search(r"model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8"))
    return (f"Measured on {datetime.date.today()}: {name[1] if name else platform.machine()}, {os.cpu_count()} cores, Linux "
            f"{platform.release()}. Between the groups, other programs took {100 * median(busy):.0f} % of the processors "
            f"(at most {100 * max(busy):.0f} %).")


def main():
    options = {word for word in sys.argv[1:] if word.startswith("--")}
    if options - {"--check", "--write"}:
        sys.exit(__doc__)
    names = [word for word in sys.argv[1:] if word not in options]
    if names and "--write" in options:
        sys.exit("--write needs all groups: the table of the page is replaced")
    names = names or sorted(path.stem for path in (HERE / "figures").glob("*.py"))
    bench = Bench()
    busy = [busy_share(LOOK_SECONDS)]
    failed = False
    for name in names:
        group = importlib.import_module(f"figures.{name}")
        bench.heading(group.TITLE)
        print(f"-- {group.TITLE}", file=sys.stderr, flush=True)
        try:
            group.run(bench)
        except (RuntimeError, OSError) as error:
            print(f"{name}: {error}", file=sys.stderr)
            bench.rows.append((f"({name} ended early: {error})", "", "", "", "", ""))
            failed = True
        busy.append(busy_share(LOOK_SECONDS))
    text = f"{machine(busy)}\n\n{bench.table()}\n"
    print(f"\n{text}\nGoals missed: {bench.missed}")
    if "--write" in options:
        DOCUMENT.write_text(PLACE.sub(lambda _: f"\n{text}\n", DOCUMENT.read_text(encoding="utf-8")), encoding="utf-8")
    return 1 if failed or ("--check" in options and bench.missed) else 0


sys.exit(main())
