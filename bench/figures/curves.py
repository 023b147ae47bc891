"""How the cost grows with the amount: each row is the exponent of the last step, 1 for a cost in proportion."""

import time

from figures import message_center
from tarnbench import BUILD, Platform, Program, in_turns, medians

TITLE = "Cost as it grows"
MESSAGES = (10, 100, 1000, 10000, 100000)
ROWS = (10, 50, 100, 200)  # further products have no row
TASKS = (10, 100, 1000, 5000)
NOTICES = (10, 100, 1000)
CALLERS = (1, 4, 16, 64)
CALLS = 400
RECORDS = (10, 100, 1000, 4000)
BAGS = 5  # of each size in each run
BAG_RUNS = 12  # more and shorter runs than the other curves: the processors' speed changes by more than the last step measures
RUNS = 3


def costs(amounts, measure, runs=RUNS):
    """The figures of each amount: medians of the measure's answers."""
    return [medians(each) for each in in_turns(runs, *(lambda amount=amount: measure(amount) for amount in amounts))]


def run(bench):
    centers = costs(MESSAGES, lambda count: message_center.figures("ours", count))
    for index, text in ((message_center.FIRST, "first paint"), (message_center.ALL, "all there")):
        bench.curve(f"message center, {text}, by messages", "ms", MESSAGES, [center[index] for center in centers])
    prompt = Program(BUILD / "bench" / "check_update")
    prompt.ask("prompt 5")  # fonts and style
    prompts = costs(ROWS, lambda count: prompt.numbers(f"prompt {count}"))
    bench.curve("update prompt, all rows there, by rows", "ms", ROWS, [all_there for _, all_there in prompts])
    prompt.close()
    table = Program(BUILD / "bench" / "upgrade_table")
    table.ask("show 100")
    tables = costs(TASKS, lambda count: table.numbers(f"show {count}") + table.numbers(f"changed {count}"))
    bench.curve("online-upgrade table shown, by tasks", "ms", TASKS, [shown for shown, _, _ in tables])
    bench.curve("its refresh, by changed tasks", "ms", TASKS, [changed for _, _, changed in tables])
    table.close()
    calls(bench)


def calls(bench):
    platform = Platform()
    echo = platform.program("rpc_echo", "bench.echo")
    caller = platform.program("rpc_caller", "bench.echo")
    host = platform.program("rpc_caller", "IVisualizedService")
    caller.numbers(f"run ack notice {CALLS}")
    parallel = costs(CALLERS, lambda count: caller.numbers(f"parallel ack notice {CALLS} {count}"))
    bench.curve(f"{CALLS} calls each, all answered, by callers at once", "s", CALLERS, [seconds for _, seconds in parallel])
    bags = costs(RECORDS, lambda count: caller.numbers(f"run convert {count} {BAGS}"), BAG_RUNS)
    bench.curve("bag there and back, by records of 12 keys", "us", RECORDS, [p50 for _, p50, _ in bags])
    queued = costs(NOTICES, lambda count: [notices(host, count)])
    bench.curve("notices accepted while one is shown, by notices", "ms", NOTICES, [milliseconds for milliseconds, in queued])
    for program in (host, caller, echo):
        program.close()
    platform.close()


def notices(host, count):
    start = time.monotonic()
    for number in range(count):
        if host.ask(f"show 第 {number} 条") == "error":
            raise RuntimeError("a notice was refused")
    return 1000 * (time.monotonic() - start)
