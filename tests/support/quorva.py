"""Servers and connections to them, shared by the demo, the measurements and the tests in Python. Scripts that use it
add this directory to PYTHONPATH.
"""

import contextlib
import fcntl
import json
import os
import random
import re
import signal
import socket
import subprocess
import sys
import tempfile
import time

DEADLINE = 60  # seconds, for each wait
OPERATION_PREFIX = "DynamoDB_20111205."


class Failure(Exception):
    """Something differed from what was expected; the text says what."""


def fail(text):
    raise Failure(text)


def expect(what, found, wanted):
    if found != wanted:
        fail(f"{what}:\n  found  {found!r}\n  wanted {wanted!r}")


def run_main(main, *arguments):
    """Calls `main` and exits with its status, or with 1 and the text of a Failure."""
    try:
        sys.exit(main(*arguments))
    except Failure as failure:
        sys.exit(f"FAILED: {failure}")


def run(command, **options):
    """Runs a command that must succeed and returns its output, both streams."""
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False, **options)
    if done.returncode != 0:
        fail(f"{' '.join(command)} ended with {done.returncode}:\n{done.stdout}")
    return done.stdout


def free_ports(count):
    """Different ports that are free at the moment. Another process may take them at any time, but not by chance: they
    are outside the range from which the system assigns ports to connections and to those who bind to port 0."""
    ports = []
    while len(ports) < count:
        port = random.randrange(20000, 32000)
        if port in ports:
            continue
        with socket.socket() as probe, contextlib.suppress(OSError):
            probe.bind(("127.0.0.1", port))
            ports.append(port)
    return ports


def free_port():
    return free_ports(1)[0]


def wait_for_connections(process, port):
    """Waits until the process accepts connections on the port. False if it exits first."""
    end = time.monotonic() + DEADLINE
    while process.poll() is None and time.monotonic() < end:
        with contextlib.suppress(OSError):
            socket.create_connection(("127.0.0.1", port), DEADLINE).close()
            return True
        time.sleep(0.01)
    return False


def end(process):
    """Kills a child process, which may have exited already, and reaps it."""
    for stream in (process.stdin, process.stdout):
        if stream is not None:
            stream.close()
    if process.poll() is None:
        process.kill()
    process.wait()


class Server:
    """A server as a child process. It exits when this process does, for any reason: it watches a lock that we hold."""

    def __init__(self, command, scratch, directory=None):
        """`command` is a program and its options, without port and log; it runs in `directory`, to which TableNames
        may be relative. Several servers may share `scratch`, the directory of the log and standard error."""
        self.command = [os.path.abspath(command[0]), *command[1:]]  # otherwise relative to `directory`
        self.scratch = scratch
        self.directory = directory or scratch
        self.parent = tempfile.NamedTemporaryFile(prefix="parent-", suffix=".lock", dir=scratch)
        fcntl.flock(self.parent, fcntl.LOCK_EX)
        self.process = None
        self.port = 0
        self.log = None  # paths, of the latest process
        self.errors = None

    def start(self):
        """Starts it on a free port, and waits until it listens there."""
        for _ in range(20):  # another process may take the port first
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
            # The log, not a connection, which another program on the port would accept as well.
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
        """Its output outside its log: empty, unless something is wrong with it."""
        with open(self.errors, encoding="utf-8", errors="replace") as errors:
            return errors.read()

    def output(self):
        return self.error_text() + self.log_text()

    def connect(self):
        return Connection(self.port)

    def resident_kib(self):
        """Its resident set size."""
        with open(f"/proc/{self.process.pid}/status", encoding="ascii") as status:
            for line in status:
                if line.startswith("VmRSS:"):
                    return int(line.split()[1])
        return fail(f"process {self.process.pid} shows no VmRSS")

    def stop(self):
        """Stops it as its service does, and returns its return code."""
        self.process.send_signal(signal.SIGTERM)
        return self.process.wait(DEADLINE)

    def kill(self):
        """Kills it, as in a crash."""
        self.process.kill()
        expect("exit of the killed server", self.process.wait(DEADLINE), -signal.SIGKILL)

    def end_with_parent(self):
        """Releases the lock that keeps it running, as the exit of this process does, and returns its return code."""
        self.parent.close()
        return self.process.wait(DEADLINE)

    def clean_up(self):
        if self.process is not None:
            end(self.process)
        self.parent.close()


class HttpServer:
    """quorva-http as a child process, in front of the server on a port."""

    STARTED = r"listening on (127\.0\.0\.1:(\d+)) for the server.*\n"  # its first output

    def __init__(self, command, scratch, server_port, port=0):
        """`command` is a program and its options, without ports. Standard error goes to `scratch`/http.errors. It
        listens on a free port unless one is named."""
        self.errors = os.path.join(scratch, "http.errors")
        with open(self.errors, "wb") as errors:
            self.process = subprocess.Popen(
                ["setpriv", "--pdeathsig", "KILL", *command, "--listen", str(port), "--port", str(server_port)],
                stdin=subprocess.DEVNULL, stdout=errors, stderr=errors)
        deadline = time.monotonic() + DEADLINE
        while not (started := re.search(self.STARTED, self.error_text())):
            if self.process.poll() is not None or time.monotonic() > deadline:
                text = self.error_text()
                end(self.process)
                fail(f"quorva-http does not listen:\n{text}")
            time.sleep(0.01)
        self.started = started
        self.url = "http://" + started[1]
        self.port = int(started[2])

    def error_text(self):
        with open(self.errors, encoding="utf-8", errors="replace") as errors:
            return errors.read()

    def stop(self):
        """Stops it as its service does."""
        self.process.terminate()
        expect("the end of quorva-http", self.process.wait(DEADLINE), 0)

    def clean_up(self):
        end(self.process)


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
        """The reply to a request. Raises Failure if the server closes the connection instead."""
        name = (OPERATION_PREFIX + operation).encode()
        text = json.dumps(body, ensure_ascii=False).encode()
        # Name length, name, body length, body; lengths are 4 bytes, big-endian.
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
