"""A private platform for one test program: a copy of the program folder with its own runtime directory, data and PATH."""
import contextlib
import json
import os
import shutil
import signal
import subprocess
import tempfile

from desktop import wait


def link_or_copy(source, target):
    """Links the large programs; copies the files that a test may change, and all where the directory is on another disk."""
    if not source.endswith((".ini", ".json")):
        with contextlib.suppress(OSError):
            return os.link(source, target)
    return shutil.copy(source, target)


class Session:
    """The processes meet neither the user's platform nor that of another session. close() ends every one of them."""

    logs = []  # of the hosts of closed sessions

    def __init__(self):
        self.folder = os.path.realpath(tempfile.mkdtemp(prefix="s."))  # short: socket paths are limited
        self.bin = self.path("bin")
        shutil.copytree(os.environ["TARN_BIN_DIR"], self.bin, copy_function=link_or_copy)
        for name in ("run", "data", "tmp", "path"):
            os.mkdir(self.path(name), 0o700)
        with open(self.path("path/xdg-open"), "w", opener=lambda name, flags: os.open(name, flags, 0o700)) as opener:
            opener.write(f"#!/bin/sh\nprintf '%s\\n' \"$1\" >>'{self.path('opened')}'\n")
        self.environment = dict(
            os.environ,
            XDG_RUNTIME_DIR=self.path("run"),
            XDG_DATA_HOME=self.path("data"),
            TMPDIR=self.path("tmp"),
            PATH=self.path("path") + ":" + os.environ["PATH"],
            # The leak check stops all threads of the ending process and crashes now and then while those of gRPC end.
            ASAN_OPTIONS="detect_leaks=0",
        )
        self.environment.pop("QT_XCB_GL_INTEGRATION", None)  # the host makes this choice itself
        self.host = None

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, name, content):
        os.makedirs(os.path.dirname(self.path(name)), exist_ok=True)
        with open(self.path(name), "wb") as file:
            file.write(content if isinstance(content, bytes) else content.encode())

    def read(self, name):
        """The file's content; empty bytes without the file."""
        try:
            with open(self.path(name), "rb") as file:
                return file.read()
        except FileNotFoundError:
            return b""

    def start(self, program, *arguments):
        # To a file: hub and services outlive the host and must not hold a pipe open. In a new session, since tests stop
        # the programs: the kernel hangs up a process group that is orphaned with a stopped process in it.
        with open(self.path("host.log"), "ab") as output:
            return subprocess.Popen([f"{self.bin}/{program}", *arguments], env=self.environment, cwd=self.bin,
                                    stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT,
                                    start_new_session=True)

    def start_host(self):
        """Starts the host and waits until hub, services and the visualized service answer."""
        self.host = self.start("visualized-host", "--verbose")
        self.wait_ready()

    def wait_ready(self):
        wait(lambda: self.host.poll() is not None or self.tarnctl("status").returncode == 0, "the platform answers")
        assert self.host.poll() is None, self.log()

    def stop_host(self):
        """The host's exit status after SIGTERM."""
        self.host.terminate()
        return self.host.wait(30)

    def log(self):
        return self.read("host.log").decode()

    def opened_links(self):
        return self.read("opened").decode().split()

    def tarnctl(self, *arguments, stdin=""):
        return subprocess.run([f"{self.bin}/tarnctl", *arguments], env=self.environment, input=stdin, timeout=30,
                              capture_output=True, text=True, check=False)

    def run(self, *arguments, stdin=""):
        """tarnctl that has to succeed; what it prints."""
        result = self.tarnctl(*arguments, stdin=stdin)
        assert result.returncode == 0, f"tarnctl {arguments}: {result.returncode} {result.stderr}"
        return result.stdout

    def call(self, operation, **values):
        """One operation of the visualized service; the values of its answer."""
        return json.loads(self.run("call", operation, json.dumps(values)))["values"]

    def json(self, *arguments):
        return json.loads(self.run(*arguments, "--json"))

    def push(self, *options):
        """Pushes a message that the service has shown; its id."""
        answer = self.json("message", "push", "--title", "标题", "--content", "正文", *options)
        assert answer["Shown"], answer
        return answer["MsgId"]

    def messages(self):
        return {message["MsgId"]: message for message in self.json("message", "list")}

    def pids(self, program=""):
        """Of the processes that run this session's copy of the program, or of any, by their command lines: host and services
        hide the links to their programs from all but root."""
        def runs(pid):
            with contextlib.suppress(OSError):  # it has just ended
                return self.read(f"/proc/{pid}/cmdline").startswith(f"{self.bin}/{program}".encode())
        return [int(pid) for pid in os.listdir("/proc") if pid.isdigit() and runs(pid)]

    def signal(self, program, number):
        """Signals every process of the program; how many there were."""
        pids = self.pids(program)
        for pid in pids:
            with contextlib.suppress(ProcessLookupError):  # it has just ended
                os.kill(pid, number)
        return len(pids)

    def freeze(self, program):
        """Stops the program and waits until each of its threads has stopped: the signal alone leaves time for a call."""
        (pid,) = self.pids(program)
        os.kill(pid, signal.SIGSTOP)

        def stopped():
            states = [self.read(f"/proc/{pid}/task/{thread}/stat").rsplit(b")", 1)[-1][1:2]
                      for thread in os.listdir(f"/proc/{pid}/task")]
            return set(states) <= {b"T", b""}
        wait(stopped, f"{program} has stopped")

    def close(self):
        for number in (signal.SIGTERM, signal.SIGKILL):  # the hub ends before it can bring the services back
            self.signal("", number)
            self.signal("", signal.SIGCONT)
            with contextlib.suppress(AssertionError):
                wait(lambda: not self.pids(), "every program has ended", 10)
                break
        Session.logs.append(self.log())
        shutil.rmtree(self.folder)
