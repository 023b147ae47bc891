#!/usr/bin/python3
"""bench/run.py [GROUP...]: runs the groups of figures in bench/figures (all of them) one after the other on the display it
finds, and prints one table in Markdown with the goal beside each figure. Started by scripts/bench.sh."""

import datetime
import importlib
import os
import pathlib
import platform
import sys

from tarnbench import Bench

HERE = pathlib.Path(__file__).resolve().parent


def main():
    names = sys.argv[1:] or sorted(path.stem for path in (HERE / "figures").glob("*.py"))
    bench = Bench()
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
    print(f"\n{datetime.date.today()}, {os.cpu_count()} cores, {platform.machine()}, Linux {platform.release()}\n")
    print(bench.table())
    return 1 if failed else 0


sys.exit(main())
