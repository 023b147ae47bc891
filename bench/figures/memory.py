"""Memory and processor time of the host, beside a bare Qt Widgets process."""

import time

from tarnbench import BUILD, Platform, Program, at_most, pss_mib, ticks

TITLE = "Memory and rest"
ROLE = "NotifyWnd"
MANY = 1000
FEW = 10
REST_SECONDS = 5


def run(bench):
    watch = Program(BUILD / "bench" / "mapwatch", ready=False)
    bare = Program(BUILD / "bench" / "bare_window")
    platform = Platform()
    caller = platform.program("rpc_caller", "IVisualizedService")
    pid = platform.host.pid
    time.sleep(1)  # start-up work of both is over
    bench.row("idle host, PSS", pss_mib(pid), pss_mib(bare.pid), at_most(20, "MiB"), "MiB")

    show(watch, caller, 0)
    before = ticks(pid)
    time.sleep(REST_SECONDS)
    bench.row(f"ticks in {REST_SECONDS} s with a pop-up standing", ticks(pid) - before, goal=at_most(0))
    bench.row("with a pop-up standing, PSS", pss_mib(pid), goal=at_most(30, "MiB"), unit="MiB")
    watch.ask(f"close {ROLE}")

    sizes = {}
    for number in range(1, MANY + 1):
        show(watch, caller, number)
        watch.ask(f"close {ROLE}")
        if number in (FEW, MANY):
            sizes[number] = pss_mib(pid)
    bench.row(f"growth from {FEW} to {MANY} pop-ups, PSS", sizes[MANY] - sizes[FEW], goal=at_most(2, "MiB"), unit="MiB")
    caller.close()
    bare.close()
    platform.close()
    watch.close()


def show(watch, caller, number):
    watch.ask("reset")
    caller.ask(f"show 第 {number} 条")
    if not watch.ask("wait 380 60 5000 30").startswith("mapped"):
        raise RuntimeError("no pop-up came up")
