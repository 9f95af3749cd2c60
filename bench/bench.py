"""Measures the server, its limits and other servers, in turn within each round, and prints how they compare.

A row is an operation with a number of clients on a kind of directory. In each round every row is measured at the
server, at bdb-limit, at echo-limit and at whatever it is to be compared with, so that whatever else the machine does
falls on all of them alike. The table shows the medians of the rates, and their ratios. Timing decides nothing here: the
status is 0 whatever the ratios are.
"""

import argparse
import contextlib
import json
import os
import sys
import time

import postgres
import rediscompare
import report
from processes import Workspace, note
from quorva import Failure
from rows import (BASELINE, BOUND, COMMITTING_THREADS, HTTP_ROWS, HTTP_VERSIONS, IDLE_CONNECTIONS, INIT, LOCK_MIXES,
                  LOCK_WAIT, PLAIN, POSTGRES, READERS, REDIS, RELAXED, ROWS, WRITERS, bound, is_compared, is_durable,
                  label)

BUSY_LOAD = 0.5  # runnable processes


class Contestant:
    """A build of the server, with a table in a directory of each kind."""

    def __init__(self, workspace, name, program=None):
        self.workspace = workspace
        self.name = name
        self.durable = workspace.start_server(program=program)
        self.relaxed = workspace.start_server("-n", program=program)
        for kind in (PLAIN, INIT, RELAXED):
            workspace.make_directory(self._directory(kind), with_settings=kind == INIT)
            workspace.load(self.server(kind), self.table(kind))

    def _directory(self, kind):
        return f"{self.name}-{kind}"

    def table(self, kind):
        return f"{self._directory(kind)}|items"

    def server(self, kind):
        return self.relaxed if kind == RELAXED else self.durable

    def measure(self, row):
        return self.workspace.measure(self.server(row.directory), self.table(row.directory), row.operation,
                                      row.clients)

    def measure_beside_writers(self):
        """Gets of some clients while others put, in a directory of init."""
        return self.workspace.measure(self.durable, self.table(INIT), "get", READERS, "--writers", str(WRITERS))


class Bench:
    """The processes and directories of a run, and what was measured."""

    def __init__(self, workspace, options):
        self.workspace = workspace
        self.contestants = {"server": Contestant(workspace, "server")}
        if options.baseline:
            self.contestants[BASELINE] = Contestant(workspace, BASELINE, options.baseline)
        self.echo = workspace.start_echo()
        self.direct = {kind: workspace.make_directory(f"direct-{kind}", with_settings=kind == INIT)
                       for kind in (PLAIN, INIT, RELAXED)}
        for directory in self.direct.values():
            workspace.load_direct(directory)
        self.others = {}
        self.rounds = []  # pairs of a row and its results, one dictionary for each round
        self.beside_writers = []  # one dictionary for each round
        server = self.contestants["server"]
        self.http = {kind: workspace.start_http(server.server(kind)) for kind in (INIT, RELAXED)}
        self.relays = {kind: workspace.start_relay(server.server(kind)) for kind in self.http}
        self.http_rounds = []  # as rounds
        if options.compare:
            self._start_others(options)

    def _start_others(self, options):
        known = {POSTGRES: (postgres.binaries(), postgres.Postgres),
                 REDIS: (rediscompare.is_installed(), rediscompare.Redis)}
        for name, (installed, program) in known.items():
            if installed:
                self.others[name] = program(self.workspace.directory, options.items, options.item_size)
            else:
                note(f"{name} is not installed: measuring without it")

    def close(self):
        for other in self.others.values():
            other.close()

    def measure(self, row, turn):
        run = self.workspace
        # Each round begins with a different program: writes that one leaves to the disk burden the next.
        names = list(self.contestants)[::-1 if turn % 2 else 1]
        result = {name: self.contestants[name].measure(row) for name in names}
        options = ["--outstanding", str(row.clients)] if is_durable(row) else ["-n"]
        threads = COMMITTING_THREADS if is_durable(row) else row.clients
        result["bdb-limit"] = run.measure_direct(self.direct[row.directory], row.operation, threads, *options)
        result["echo-limit"] = run.measure_echo(self.echo, row.operation, row.clients, result["server"]["replyBytes"])
        result[BOUND] = {"rate": bound(result["bdb-limit"]["rate"], result["echo-limit"]["rate"])}
        for name, other in self.others.items():
            if is_compared(row) and other.can(row.operation):
                result[name] = {"rate": other.measure(row.operation, row.clients, run.seconds)}
        self._rounds_of(row, self.rounds).append(result)
        return result

    def measure_http(self, row):
        """By the wire protocol, by the same through a relay, and by each version of the API."""
        server = self.contestants["server"]
        result = {"wire": server.measure(row)}
        result["relay-limit"] = self.workspace.measure(self.relays[row.directory], server.table(row.directory),
                                                       row.operation, row.clients)
        for version in HTTP_VERSIONS:
            result[version] = self.workspace.measure(self.http[row.directory], server.table(row.directory),
                                                     row.operation, row.clients, "--interface", version)
        self._rounds_of(row, self.http_rounds).append(result)
        return result

    @staticmethod
    def _rounds_of(row, all_rounds):
        for known, rounds in all_rounds:
            if known is row:
                return rounds
        all_rounds.append((row, []))
        return all_rounds[-1][1]

    def measure_beside_writers(self):
        result = {name: contestant.measure_beside_writers() for name, contestant in self.contestants.items()}
        result["flush"] = self.workspace.measure_direct(self.direct[INIT], "put", 1)
        self.beside_writers.append(result)


def measure_memory(workspace):
    """The resident memory, in KiB, of a server that has just started, has answered, and holds idle connections."""
    server = workspace.start_server()
    started = server.resident_kib()
    workspace.make_directory("memory")
    workspace.with_workload(200, 1024).load(server, "memory|items")
    answered = server.resident_kib()
    with workspace.idle_connections(server, "memory|items", IDLE_CONNECTIONS):
        connected = server.resident_kib()
    return {"started": started, "answered": answered, "connected": connected}


def measure_lock_waits(workspace):
    """How many requests there were, and how many of them waited too long for a lock: Berkeley DB is told to give up by
    then, and to say so with a code of its own, which the server passes on."""
    server = workspace.start_server()
    workspace.make_directory(
        "locks", settings=f"set_lock_timeout {LOCK_WAIT * 1000}\nset_flags db_time_notgranted on\n")
    workspace.load(server, "locks|items")
    results = [workspace.measure(server, "locks|items", operation, clients) for operation, clients in LOCK_MIXES]
    return {"requests": sum(result["ops"] for result in results),
            "late": sum(result["errors"] for result in results)}


def write_results(path, options, bench, memory, lock_waits):
    rows = [{**row._asdict(), "rounds": rounds} for row, rounds in bench.rounds]
    http_rows = [{**row._asdict(), "rounds": rounds} for row, rounds in bench.http_rounds]
    settings = {name: value for name, value in vars(options).items() if name != "output"}
    with open(path, "w", encoding="ascii") as file:
        json.dump({"settings": settings, "processors": os.cpu_count(), "rows": rows, "http": http_rows,
                   "memory": memory,
                   "besideWriters": bench.beside_writers, "lockWaits": lock_waits}, file, indent=1)
        file.write("\n")


def parse_arguments():
    root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    parser = argparse.ArgumentParser(prog="script/bench", description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--seconds", type=float, default=1.5, help="length of one measurement in seconds (%(default)s)")
    parser.add_argument("--items", type=int, default=10000, help="items of each table (%(default)s)")
    parser.add_argument("--item-size", type=int, default=1024, help="bytes of an item (%(default)s)")
    parser.add_argument("--only", default="", help="comma-separated operations; the others are omitted")
    parser.add_argument("--quick", action="store_true", help="one short round, to check that everything runs")
    parser.add_argument("--directory", default="", help="comma-separated kinds: plain, init, relaxed (-n, and reads)")
    parser.add_argument("--compare", action="store_true", help="measure PostgreSQL and Redis as well")
    parser.add_argument("--baseline", metavar="PATH", help="measure this build of the server as well")
    parser.add_argument("--output", help="write all results to this file as JSON")
    parser.add_argument("--binaries", default=os.path.join(root, "build", "bin"), help=argparse.SUPPRESS)
    options = parser.parse_args()
    if options.quick:
        options.rounds, options.seconds, options.items = 1, 0.1, 2000
    return options


def main():
    options = parse_arguments()
    rows, http_rows = ([row for row in rows if (not options.only or row.operation in options.only.split(","))
                        and (not options.directory or row.directory in options.directory.split(","))]
                       for rows in (ROWS, HTTP_ROWS))
    began, load = time.monotonic(), os.getloadavg()[0]
    if load > BUSY_LOAD:
        note("the machine is busy with other things: whatever waits for its turn looks slower than it is")
    with Workspace(options.binaries, options.items, options.item_size, options.seconds) as workspace:
        memory = measure_memory(workspace)
        note("loading")
        with contextlib.closing(Bench(workspace, options)) as bench:
            for turn in range(options.rounds):
                for row in rows:
                    result = bench.measure(row, turn)
                    rates = ", ".join(f"{program} {each['rate']:,.0f}/s" for program, each in result.items())
                    note(f"round {turn + 1} of {options.rounds}: {label(row)}, {row.clients} clients: {rates}")
                for row in http_rows:
                    rates = ", ".join(f"{name} {each['rate']:,.0f}/s" for name, each in bench.measure_http(row).items())
                    note(f"round {turn + 1} of {options.rounds}: {label(row)} over HTTP: {rates}")
                bench.measure_beside_writers()
        note("lock waits")
        lock_waits = measure_lock_waits(workspace)
    print(f"Medians of {options.rounds} rounds of {options.seconds} s, {os.cpu_count()} processors, {options.items} "
          f"items of {options.item_size} bytes, {time.monotonic() - began:.0f} s in all; load average before: "
          f"{load:.1f}.\n")
    report.print_all(bench, memory, lock_waits)
    if options.output:
        write_results(options.output, options, bench, memory, lock_waits)
    return 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except Failure as failure:
        sys.exit(f"script/bench: {failure}")
