"""The programs that a measure runs: servers, echo-limit, bdb-limit and quorva-bench, all on one scratch directory."""

import contextlib
import copy
import fcntl
import json
import os
import shutil
import socket
import subprocess
import sys
import tempfile
import time

START_LIMIT = 60  # seconds


class Failure(Exception):
    """A program did not do what the measure needs; the text says what."""


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def connects(port):
    with contextlib.suppress(OSError), socket.create_connection(("127.0.0.1", port)):
        return True
    return False


def resident_kib(pid):
    """The resident memory of a process."""
    with open(f"/proc/{pid}/status", encoding="ascii") as status:
        for line in status:
            if line.startswith("VmRSS:"):
                return int(line.split()[1])
    raise Failure(f"process {pid} shows no VmRSS")


def workload_options(items, item_size):
    return ["-k", str(items), "-i", str(item_size)]


class Workspace:
    """A scratch directory beside the binaries, so on the disk and not in memory, and the processes that use it. Ends
    the processes and removes the directory when it is left."""

    def __init__(self, binaries, items, item_size, seconds):
        self.binaries = os.path.abspath(binaries)
        self.seconds = seconds
        self._workload = workload_options(items, item_size)
        self.directory = None
        self._stack = contextlib.ExitStack()

    def __enter__(self):
        self.directory = tempfile.mkdtemp(prefix="bench-", dir=os.path.dirname(self.binaries))
        self._stack.callback(shutil.rmtree, self.directory)
        # The servers hold on to this file's lock: they end when we do, however that happens.
        parent = open(os.path.join(self.directory, "parent.lock"), "w", encoding="ascii")
        self._stack.enter_context(parent)
        fcntl.flock(parent, fcntl.LOCK_EX)
        return self

    def __exit__(self, *exception):
        self._stack.close()

    def with_workload(self, items, item_size):
        """The same workspace for programs that are told another workload. It ends with this one."""
        other = copy.copy(self)
        other._workload = workload_options(items, item_size)
        return other

    def make_directory(self, name, db_config=None):
        """An empty environment directory; `db_config` is the text of its DB_CONFIG file."""
        path = os.path.join(self.directory, name)
        os.mkdir(path)
        if db_config is not None:
            with open(os.path.join(path, "DB_CONFIG"), "w", encoding="ascii") as config:
                config.write(db_config)
        return path

    def start_server(self, *options):
        """A server that runs in the workspace, so that tables are named by their directories' bare names."""
        port = free_port()
        environment = {name: value for name, value in os.environ.items() if name != "QUORVA_LOCKFILE"}
        environment["OSTRIK_LOCKFILE"] = os.path.join(self.directory, "parent.lock")
        log = os.path.join(self.directory, f"log-{port}")
        command = [os.path.join(self.binaries, "quorva"), "-p", str(port), "-d", log, *options]
        return self._started(port, subprocess.Popen(command, cwd=self.directory, env=environment))

    def start_echo(self):
        port = free_port()
        command = [os.path.join(self.binaries, "echo-limit"), "-p", str(port)]
        return self._started(port, subprocess.Popen(command, stdin=subprocess.PIPE, stderr=subprocess.DEVNULL))

    def _started(self, port, process):
        self._stack.callback(end, process)
        deadline = time.monotonic() + START_LIMIT
        while not connects(port):
            if process.poll() is not None or time.monotonic() > deadline:
                raise Failure(f"{process.args[0]} did not start")
            time.sleep(0.02)
        return Running(port, process)

    def load(self, server, table):
        self._run("quorva-bench", "load", "-p", str(server.port), "--table", table, "-c", "8", *self._workload)

    def measure(self, server, table, operation, clients, *options):
        return self._result("quorva-bench", operation, "-p", str(server.port), "--table", table, "-c", str(clients),
                            *options)

    def measure_echo(self, echo, operation, clients, reply_bytes):
        return self._result("quorva-bench", operation, "-p", str(echo.port), "-c", str(clients), "--echo",
                            str(max(1, round(reply_bytes))))

    def load_direct(self, directory):
        self._run("bdb-limit", "load", "--directory", directory, *self._workload)

    def measure_direct(self, directory, operation, clients, *options):
        return self._result("bdb-limit", operation, "--directory", directory, "-c", str(clients), *options)

    @contextlib.contextmanager
    def idle_connections(self, server, table, count):
        command = [os.path.join(self.binaries, "quorva-bench"), "idle", "-p", str(server.port), "--table", table,
                   "--idle", str(count)]
        process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        try:
            if process.stdout.readline() != "connected\n":
                raise Failure("the idle connections were not to be had")
            yield
        finally:
            end(process)

    def _result(self, program, *arguments):
        output = self._run(program, *arguments, *self._workload, "-s", str(self.seconds), "--json")
        return json.loads(output)

    def _run(self, program, *arguments):
        command = [os.path.join(self.binaries, program), *arguments]
        done = subprocess.run(command, stdout=subprocess.PIPE, text=True, check=False)
        # Status 1 with a result means that some replies were errors; the result says how many.
        if done.returncode != 0 and not done.stdout:
            raise Failure(f"{' '.join(command)} ended with status {done.returncode}")
        return done.stdout


class Running:
    """A process that listens on a port."""

    def __init__(self, port, process):
        self.port = port
        self.process = process

    def resident_kib(self):
        return resident_kib(self.process.pid)


def end(process):
    """Ends a process of ours and waits for its end."""
    if process.stdin is not None:
        process.stdin.close()
    process.kill()
    process.wait()
    if process.stdout is not None:
        process.stdout.close()


def note(text):
    """Progress, apart from the results."""
    print(text, file=sys.stderr, flush=True)
