"""The check-update prompt and the update notes, beside a bare dialog of the same size and flags."""

from tarnbench import BUILD, Program, at_most, in_turns, median, medians, ratio_at_most

TITLE = "Check-update prompt and update notes"
RUNS = 30
LONG_RUNS = 5
NOTES_RUNS = 15
MIB = 1024 * 1024


def run(bench):
    program = Program(BUILD / "bench" / "check_update")
    program.ask("prompt 5")  # fonts, icons and style are loaded once for both
    ours, bare = in_turns(RUNS, lambda: program.numbers("prompt 5")[0], lambda: program.numbers("bare")[0])
    bench.row("request to mapped prompt, 5 rows, to bare dialog", median(ours), median(bare), ratio_at_most(2.5), "ms")
    half, full, many = map(medians, in_turns(LONG_RUNS, lambda: program.numbers("prompt 100"),
                                             lambda: program.numbers("prompt 200"), lambda: program.numbers("prompt 2000")))
    bench.row("request to mapped prompt, 200 rows", full[0], goal=at_most(300, "ms"), unit="ms")
    bench.row("request to mapped prompt, 2000 products (200 rows)", many[0], goal=at_most(300, "ms"), unit="ms")
    bench.row("all of 200 rows, to twice 100 rows", full[1], 2 * half[1], ratio_at_most(1.3), "ms")
    for size in (1, 2):
        mapped, first, there, longest = medians(program.numbers(f"notes {size * MIB}") for _ in range(NOTES_RUNS))
        bench.row(f"notes of {size} MiB: request to mapped", mapped, goal=at_most(100, "ms"), unit="ms")
        bench.row(f"notes of {size} MiB: first text", first, goal=at_most(60, "ms") if size == 1 else None, unit="ms")
        bench.row(f"notes of {size} MiB: all text", there, goal=at_most(150, "ms") if size == 1 else None, unit="ms")
        bench.row(f"notes of {size} MiB: longest event of the GUI thread", longest, goal=at_most(100, "ms"), unit="ms")
    program.close()
