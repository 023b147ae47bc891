"""From the call to the pop-up on the X server, beside a bare Qt window and a desktop notification daemon."""

import subprocess
import time

from tarnbench import BUILD, Platform, Program, at_most, median, ratio_at_most

TITLE = "Pop-up"
RUNS = 40
FIRST_RUNS = 7
ROLE = "NotifyWnd"
SIZE = (380, 60)  # smaller than either window, larger than anything else that comes up
TIMEOUT_MS = 5000
SETTLE_MS = 150


def run(bench):
    watch = Program(BUILD / "bench" / "mapwatch", ready=False)
    platform = Platform()
    size = popup_size(watch, platform)
    first_window(bench, watch, platform, size)

    bare = Program(BUILD / "bench" / "bare_window")
    caller = platform.program("rpc_caller", "IVisualizedService")
    dunst, sender = start_dunst()
    ours, plain, notice = [], [], []
    for number in range(RUNS):
        ours.append(shown(watch, lambda: caller.ask(f"show 第 {number} 条"), lambda: watch.ask(f"close {ROLE}")))
        plain.append(shown(watch, lambda: bare.ask("show %d %d" % size), lambda: bare.ask("hide")))
        notice.append(shown(watch, lambda: sender.ask(f"show 第 {number} 条"), lambda: sender.ask("hide"), (100, 20)))
    for index, label in ((0, "first mapping"), (1, "mapping of the window that stays"), (2, "drawn")):
        mine, theirs, daemon = (median([run[index] for run in runs]) for runs in (ours, plain, notice))
        goal = ratio_at_most(1.5) if index == 0 else None
        bench.row(f"call to {label}, later ones, to bare window", mine, theirs, goal, "ms")
        bench.row(f"call to {label}, later ones, to daemon", mine, daemon, goal, "ms")
    for program in (sender, caller, bare):
        program.close()
    dunst.terminate()
    dunst.wait()
    platform.close()
    watch.close()


def shown(watch, show, hide, at_least=SIZE):
    """Milliseconds from the sending to (first mapping, last mapping, drawn)."""
    watch.ask("reset")
    sent = int(show())
    answer = watch.ask("wait %d %d %d %d" % (*at_least, TIMEOUT_MS, SETTLE_MS))
    if sent == 0 or not answer.startswith("mapped "):
        raise RuntimeError("no window came up")
    times = [(int(word) - sent) / 1e6 for word in answer.split()[1:]]
    hide()
    time.sleep(0.05)  # the server's and the window manager's own cleaning up
    return times


def popup_size(watch, platform):
    """What the sample's pop-up measures, so that the bare window has the same size."""
    caller = platform.program("rpc_caller", "IVisualizedService")
    shown(watch, lambda: caller.ask("show 尺寸"), lambda: None)
    tree = subprocess.run(["xwininfo", "-root", "-tree"], capture_output=True, text=True).stdout
    for line in tree.splitlines():
        words = line.split()
        for word in words:
            if word.startswith("400x") and "+" in word:
                width, _, rest = word.partition("x")
                watch.ask(f"close {ROLE}")
                caller.close()
                return int(width), int(rest.split("+")[0])
    raise RuntimeError("no pop-up")


def first_window(bench, watch, platform, size):
    ours, plain = [], []
    for _ in range(FIRST_RUNS):
        platform.stop_host()
        platform.start_host()
        caller = platform.program("rpc_caller", "IVisualizedService")
        ours.append(shown(watch, lambda: caller.ask("show 第一条"), lambda: watch.ask(f"close {ROLE}")))
        caller.close()
        bare = Program(BUILD / "bench" / "bare_window")
        plain.append(shown(watch, lambda: bare.ask("show %d %d" % size), lambda: bare.ask("hide")))
        bare.close()
    for index, label in ((0, "first mapping"), (1, "mapping of the window that stays"), (2, "drawn")):
        mine, theirs = (median([run[index] for run in runs]) for runs in (ours, plain))
        bench.row(f"call to {label}, first of a process", mine, theirs, ratio_at_most(1.5) if index == 0 else None, "ms")
    bench.row("call to first mapping, first of a process", median([run[0] for run in ours]), goal=at_most(80, "ms"), unit="ms")


def start_dunst():
    dunst = subprocess.Popen(["dunst"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    sender = Program(BUILD / "bench" / "notify_sender")
    for _ in range(50):  # until the daemon owns its name
        if sender.ask("show 起动") != "0":
            break
        time.sleep(0.1)
    sender.ask("hide")
    return dunst, sender
