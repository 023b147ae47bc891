"""Message boxes beside a bare dialog of the same size and flags, and the two ways of bringing a window to the front."""

from tarnbench import BUILD, Program, in_turns, medians, ratio_at_most

TITLE = "Message boxes"
RUNS = 40


def run(bench):
    program = Program(BUILD / "bench" / "message_box")
    kinds = ("bare", "notice", "question", "window", "widget")
    for kind in kinds:
        program.numbers(kind)  # the first of each kind loads fonts and pictures
    runs = in_turns(RUNS, *(lambda kind=kind: program.numbers(kind) for kind in kinds))
    program.close()
    mapped, drawn = (dict(zip(kinds, column)) for column in zip(*map(medians, runs)))
    bench.row("call to mapped, notice, to bare dialog", mapped["notice"], mapped["bare"], ratio_at_most(2), "ms")
    bench.row("call to mapped, question, to bare dialog", mapped["question"], mapped["bare"], ratio_at_most(2), "ms")
    bench.row("call to drawn, notice, to bare dialog", drawn["notice"], drawn["bare"], None, "ms")
    bench.row("bring to front, to mapping of the window that stays, to the steps on the widget", mapped["window"],
              mapped["widget"], ratio_at_most(1), "ms")
