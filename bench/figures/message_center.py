"""The message center's window beside a list view that fetches the same records and draws in the same faces."""

import os

from tarnbench import BUILD, Program, at_most, in_turns, medians, ratio_at_most

TITLE = "Message center"
RUNS = 9
FETCH, FIRST, ALL, LONGEST, SCROLL, EXPAND_P50, EXPAND_P95, READ_ALL, KIB, SECOND = range(10)


def run(bench):
    empty = figures("ours", 0)
    for count in (1000, 10000):
        ours, view = map(medians, in_turns(RUNS, lambda: figures("ours", count), lambda: figures("view", count)))
        bench.row(f"{count}: fetch in this process (not counted below)", ours[FETCH], unit="ms")
        bench.row(f"{count}: first paint, to list view", ours[FIRST], view[FIRST], ratio_at_most(1.4), "ms")
        bench.row(f"{count}: second opening, first paint, to list view", ours[SECOND], view[SECOND], at_most(12, "ms"),
                  "ms")
        bench.row(f"{count}: all there", ours[ALL], goal=at_most(150 if count == 1000 else 2000, "ms"), unit="ms")
        bench.row(f"{count}: longest event after the first paint", ours[LONGEST], goal=at_most(16, "ms"), unit="ms")
        bench.row(f"{count}: scrolling a page, p95, to list view", ours[SCROLL], view[SCROLL], at_most(16, "ms"), "ms")
        bench.row(f"{count}: expanding, p50 of 200", ours[EXPAND_P50], goal=at_most(2.5, "ms"), unit="ms")
        bench.row(f"{count}: expanding, p95 of 200", ours[EXPAND_P95], goal=at_most(4, "ms"), unit="ms")
        bench.row(f"{count}: read all", ours[READ_ALL], goal=at_most(300, "ms"), unit="ms")
        kib = ours[KIB] - empty[KIB]
        bench.row(f"{count}: memory above the empty window", kib / 1024, goal=at_most(30, "MiB"), unit="MiB")
        if count == 10000:
            bench.row("memory of one message", kib / count, goal=at_most(2, "KiB"), unit="KiB")


def figures(form, count):
    """Of one process, in the order of the constants above."""
    env = dict(os.environ, BENCH_MESSAGES=str(count), TARN_MODULE_PATH=str(BUILD / "bench" / "message_client"))
    program = Program(BUILD / "bench" / "message_center", form, env=env, ready=False)
    answer = [float(word) for word in program.read().split()]
    program.close()
    return answer
