"""Servers to test, measure and show, and connections to them: what the demo, the measurements and the tests in Python
share. Scripts that use it put this directory into PYTHONPATH.
"""

import contextlib
import fcntl
import json
import os
import signal
import socket
import subprocess
import sys
import tempfile
import time

DEADLINE = 60  # seconds, for each thing that is waited for
OPERATION_PREFIX = "DynamoDB_20111205."


class Failure(Exception):
    """Something came out differently from what was expected; the text says what."""


def fail(text):
    raise Failure(text)


def expect(what, found, wanted):
    if found != wanted:
        fail(f"{what}:\n  found  {found!r}\n  wanted {wanted!r}")


def run_main(main, *arguments):
    """Calls `main` and ends the program with the status that it returns, or 1 and the text of a Failure."""
    try:
        sys.exit(main(*arguments))
    except Failure as failure:
        sys.exit(f"FAILED: {failure}")


def run(command, **options):
    """Runs a command that has to succeed and returns what it printed, both streams."""
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False, **options)
    if done.returncode != 0:
        fail(f"{' '.join(command)} ended with {done.returncode}:\n{done.stdout}")
    return done.stdout


def free_port():
    """A port that nobody listens on. Somebody else may take it at any time."""
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def wait_for_connections(process, port):
    """Whether the process accepts connections on the port; not if it ends first."""
    end = time.monotonic() + DEADLINE
    while process.poll() is None and time.monotonic() < end:
        with contextlib.suppress(OSError):
            socket.create_connection(("127.0.0.1", port), DEADLINE).close()
            return True
        time.sleep(0.01)
    return False


def end(process):
    """Kills a child process, which may have ended already, and waits for its end."""
    for stream in (process.stdin, process.stdout):
        if stream is not None:
            stream.close()
    if process.poll() is None:
        process.kill()
    process.wait()


class Server:
    """A server as a child process. It ends with this process, however that ends: it watches a lock that we hold."""

    def __init__(self, command, scratch, directory=None):
        """`command` is a program and its options, without port and log; it runs in `directory`, which is the one that
        relative TableNames begin at. Several servers may share `scratch`, where its log and its standard error go."""
        self.command = [os.path.abspath(command[0]), *command[1:]]  # which is looked for in `directory` otherwise
        self.scratch = scratch
        self.directory = directory or scratch
        self.parent = tempfile.NamedTemporaryFile(prefix="parent-", suffix=".lock", dir=scratch)
        fcntl.flock(self.parent, fcntl.LOCK_EX)
        self.process = None
        self.port = 0
        self.log = None  # paths, of the process that was started last
        self.errors = None

    def start(self):
        """Starts it on a free port, and waits until it listens there."""
        for _ in range(20):  # somebody else may take the port first
            if self.start_on(free_port()):
                return
        fail(f"the server does not start:\n{self.output()}")

    def start_on(self, port):
        """Starts it on a port, and waits until it listens there. False when the port is taken."""
        self.port = port
        self.log = os.path.join(self.scratch, f"server-{port}.log")
        self.errors = os.path.join(self.scratch, f"server-{port}.errors")
        environment = {name: value for name, value in os.environ.items() if name != "QUORVA_LOCKFILE"}
        environment["OSTRIK_LOCKFILE"] = self.parent.name
        open(self.log, "w", encoding="utf-8").close()  # the server appends
        with open(self.errors, "wb") as errors:
            self.process = subprocess.Popen([*self.command, "-p", str(port), "-d", self.log], cwd=self.directory,
                                            env=environment, stdin=subprocess.DEVNULL, stdout=errors, stderr=errors)
        deadline = time.monotonic() + DEADLINE
        while time.monotonic() < deadline:
            ended = self.process.poll() is not None
            log = self.log_text()
            # The log and not a connection, which a stranger on the port would let us have as well.
            if "Server listening on " in log:
                return True
            if ended:
                if "bind failed" not in log:
                    fail(f"the server ended with {self.process.returncode}:\n{self.output()}")
                return False
            time.sleep(0.01)
        fail(f"the server does not listen:\n{self.output()}")

    def log_text(self):
        with open(self.log, encoding="utf-8", errors="replace") as log:
            return log.read()

    def error_text(self):
        """What it wrote past its log: nothing, unless something is wrong with it."""
        with open(self.errors, encoding="utf-8", errors="replace") as errors:
            return errors.read()

    def output(self):
        return self.error_text() + self.log_text()

    def connect(self):
        return Connection(self.port)

    def resident_kib(self):
        """Its resident memory."""
        with open(f"/proc/{self.process.pid}/status", encoding="ascii") as status:
            for line in status:
                if line.startswith("VmRSS:"):
                    return int(line.split()[1])
        return fail(f"process {self.process.pid} shows no VmRSS")

    def stop(self):
        """Ends it as its service does, and returns how it ended."""
        self.process.send_signal(signal.SIGTERM)
        return self.process.wait(DEADLINE)

    def kill(self):
        """Ends it as a crash does."""
        self.process.kill()
        expect("exit of the killed server", self.process.wait(DEADLINE), -signal.SIGKILL)

    def end_with_parent(self):
        """Lets go of the lock that keeps it running, as the end of this process does, and returns how it ended."""
        self.parent.close()
        return self.process.wait(DEADLINE)

    def clean_up(self):
        if self.process is not None:
            end(self.process)
        self.parent.close()


class Connection:
    """One connection, which carries one request after another."""

    def __init__(self, port):
        self.socket = socket.create_connection(("127.0.0.1", port), DEADLINE)
        self.socket.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        self.incoming = self.socket.makefile("rb")

    def __enter__(self):
        return self

    def __exit__(self, *exception):
        self.close()

    def request(self, operation, body):
        """The reply to a request. Raises Failure when the server closes the connection instead."""
        name = (OPERATION_PREFIX + operation).encode()
        text = json.dumps(body, ensure_ascii=False).encode()
        # Name length, name, body length, body; lengths have 4 bytes, the highest first.
        self.socket.sendall(len(name).to_bytes(4, "big") + name + len(text).to_bytes(4, "big") + text)
        return json.loads(self._read(int.from_bytes(self._read(4), "big")))

    def _read(self, length):
        data = self.incoming.read(length)
        if len(data) != length:
            fail("the server closed the connection")
        return data

    def close(self):
        self.incoming.close()
        self.socket.close()
