"""The online-upgrade window's table beside a plain table with the same cells, built at once and row by row."""

from tarnbench import BUILD, Program, at_most, in_turns, medians, ratio_at_most

TITLE = "Online-upgrade table"
RUNS = 15
MANY_RUNS = 3
POLLS = 10000


def run(bench):
    program = Program(BUILD / "bench" / "upgrade_table")
    program.ask("show 100")  # fonts and style

    def figures(runs, *orders):
        return map(medians, in_turns(runs, *(lambda order=order: program.numbers(order) for order in orders)))

    (shown, _), (plain, _) = figures(MANY_RUNS, "show 1000", "plain 1000")
    (shown_many, row_bytes), = figures(MANY_RUNS, "show 5000")
    bench.row("1000 tasks shown, to a plain table", shown, plain, ratio_at_most(0.5), "ms")
    bench.row("1000 tasks shown", shown, goal=at_most(200, "ms"), unit="ms")
    bench.row("5000 tasks shown", shown_many, goal=at_most(1000, "ms"), unit="ms")
    bench.row("5000 tasks shown, to five times 1000", shown_many, 5 * shown, ratio_at_most(1.5), "ms")
    bench.row("memory a row, 5000 rows", row_bytes / 1024, goal=at_most(10, "KiB"), unit="KiB")
    (same, paints), (changed,), (changed_many,) = figures(RUNS, "same 1000", "changed 1000", "changed 5000")
    bench.row("refresh of 1000 unchanged rows", same, goal=at_most(2, "ms"), unit="ms")
    bench.row("refresh of 1000 unchanged rows, paint events", paints, goal=at_most(0))
    (beside,), (plain,) = figures(MANY_RUNS, "changed 1000", "plainchanged 1000")
    bench.row("refresh of 1000 changed rows, to a plain table", beside, plain, ratio_at_most(0.5), "ms")
    bench.row("refresh of 1000 changed rows", changed, goal=at_most(10, "ms"), unit="ms")
    bench.row("refresh of 5000 changed rows", changed_many, goal=at_most(50, "ms"), unit="ms")
    cpu, growth = program.numbers(f"poll 20 {POLLS}")
    bench.row("a poll of 20 rows without its call, CPU", cpu, goal=at_most(10, "ms"), unit="ms")
    bench.row(f"heap after {POLLS} polls of 20 rows", growth, goal=at_most(256, "KiB"), unit="KiB")
    program.close()
