"""The machine of an operator's days: the packages installed below a directory, with a clock and a disk of its own."""

import json
import mmap
import os
import re
import struct
import subprocess

from packages import Root, backup_arguments, make_state_directory, service_command
from quorva import Server, expect, fail, run

DAY = 24 * 60 * 60
FIRST_MORNING = 2_000_016_000  # 2033-05-18 08:00 UTC, later than any real clock
CUSTOMERS = [f"c{n}" for n in range(8)]  # few data files, as each night copies and verifies all


class Clock:
    """The time of the server's and the tool's clock, see tests/support/standingclock.h."""

    def __init__(self, path):
        with open(path, "wb") as file:
            file.write(bytes(8))
        with open(path, "r+b") as file:
            self.page = mmap.mmap(file.fileno(), 8)
        self.now = 0
        self.set(FIRST_MORNING)

    def set(self, seconds):
        self.now = seconds
        self.page[:] = struct.pack("=q", seconds)

    def advance(self, *, days=0, minutes=0):
        self.set(self.now + days * DAY + minutes * 60)


class Machine:
    """Where the packages are installed, with the service running."""

    def __init__(self, scratch, clock_library, disk_library):
        self.scratch = scratch
        self.root = Root(scratch)
        self.clock = Clock(os.path.join(scratch, "clock"))
        self.disk = os.path.join(scratch, "disk")
        os.mkdir(self.disk)
        # For the programs that are started from here on; others do not open what the variables name.
        os.environ.update(LD_PRELOAD=f"{clock_library}:{disk_library}",
                          QUORVA_STANDING_CLOCK=os.path.join(scratch, "clock"), QUORVA_HELD_DISK=self.disk)
        self.server = None
        self.state = None

    def install(self, package):
        preloaded = os.environ.pop("LD_PRELOAD")
        self.root.dpkg("--install", package)
        os.environ["LD_PRELOAD"] = preloaded

    def start(self):
        """As the service does, also after an exit that it did not cause."""
        self.state = make_state_directory(self.root)
        if self.server is None:
            self.server = Server(service_command(self.root, "quorva", "QUORVA_OPTIONS", []), self.scratch, self.state)
        self.server.start()
        os.environ["QUORVA_PORT"] = str(self.server.port)

    def attempt(self, *words, **options):
        return subprocess.run([os.path.join(self.root.path, "usr/bin/quorvactl"), *words], cwd=self.state, text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False, **options)

    def tool(self, *words, **options):
        done = self.attempt(*words, **options)
        if done.returncode != 0:
            fail(f"quorvactl {' '.join(words)} ended with {done.returncode}:\n{done.stdout}\n{self.server.output()}")
        return done.stdout

    def service(self, unit):
        """Runs a backup unit until it exits, and returns the text of its status."""
        program, *words = backup_arguments(self.root, unit, self.state)
        expect("the unit's program", os.path.basename(program), "quorvactl")
        return self.tool(*words)

    def status(self):
        return json.loads(self.tool("status", "--json"))

    def put(self, day):
        self.tool("put", "main|orders", "customer=S:day", f"date=S:{day}")

    def items(self, table="main|orders"):
        """All items, in the order of CUSTOMERS, then those of the days."""
        return [line for hash_key in [*CUSTOMERS, "day"] for line in self.tool("query", table, hash_key).splitlines()]


def newer(package, scratch):
    """The package with a later version, like that of the next release."""
    tree = os.path.join(scratch, "newer")
    run(["dpkg-deb", "-R", package, tree])
    control = os.path.join(tree, "DEBIAN/control")
    with open(control, encoding="utf-8") as file:
        text = re.sub(r"^Version: .*$", "Version: 99.0", file.read(), flags=re.MULTILINE)
    with open(control, "w", encoding="utf-8") as file:
        file.write(text)
    path = os.path.join(scratch, "quorva_99.0_newer.deb")
    run(["dpkg-deb", "-Znone", "--root-owner-group", "-b", tree, path])
    return path
