"""The sign-in dialog beside a bare one of the same size and flags, and the GUI during a sign-in that takes five seconds."""

import time

from tarnbench import BUILD, Program, at_most, in_turns, median, ratio_at_most

TITLE = "Cloud sign-in"
RUNS = 30
SETTLE_S = 0.05  # the window manager's own cleaning up after a window that had the focus


def run(bench):
    program = Program(BUILD / "bench" / "cloud_login")
    program.ask("dialog")  # fonts, icons and style are loaded once for both

    def mapped(order):
        time.sleep(SETTLE_S)
        return program.numbers(order)[0]

    ours, bare = in_turns(RUNS, lambda: mapped("dialog"), lambda: mapped("bare"))
    bench.row("request to mapped sign-in dialog, to bare dialog", median(ours), median(bare), ratio_at_most(3), "ms")
    calls = median([program.numbers("calls")[0] for _ in range(RUNS)])
    bench.row("of these, its five service calls, answered in the process", calls, unit="ms")
    ticks, middle, most, longest = program.numbers("signin 5000")
    bench.row("timer of 10 ms during a sign-in of 5 s: ticks", ticks)
    bench.row("interval, median", middle, unit="ms")
    bench.row("interval, 99 of 100", most, unit="ms")
    bench.row("interval, longest", longest, goal=at_most(50, "ms"), unit="ms")
    program.close()
