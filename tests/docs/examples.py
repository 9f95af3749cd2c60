"""Uses the configurations in the documents that are not console sessions, with the programs that they are for. Each is
taken from its document as it is there; only directories and ports are replaced.
"""

import os
import sys
import tempfile
import textwrap
import time

from quorva import DEADLINE, Server, fail, run


def indented(document, first_line):
    """The indented block in a document that begins with this line."""
    with open(document, encoding="utf-8") as file:
        lines = file.read().splitlines()
    if lines.count("    " + first_line) != 1:
        fail(f"{document} does not say {first_line} once")
    block = []
    for line in lines[lines.index("    " + first_line):]:
        if line and not line.startswith("    "):
            break
        block.append(line)
    return textwrap.dedent("\n".join(block)).rstrip() + "\n"


def write(path, text):
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)
    return path


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def wait_until(what, condition):
    deadline = time.monotonic() + DEADLINE
    while not condition():
        if time.monotonic() > deadline:
            fail(f"not within {DEADLINE} seconds: {what}")
        time.sleep(0.01)


class Place:
    """A scratch directory with a server, and the tool to use it."""

    def __init__(self, scratch, binaries):
        self.path = scratch
        self.binaries = binaries
        self.server = Server([f"{binaries}/quorva"], scratch)

    def __enter__(self):
        self.server.start()
        return self

    def __exit__(self, *exception):
        self.server.clean_up()

    def tool(self, *words):
        return run([f"{self.binaries}/quorvactl", *words], cwd=self.path,
                   env={**os.environ, "QUORVA_PORT": str(self.server.port)})

    def make_table(self, table):
        self.tool("init", table.split("|")[0])
        self.tool("create-table", table, "customer", "date")


def run_example(tests):
    """The main function of a test that is called with SOURCE BIN NAME: calls `test_NAME`, one of `tests`."""
    source, binaries, name = sys.argv[1:]
    os.chdir(source)
    with tempfile.TemporaryDirectory(prefix="quorva-example-") as scratch:
        return tests["test_" + name](os.path.abspath(binaries), os.path.realpath(scratch))
