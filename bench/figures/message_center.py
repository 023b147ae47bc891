"""The message center's window beside the same list made naively and beside a bare list view."""

import os

from tarnbench import BUILD, Program, at_most, median

TITLE = "Message center"
RUNS = 3
NAMES = ("fetch", "first paint", "all there", "longest event after the first paint", "scrolling a page, p95",
         "expanding, p95", "read all", "memory")


def run(bench):
    empty = measure("ours", 0)
    for count in (1000, 10000):
        ours, composite, view = measure("ours", count), measure("composite", count, 1), measure("view", count)
        bench.row(f"{count}: fetch in this process (not counted below)", ours[0], unit="ms")
        goals = {1: at_most(30, "ms"), 2: at_most(150 if count == 1000 else 2000, "ms"), 3: at_most(16, "ms"),
                 4: at_most(16, "ms")}
        for index, goal in goals.items():
            unit = "ms"
            if index != 3:
                bench.row(f"{count}: {NAMES[index]}, to composite", ours[index], composite[index], unit=unit)
            bench.row(f"{count}: {NAMES[index]}" + (", to list view" if index != 3 else ""), ours[index],
                      view[index] if index != 3 else None, goal, unit)
        bench.row(f"{count}: expanding, p95", ours[5], goal=at_most(5, "ms"), unit="ms")
        bench.row(f"{count}: read all", ours[6], goal=at_most(300, "ms"), unit="ms")
        kib = ours[7] - empty[7]
        bench.row(f"{count}: memory above the empty window, to composite", kib / 1024, composite[7] / 1024,
                  at_most(30, "MiB"), "MiB")
        if count == 10000:
            bench.row("memory of one message", kib / count, goal=at_most(2, "KiB"), unit="KiB")


def measure(form, count, runs=RUNS):
    """Medians of the figures, in the order of NAMES; each run is a process of its own."""
    env = dict(os.environ, BENCH_MESSAGES=str(count), TARN_MODULE_PATH=str(BUILD / "bench" / "message_client"))
    results = []
    for _ in range(runs):
        program = Program(BUILD / "bench" / "message_center", form, env=env, ready=False)
        results.append([float(word) for word in program.read().split()])
        program.close()
    return [median([result[index] for result in results]) for index in range(len(NAMES))]
