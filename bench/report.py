"""Prints what script/bench has measured."""

import statistics

from rows import (BASELINE, BOUND, HTTP_VERSIONS, IDLE_CONNECTIONS, LOCK_MIXES, LOCK_WAIT, POSTGRES, READERS, REDIS,
                  WRITERS, label, rate, ratio)

MEBIBYTE = 1024  # KiB

TAIL_OPERATIONS = ("get", "query")  # whose p99 has a target at 64 clients
TAIL_CLIENTS = 64
TAIL_TARGET = 10  # times p50
BESIDE_TARGET = 3  # flushes that a get's p99 may take beside writers
IDLE_TARGET = 30 * MEBIBYTE
CONNECTIONS_TARGET = 16 * MEBIBYTE


def median(rounds, program, value):
    return statistics.median(each[program][value] for each in rounds)


def number(value):
    return "" if value is None else f"{value:,.0f}"


def times(value):
    return "" if value is None else f"{value:.2f}"


def described(row):
    return f"{label(row)}, {row.clients} client{'s' if row.clients != 1 else ''}"


def verdict(reached):
    return "reached" if reached else "missed"


def print_table(measured):
    others = [name for name in (BOUND, POSTGRES, REDIS, BASELINE) if any(name in rounds[0] for _, rounds in measured)]
    heading = ["operation", "clients", "server /s", "p50 us", "p99 us"]
    heading += [word for name in others for word in (f"{name} /s", "x")]
    lines = [heading, ["---"] + ["---:"] * (len(heading) - 1)]
    for row, rounds in measured:
        line = [label(row), str(row.clients), number(rate(rounds, "server")), number(median(rounds, "server", "p50")),
                number(median(rounds, "server", "p99"))]
        for name in others:
            line += [number(rate(rounds, name)), times(ratio(rounds, name))]
        lines.append(line)
    widths = [max(len(line[column]) for line in lines) for column in range(len(heading))]
    for line in lines:
        print("| " + " | ".join(cell.ljust(width) for cell, width in zip(line, widths)) + " |")


def print_targets(measured):
    for row, rounds in measured:
        for name, target in row.targets.items():
            reached = ratio(rounds, name)
            if reached is not None:
                print(f"{described(row)}: {reached:.2f} x {name}, target {target}: "
                      f"{verdict(reached >= target)}")


def print_limits(measured):
    """The two limits that make up the bound."""
    for row, rounds in measured:
        print(f"{described(row)}: bdb-limit {number(rate(rounds, 'bdb-limit'))}/s, echo-limit "
              f"{number(rate(rounds, 'echo-limit'))}/s")


def print_tails(measured):
    for row, rounds in measured:
        if row.operation in TAIL_OPERATIONS and row.clients == TAIL_CLIENTS:
            tail = median(rounds, "server", "p99") / median(rounds, "server", "p50")
            print(f"{described(row)}: p99 is {tail:.1f} x p50, target {TAIL_TARGET}: "
                  f"{verdict(tail <= TAIL_TARGET)}")


def print_beside_writers(rounds):
    flush = median(rounds, "flush", "p50")
    for name in rounds[0]:
        if name != "flush":
            tail = median(rounds, name, "p99")
            print(f"{name}: get, {READERS} clients, beside {WRITERS} that put: p99 {tail:,.0f} us, {tail / flush:.1f} "
                  f"x one durable put of bdb-limit ({flush:,.0f} us), target {BESIDE_TARGET}: "
                  f"{verdict(tail <= BESIDE_TARGET * flush)}")


def print_memory(memory):
    grown = memory["connected"] - memory["answered"]
    print(f"resident: {memory['started'] / MEBIBYTE:.1f} MiB idle, target {IDLE_TARGET // MEBIBYTE}: "
          f"{verdict(memory['started'] <= IDLE_TARGET)}; {memory['answered'] / MEBIBYTE:.1f} MiB with one table open; "
          f"{grown / MEBIBYTE:.1f} MiB more with {IDLE_CONNECTIONS} idle connections, target "
          f"{CONNECTIONS_TARGET // MEBIBYTE}: {verdict(grown <= CONNECTIONS_TARGET)}")


def print_lock_waits(lock_waits):
    mixes = ", ".join(f"{operation} with {clients} clients" for operation, clients in LOCK_MIXES)
    print(f"waited more than {LOCK_WAIT} ms for a lock: {lock_waits['late']} of {lock_waits['requests']:,} requests "
          f"({mixes}), target 0: {verdict(lock_waits['late'] == 0)}")


def print_http(measured):
    """Rates through quorva-http as multiples of those of the wire protocol in the same rounds."""
    for row, rounds in measured:
        wire = rate(rounds, "wire")
        for version in HTTP_VERSIONS:
            reached = rate(rounds, version) / wire
            target = row.targets.get(version)
            verdict_text = f", target {target}: {verdict(reached >= target)}" if target else ""
            print(f"{described(row)}: API of {version} over HTTP {number(rate(rounds, version))}/s, "
                  f"{reached:.2f} x the wire protocol ({number(wire)}/s){verdict_text}")
        relay = rate(rounds, "relay-limit")
        print(f"{described(row)}: relay-limit {number(relay)}/s, {relay / wire:.2f} x the wire protocol")


def print_errors(measured):
    for row, rounds in measured:
        for program in ("server", BASELINE, "bdb-limit", "echo-limit"):
            errors = sum(each[program]["errors"] for each in rounds if program in each)
            if errors:
                print(f"{described(row)}: {errors} errors from {program}")


def print_all(bench, memory, lock_waits):
    print_table(bench.rounds)
    for print_part in (print_targets, print_tails, print_limits):
        print()
        print_part(bench.rounds)
    print()
    print_http(bench.http_rounds)
    print()
    print_beside_writers(bench.beside_writers)
    print_memory(memory)
    print_lock_waits(lock_waits)
    print_errors(bench.rounds)
