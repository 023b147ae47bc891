"""From the call to the pop-up on the X server, beside a bare Qt window and a desktop notification daemon."""

import pathlib
import subprocess
import time

from tarnbench import BUILD, Platform, Program, at_most, close_window, in_turns, medians, ratio_at_most, wait_for

TITLE = "Pop-up"
RUNS = 100
FIRST_RUNS = 7
ROLE = "NotifyWnd"
SIZE = (380, 60)  # smaller than either window, larger than anything else that comes up
TIMEOUT_MS = 5000
SETTLE_MS = 150
LABELS = ("first mapping", "mapping of the window that stays", "drawn")
NOTICE_SIZE = (40, 20)
DAEMONS = {"dunst": "bin/dunst", "xfce4-notifyd": "lib/*/xfce4/notifyd/xfce4-notifyd"}


def run(bench):
    watch = Program(BUILD / "bench" / "mapwatch", ready=False)
    platform = Platform()
    size = popup_size(watch, platform)
    first_window(bench, watch, platform, size)

    bare = Program(BUILD / "bench" / "bare_window")
    caller = platform.program("rpc_caller", "IVisualizedService")
    sender = Program(BUILD / "bench" / "notify_sender")
    for number, (name, place) in enumerate(DAEMONS.items()):
        command = next(pathlib.Path("/usr").glob(place), None)
        if command is None:
            raise RuntimeError(f"{name} is not installed")
        daemon = start_daemon(command, sender)
        ours, plain, notice = map(medians, in_turns(
            RUNS,
            lambda: shown(watch, lambda: caller.ask("show 通知"), lambda: close_window(ROLE)),
            lambda: shown(watch, lambda: bare.ask("show %d %d" % size), lambda: bare.ask("hide")),
            lambda: shown(watch, lambda: sender.ask("show 通知"), lambda: sender.ask("hide"), NOTICE_SIZE)))
        for label, mine, theirs, others in zip(LABELS, ours, plain, notice):
            has_goal = number == 0 and label == LABELS[0]  # the second daemon is there to compare
            if number == 0:
                bench.row(f"call to {label}, later ones, to bare window", mine, theirs,
                          ratio_at_most(1.75) if has_goal else None, "ms")
            bench.row(f"call to {label}, later ones, to {name}", mine, others, ratio_at_most(1.2) if has_goal else None, "ms")
        daemon.terminate()
        daemon.wait()
    for program in (sender, caller, bare):
        program.close()
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
                close_window(ROLE)
                caller.close()
                return int(width), int(rest.split("+")[0])
    raise RuntimeError("no pop-up")


def first_window(bench, watch, platform, size):
    ours, plain = [], []
    for _ in range(FIRST_RUNS):
        platform.stop_host()
        platform.start_host()
        caller = platform.program("rpc_caller", "IVisualizedService")
        ours.append(shown(watch, lambda: caller.ask("show 第一条"), lambda: close_window(ROLE)))
        caller.close()
        bare = Program(BUILD / "bench" / "bare_window")
        plain.append(shown(watch, lambda: bare.ask("show %d %d" % size), lambda: bare.ask("hide")))
        bare.close()
    for label, mine, theirs in zip(LABELS, medians(ours), medians(plain)):
        goal = at_most(15, "ms") if label == LABELS[0] else None
        bench.row(f"call to {label}, first of a process, to bare window", mine, theirs, goal, "ms")


def start_daemon(command, sender):
    daemon = subprocess.Popen([command], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    wait_for(lambda: sender.ask("show 起动") != "0", 10, command.name)
    sender.ask("hide")
    return daemon
