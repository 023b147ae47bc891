"""Round trips over the RPC core beside a bare gRPC echo of the same message on the same kind of socket."""

import os
import tempfile
import time

from tarnbench import BUILD, Platform, Program, at_most, median, ratio_at_most

TITLE = "Round trip"
ROUNDS = 7
CALLS = 3000
RECORD_CALLS = 300
CALLERS = 8
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
    compare(bench, "operation that posts an event", (host, "ShowNotifyMessage notice"), (bare, "ack notice"), CALLS)
    compare(bench, "echo object", (echo, "ack notice"), (bare, "ack notice"), CALLS)
    compare(bench, "50 records x 12 keys and back", (echo, "convert records"), (bare, "convert records"), RECORD_CALLS,
            goal50=1.2, goal99=None)
    after_rest(bench, (host, "QueryYunLoginDialogState notice"), (bare, "ack notice"))
    answered, seconds = host.numbers(f"parallel ShowNotifyMessage notice {CALLS} {CALLERS}")
    _, bare_seconds = bare.numbers(f"parallel ack notice {CALLS} {CALLERS}")
    lost = CALLERS * CALLS - answered
    bench.row(f"{CALLERS} callers at once, lost of {CALLERS * CALLS}", lost, goal=at_most(0))
    bench.row(f"{CALLERS} callers at once, calls a second", answered / seconds, CALLERS * CALLS / bare_seconds, unit="/s")

    for program in reversed(programs):
        program.close()
    platform.close()


def compare(bench, name, ours, reference, calls, goal50=1.4, goal99=2.0):
    """Rounds take turns, so that a busy moment of the machine hits both."""
    results = {0: [], 1: []}
    for side, (program, what) in enumerate((ours, reference)):
        program.numbers(f"run {what} {calls // 10}")
    for _ in range(ROUNDS):
        for side, (program, what) in enumerate((ours, reference)):
            count, p50, p99, _ = program.numbers(f"run {what} {calls}")
            if count != calls:
                raise RuntimeError(f"{name}: {calls - count} calls failed")
            results[side].append((p50, p99))
    for index, label, goal in ((0, "p50", goal50), (1, "p99", goal99)):
        mine, theirs = (median([result[index] for result in results[side]]) for side in (0, 1))
        bench.row(f"{name}, {label}", mine, theirs, goal=ratio_at_most(goal) if goal else None, unit="us")


def after_rest(bench, ours, reference):
    """Single calls, as users cause them: the connection has been idle, the threads sleep."""
    results = ([], [])
    for _ in range(REST_CALLS):
        for side, (program, what) in enumerate((ours, reference)):
            time.sleep(REST_SECONDS)
            results[side].append(program.numbers(f"run {what} 1")[1])
    bench.row(f"one call after {REST_SECONDS * 1000:.0f} ms of rest, p50", median(results[0]), median(results[1]),
              goal=ratio_at_most(1.3), unit="us")
