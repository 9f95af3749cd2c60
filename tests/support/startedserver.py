"""A server that a command starts, as a child process that cannot outlive the test."""

import fcntl
import os
import signal
import socket
import subprocess
import sys
import time

DEADLINE = 60  # seconds


def fail(text):
    sys.exit(f"FAILED: {text}")


def expect(what, found, wanted):
    if found != wanted:
        fail(f"{what}:\n  found  {found!r}\n  wanted {wanted!r}")


def run(command, **options):
    """Runs a command that has to succeed and returns what it printed, both streams."""
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False, **options)
    if done.returncode != 0:
        fail(f"{' '.join(command)} ended with {done.returncode}:\n{done.stdout}")
    return done.stdout


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class StartedServer:
    """`command` turns a port into the words that start the server on it, with its log on standard error."""

    def __init__(self, command, directory, scratch):
        self.command = command
        self.directory = directory
        self.log = os.path.join(scratch, "server.log")
        # The server ends with the one who holds this lock.
        self.lock = os.path.join(scratch, "parent.lock")
        self.holder = open(self.lock, "w")
        fcntl.flock(self.holder, fcntl.LOCK_EX)
        self.process = None
        self.port = 0

    def start(self):
        for _ in range(20):  # somebody else may take the port first
            self.port = free_port()
            environment = {name: value for name, value in os.environ.items() if name != "QUORVA_LOCKFILE"}
            environment["OSTRIK_LOCKFILE"] = self.lock
            with open(self.log, "w") as log:
                self.process = subprocess.Popen(self.command(self.port), cwd=self.directory, stderr=log,
                                                env=environment)
            if self.wait_until_listening():
                return
            self.process.wait()
        fail(f"the server does not start:\n{self.text()}")

    def wait_until_listening(self):
        end = time.monotonic() + DEADLINE
        while time.monotonic() < end:
            ended = self.process.poll() is not None
            if "Server listening on " in self.text():
                return True
            if ended:
                if "bind failed" not in self.text():
                    fail(f"the server ended with {self.process.returncode}:\n{self.text()}")
                return False
            time.sleep(0.01)
        fail(f"the server does not listen:\n{self.text()}")

    def text(self):
        with open(self.log) as log:
            return log.read()

    def stop(self):
        """Ends it as its service does and returns how it ended."""
        self.process.send_signal(signal.SIGTERM)
        return self.process.wait(DEADLINE)

    def clean_up(self):
        if self.process is not None and self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        self.holder.close()
