"""The check-update prompt and the update notes, beside a bare dialog of the same size and flags."""

from tarnbench import BUILD, Program, at_most, median, ratio_at_most

TITLE = "Check-update prompt and update notes"
RUNS = 30
LONG_RUNS = 5
MIB = 1024 * 1024


def run(bench):
    program = Program(BUILD / "bench" / "check_update")
    program.ask("prompt 5")  # fonts, icons and style are loaded once for both
    ours, bare = [], []
    for _ in range(RUNS):
        ours.append(program.numbers("prompt 5")[0])
        bare.append(program.numbers("bare")[0])
    bench.row("request to mapped prompt, 5 rows, to bare dialog", median(ours), median(bare), ratio_at_most(2.5), "ms")
    rows = {count: [program.numbers(f"prompt {count}") for _ in range(LONG_RUNS)] for count in (100, 200, 1000, 2000)}
    bench.row("request to mapped prompt, 200 rows", median([r[0] for r in rows[200]]), goal=at_most(300, "ms"), unit="ms")
    bench.row("request to mapped prompt, 2000 rows", median([r[0] for r in rows[2000]]), goal=at_most(300, "ms"), unit="ms")
    bench.row("all of 200 rows, to twice 100 rows", median([r[1] for r in rows[200]]),
              2 * median([r[1] for r in rows[100]]), ratio_at_most(1.3), "ms")
    bench.row("all of 2000 rows, to twice 1000 rows", median([r[1] for r in rows[2000]]),
              2 * median([r[1] for r in rows[1000]]), ratio_at_most(1.3), "ms")
    for size, there in ((1, 500), (2, None)):
        runs = [program.numbers(f"notes {size * MIB}") for _ in range(LONG_RUNS)]
        mapped, text, longest = (median([r[index] for r in runs]) for index in range(3))
        bench.row(f"notes of {size} MiB: request to mapped", mapped, goal=at_most(100, "ms"), unit="ms")
        bench.row(f"notes of {size} MiB: text there", text, goal=at_most(there, "ms") if there else None, unit="ms")
        bench.row(f"notes of {size} MiB: longest event of the GUI thread", longest, goal=at_most(100, "ms"), unit="ms")
    program.close()
