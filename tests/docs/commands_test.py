#!/usr/bin/env python3
"""Runs the commands in the documents that are not part of console sessions: the scripts for developers.

    commands_test.py SOURCE NAME

They use the optimised build in SOURCE/build, so that has to be the one under test. Each command must appear verbatim in
its document; ports, times and rounds are then reduced to what a test can afford.
"""

import os
import re
import sys
import tempfile

from quorva import Server, expect, fail, run, run_main


def documented(document, command):
    """The words of a command that has a line or a table cell to itself, except for a comment after it."""
    with open(document, encoding="utf-8") as file:
        if not re.search(rf"(?:^    |`){re.escape(command)}(?: +#.*$|$|`)", file.read(), re.MULTILINE):
            fail(f"{document} does not say {command}")
    return command.split()


def test_server():
    command = documented("README.md", "script/server")
    with tempfile.TemporaryDirectory(prefix="quorva-command-") as scratch:
        os.mkdir(os.path.join(scratch, "shop"))
        server = Server([os.path.abspath(command[0])], scratch)
        try:
            server.start()
            use(server)
        finally:
            server.clean_up()


def use(server):
    tool = ["build/bin/quorvactl", "--port", str(server.port)]
    run([*tool, "create-table", "shop|orders", "customer", "date"])
    run([*tool, "put", "shop|orders", "customer=S:abc", "date=S:2012-01", "total=N:17"])
    expect("the item", run([*tool, "get", "shop|orders", "abc", "2012-01"]),
           '{"customer":{"S":"abc"},"date":{"S":"2012-01"},"total":{"N":"17"}}\n')


def test_demo():
    output = run(documented("README.md", "script/demo"))
    expect("the demo's last line", output.splitlines()[-1],
           "let go of the parent's lock: the server ended with status 0")


def test_package():
    output = run(documented("README.md", "script/package"))
    packages = [line for line in output.splitlines() if line.endswith(".deb")]
    names = [re.fullmatch(r"build/packages/([\w-]+)_\d[^_]*_\w+\.deb", package) for package in packages]
    expect("the packages", [name and name[1] for name in names], ["libquorva-client1", "libquorva-dev", "quorva"])
    for package in packages:
        run(["dpkg-deb", "--info", package])


def test_tests():
    """Lists the tests that each command would run: this test is one of them."""
    for document, command in [("README.md", "script/test"), ("docs/testing.md", "script/test -L hostile"),
                              ("docs/testing.md", "script/test -L package")]:
        output = run([*documented(document, command), "-N"])
        count = re.search(r"^Total Tests: (\d+)$", output, re.MULTILINE)
        if count is None or int(count[1]) == 0:
            fail(f"{command} finds no tests:\n{output}")


def test_crash():
    command = documented("docs/testing.md", "script/crash --seconds 3600 --rounds 20")
    command[command.index("3600")] = "1"
    command[command.index("20")] = "1"
    # One kind of crash test, as each is a test by itself. The number of runs per second depends on the machine.
    last = run([*command, "--gtest_filter=Modes/CrashTest.WhileItWrites*"]).splitlines()[-1]
    if not re.fullmatch(r"script/crash: [1-9]\d* runs of all tests, 1 crashes in each", last):
        fail(f"the last line: {last!r}")


def test_bench():
    output = run(documented("docs/performance.md", "script/bench --quick"))
    rows = [[cell.strip() for cell in line.split("|")[1:-1]] for line in output.splitlines() if line.startswith("| ")]
    rates = {(row[0], row[1]): row[2] for row in rows[2:]}
    for operation in ("put (plain)", "update (init)", "batch (init)", "mixed (plain)", "put (-n)", "get", "query", "scan"):
        clients = "64" if operation.startswith("mixed") else "8"
        if not re.fullmatch(r"[\d,]*[1-9][\d,]*", rates.get((operation, clients), "")):
            fail(f"no rate of {operation} with {clients} clients:\n{output}")


def main():
    os.chdir(sys.argv[1])
    globals()["test_" + sys.argv[2]]()


if __name__ == "__main__":
    run_main(main)
