"""Memory, processor time and wake-ups of the host, beside a bare Qt Widgets process and a bare gRPC server and client."""

import os
import tempfile
import time

from tarnbench import BUILD, Platform, Program, at_most, close_window, pss_mib, ratio_at_most, wake_ups

TITLE = "Memory and rest"
ROLE = "NotifyWnd"
MANY = 1000
FEW = 10
REST_SECONDS = 5
SETTLE_SECONDS = 0.3  # the window manager has answered
IDLE_SECONDS = 60


def run(bench):
    watch = Program(BUILD / "bench" / "mapwatch", ready=False)
    bare = Program(BUILD / "bench" / "bare_window")
    platform = Platform()
    caller = platform.program("rpc_caller", "IVisualizedService")
    pid = platform.host.pid
    time.sleep(1)  # start-up work of both is over
    bench.row("idle host, PSS", pss_mib(pid), pss_mib(bare.pid), at_most(16, "MiB"), "MiB")
    idle(bench, pid)

    show(watch, caller, 0)
    time.sleep(SETTLE_SECONDS)
    before = own(wake_ups(pid))
    time.sleep(REST_SECONDS)
    bench.row(f"wake-ups of the host's and Qt's threads in {REST_SECONDS} s with a pop-up standing",
              own(wake_ups(pid)) - before, goal=at_most(0))
    bench.row("with a pop-up standing, PSS", pss_mib(pid), goal=at_most(30, "MiB"), unit="MiB")
    close_window(ROLE)

    sizes = {}
    for number in range(1, MANY + 1):
        show(watch, caller, number)
        close_window(ROLE)
        if number in (FEW, MANY):
            sizes[number] = pss_mib(pid)
    bench.row(f"growth from {FEW} to {MANY} pop-ups, PSS", sizes[MANY] - sizes[FEW], goal=at_most(2, "MiB"), unit="MiB")
    caller.close()
    bare.close()
    platform.close()
    watch.close()


def idle(bench, pid):
    socket = os.path.join(tempfile.mkdtemp(prefix="bench."), "bare.sock")
    server = Program(BUILD / "bench" / "bare_echo", "serve", socket)
    client = Program(BUILD / "bench" / "bare_echo", "call", socket)
    client.ask("run ack notice 1")
    time.sleep(1)
    pids = (pid, server.pid, client.pid)
    before = [wake_ups(each) for each in pids]
    time.sleep(IDLE_SECONDS)
    host, *bare = [{thread: count - earlier.get(thread, 0) for thread, count in wake_ups(each).items()}
                   for each, earlier in zip(pids, before)]
    minute = 60 / IDLE_SECONDS
    bench.row("wake-ups of the idle host a minute, to gRPC server and client", sum(host.values()) * minute,
              sum(sum(threads.values()) for threads in bare) * minute, ratio_at_most(1.1))
    bench.row("wake-ups of the host's and Qt's threads a minute", own(host) * minute, goal=at_most(0))
    client.close()
    server.close()


def own(threads):
    """Of the threads that are not gRPC's."""
    return sum(count for (_, name), count in threads.items() if name.startswith(("visualized-host", "Q")))


def show(watch, caller, number):
    watch.ask("reset")
    caller.ask(f"show 第 {number} 条")
    if not watch.ask("wait 380 60 5000 30").startswith("mapped"):
        raise RuntimeError("no pop-up came up")
