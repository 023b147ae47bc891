"""Round trips over the RPC core beside a bare gRPC echo of the same message on the same kind of socket."""

import os
import tempfile
import time

from tarnbench import (BUILD, Platform, Program, at_most, in_turns, median, medians, ratio_at_least,
                       ratio_at_most)

TITLE = "Round trip"
ROUNDS = 7
CALLS = 3000
RECORD_CALLS = 300
CALLERS = 8
# The processors' speed changes by a tenth from second to second: many short rounds in turns give both sides the same of it.
PARALLEL_CALLS = 1000
PARALLEL_ROUNDS = 21
REST_SECONDS = 0.25
REST_CALLS = 40


def run(bench):
    platform = Platform()
    socket = os.path.join(tempfile.mkdtemp(prefix="bench."), "bare.sock")
    programs = [
        Program(BUILD / "bench" / "bare_echo", "serve", socket),
        platform.program("rpc_echo", "bench.echo"),
    ]
    bare = Program(BUILD / "bench" / "bare_echo", "call", socket)
    echo = platform.program("rpc_caller", "bench.echo")
    host = platform.program("rpc_caller", "IVisualizedService")
    programs += [bare, echo, host]

    compare(bench, "operation that answers a question", (host, "QueryYunLoginDialogState notice"), (bare, "ack notice"), CALLS)
    compare(bench, "operation that posts an event", (host, "ShowNotifyMessage notice"), (bare, "post notice"), CALLS, goal50=1.5)
    compare(bench, "echo object", (echo, "ack notice"), (bare, "ack notice"), CALLS)
    compare(bench, "50 records x 12 keys and back", (echo, "convert 50"), (bare, "convert 50"), RECORD_CALLS,
            goal50=1.2, goal99=None)
    after_rest(bench, (host, "QueryYunLoginDialogState notice"), (bare, "ack notice"))
    ours, theirs = in_turns(PARALLEL_ROUNDS,
                            lambda: host.numbers(f"parallel ShowNotifyMessage notice {PARALLEL_CALLS} {CALLERS}"),
                            lambda: bare.numbers(f"parallel post notice {PARALLEL_CALLS} {CALLERS}"))
    calls = CALLERS * PARALLEL_CALLS
    lost = sum(calls - answered for answered, _ in ours)
    bench.row(f"{CALLERS} callers at once, lost of {calls * PARALLEL_ROUNDS}", lost, goal=at_most(0))
    bench.row(f"{CALLERS} callers at once, calls a second", calls / medians(ours)[1], calls / medians(theirs)[1],
              ratio_at_least(0.75), "/s")

    for program in reversed(programs):
        program.close()
    platform.close()


def compare(bench, name, ours, reference, calls, goal50=1.4, goal99=2.0):
    """Rounds take turns, so that a busy moment of the machine hits both."""
    def figures(program, what, count):
        answered, p50, p99 = program.numbers(f"run {what} {count}")
        if answered != count:
            raise RuntimeError(f"{name}: {count - answered} calls failed")
        return p50, p99

    for side in (ours, reference):
        figures(*side, calls // 10)
    results = in_turns(ROUNDS, lambda: figures(*ours, calls), lambda: figures(*reference, calls))
    for label, goal, mine, theirs in zip(("p50", "p99"), (goal50, goal99), *map(medians, results)):
        bench.row(f"{name}, {label}", mine, theirs, goal=ratio_at_most(goal) if goal else None, unit="us")


def after_rest(bench, ours, reference):
    """Single calls, as users cause them: the connection has been idle, the threads sleep."""
    def once(program, what):
        time.sleep(REST_SECONDS)
        return program.numbers(f"run {what} 1")[1]

    mine, theirs = in_turns(REST_CALLS, lambda: once(*ours), lambda: once(*reference))
    bench.row(f"one call after {REST_SECONDS * 1000:.0f} ms of rest, p50", median(mine), median(theirs),
              goal=ratio_at_most(1.3), unit="us")
