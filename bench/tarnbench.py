"""What the benchmarks share: programs that take orders line by line, a private platform, the table of figures.

A file in bench/figures/ is one group of figures: it has TITLE and run(bench), which adds rows with bench.row(). The driver
finds the files by itself, so a new group is a new file.
"""

import functools
import math
import os
import pathlib
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.path.append(str(ROOT / "tests/e2e"))
from desktop import Desktop  # noqa: E402

BUILD = ROOT / "build" / "release"


@functools.lru_cache
def desktop():
    return Desktop()


def close_window(role):
    """Closes the windows with this role, as a window manager does, and waits for their end."""
    desktop().close(role)


class Program:
    """A process that answers every line it is sent with one line."""

    def __init__(self, *command, env=None, log=None, ready=True):
        self.process = subprocess.Popen(
            [str(word) for word in command], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
            env=env, stderr=log or subprocess.DEVNULL, cwd=(env or os.environ).get("TMPDIR", "/tmp"),
        )
        if ready and self.read() != "ready":
            raise RuntimeError(f"{command[0]} did not start")

    def read(self):
        return self.process.stdout.readline().strip()

    def ask(self, order):
        self.process.stdin.write(order + "\n")
        self.process.stdin.flush()
        return self.read()

    def numbers(self, order):
        answer = self.ask(order)
        try:
            return [float(word) for word in answer.split()]
        except ValueError:
            raise RuntimeError(f"{self.process.args[0]}: \"{order}\" was answered by \"{answer}\"") from None

    @property
    def pid(self):
        return self.process.pid

    def close(self):
        self.process.stdin.close()
        try:
            self.process.wait(10)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()


class Platform:
    """A reference platform with private runtime directory, data and shared memory: the host, which brings up the
    hub, which brings up the services."""

    def __init__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="bench."))
        self.bin = self.folder / "bin"
        shutil.copytree(BUILD / "bin", self.bin, symlinks=True)
        self.env = dict(os.environ)
        for name, part in (("XDG_RUNTIME_DIR", "run"), ("XDG_DATA_HOME", "data"), ("TMPDIR", "tmp")):
            (self.folder / part).mkdir(mode=0o700)
            self.env[name] = str(self.folder / part)
        self.log = open(self.folder / "log", "w")
        self.host = None
        self.start_host()

    def start_host(self):
        self.host = subprocess.Popen([self.bin / "visualized-host"], env=self.env, stdout=self.log, stderr=self.log)
        wait_for(lambda: self.tarnctl("status").returncode == 0, 20, "the platform")

    def stop_host(self):
        self.host.send_signal(signal.SIGTERM)
        self.host.wait(10)

    def tarnctl(self, *arguments):
        return subprocess.run([self.bin / "tarnctl", *arguments], env=self.env, capture_output=True, text=True)

    def program(self, name, *arguments):
        return Program(BUILD / "bench" / name, *arguments, env=self.env, log=self.log)

    def close(self):
        self.stop_host()
        for pid in self.pids():
            os.kill(pid, signal.SIGTERM)
        wait_for(lambda: not self.pids(), 10, "the platform's end")
        self.log.close()
        shutil.rmtree(self.folder)

    def pids(self):
        """Of every process that runs a program of this platform's own copy."""
        return [int(entry.name) for entry in pathlib.Path("/proc").iterdir()
                if entry.name.isdigit() and exe_of(entry).startswith(str(self.bin))]


class Bench:
    def __init__(self):
        self.rows = []
        self.missed = 0

    def row(self, text, ours, reference=None, goal=None, unit=""):
        """goal: made by at_most() or ratio_at_most()."""
        ratio = ours / reference if reference else None
        met = ""
        if goal:
            met = "yes" if goal.is_met(ours, ratio) else "NO"
            self.missed += met == "NO"
        self.rows.append((text, f"{ours:.4g} {unit}".strip(), f"{reference:.4g} {unit}".strip() if reference else "",
                          f"{ratio:.2f}" if ratio is not None else "", goal.text if goal else "", met))
        print(f"   {text}: {self.rows[-1][1:]}", file=sys.stderr, flush=True)

    def curve(self, text, unit, amounts, costs):
        """The exponent of the last step is the figure: 1 for a cost in proportion to the amount."""
        shown = ", ".join(f"{amount}: {cost:.4g}" for amount, cost in zip(amounts, costs))
        exponent = math.log(costs[-1] / costs[-2]) / math.log(amounts[-1] / amounts[-2])
        self.row(f"{text} ({shown} {unit})", exponent, goal=at_most(1.2))

    def heading(self, text):
        self.rows.append((f"**{text}**", "", "", "", "", ""))

    def table(self):
        head = ("figure", "ours", "reference", "ratio", "goal", "met")
        rows = [head] + self.rows
        widths = [max(len(row[i]) for row in rows) for i in range(len(head))]
        lines = ["| " + " | ".join(cell.ljust(width) for cell, width in zip(row, widths)) + " |" for row in rows]
        lines.insert(1, "|" + "|".join("-" * (width + 2) for width in widths) + "|")
        return "\n".join(lines)


class Goal:
    def __init__(self, text, is_met):
        self.text = text
        self.is_met = is_met  # takes our figure and its ratio to the reference


def at_most(limit, unit=""):
    return Goal(f"<= {limit} {unit}".strip(), lambda ours, ratio: ours <= limit)


def ratio_at_most(limit):
    return Goal(f"<= {limit} times", lambda ours, ratio: ratio <= limit)


def ratio_at_least(limit):
    return Goal(f">= {limit} times", lambda ours, ratio: ratio >= limit)


def in_turns(rounds, *measures):
    """The results of each measure. Measures take turns, so that a busy moment of the machine hits all of them."""
    results = [[] for _ in measures]
    for _ in range(rounds):
        for mine, measure in zip(results, measures):
            mine.append(measure())
    return results


def exe_of(proc):
    try:
        return os.readlink(proc / "exe")
    except OSError:
        return ""


def wait_for(condition, seconds, what):
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            raise RuntimeError(f"waited {seconds} s for {what}")
        time.sleep(0.05)


def pss_mib(pid):
    for line in open(f"/proc/{pid}/smaps_rollup"):
        if line.startswith("Pss:"):
            return int(line.split()[1]) / 1024
    raise RuntimeError("no Pss")


def wake_ups(pid):
    """How often each thread, by number and name, has slept so far."""
    threads = {}
    for task in pathlib.Path(f"/proc/{pid}/task").iterdir():
        status = dict(line.split(":", 1) for line in (task / "status").read_text().splitlines())
        threads[task.name, status["Name"].strip()] = int(status["voluntary_ctxt_switches"])
    return threads


def busy_share(seconds):
    """Of all processors, by every program of the machine."""
    def fields():
        with open("/proc/stat", encoding="ascii") as file:
            return [int(word) for word in file.readline().split()[1:9]]

    before = fields()
    time.sleep(seconds)
    spent = [after - earlier for after, earlier in zip(fields(), before)]
    return 1 - (spent[3] + spent[4]) / sum(spent)  # idle and waiting for a disk


def median(values):
    return statistics.median(values)


def medians(runs):
    """Of each column of the runs."""
    return [median(column) for column in zip(*runs)]
