"""Prints what script/bench has measured."""

import statistics

from rows import IDLE_CONNECTIONS, LOCK_MIXES, LOCK_WAIT, PAUSE, label, ratio_of

MEBIBYTE = 1024  # KiB

TAIL_OPERATIONS = ("get", "query")  # whose p99 has a target at 64 clients
TAIL_CLIENTS = 64
TAIL_TARGET = 10  # times p50
IDLE_TARGET = 30 * MEBIBYTE
CONNECTIONS_TARGET = 16 * MEBIBYTE


def median(rounds, program, value="rate"):
    values = [each[program][value] for each in rounds if program in each]
    return statistics.median(values) if values else None


def number(value):
    return "" if value is None else f"{value:,.0f}"


def verdict(reached):
    return "reached" if reached else "missed"


def print_table(measured, with_postgres):
    heading = ["operation", "clients", "server /s", "p50 us", "p99 us", "bdb-limit /s", "echo-limit /s", "ratio",
               "of", "target", "", "dsync off /s"] + (["PostgreSQL /s"] if with_postgres else [])
    lines = [heading, ["---"] + ["---:"] * 7 + ["---", "---:", "---", "---:"] + ["---:"] * with_postgres]
    for row, rounds in measured.items():
        ratio = statistics.median(ratio_of(row, result) for result in rounds)
        line = [label(row), str(row.clients), number(median(rounds, "server")), number(median(rounds, "server", "p50")),
                number(median(rounds, "server", "p99")), number(median(rounds, "bdb-limit")),
                number(median(rounds, "echo-limit")), f"{ratio:.2f}", row.against,
                f"{row.target or ''}", verdict(ratio >= row.target) if row.target else "",
                number(median(rounds, "plainlog"))]
        lines.append(line + ([number(median(rounds, "postgres"))] if with_postgres else []))
    widths = [max(len(line[column]) for line in lines) for column in range(len(heading))]
    for line in lines:
        print("| " + " | ".join(cell.ljust(width) for cell, width in zip(line, widths)) + " |")


def print_paused(measured):
    """What part of the distance to bdb-limit is the storage's: its threads never wait for anything but the disk."""
    for row, rounds in measured.items():
        both = [each for each in rounds if "paused" in each and each["paused"]["rate"] > 0]
        if both:
            times = statistics.median(each["server"]["rate"] / each["paused"]["rate"] for each in both)
            print(f"{label(row)}, {row.clients} clients: {times:.2f} x bdb-limit with {PAUSE} us of sleep after each "
                  f"operation ({number(median(rounds, 'paused'))}/s)")


def print_tails(measured):
    for row, rounds in measured.items():
        if row.operation in TAIL_OPERATIONS and row.clients == TAIL_CLIENTS:
            times = statistics.median(each["server"]["p99"] / each["server"]["p50"] for each in rounds)
            print(f"{row.operation}, {row.clients} clients: p99 is {times:.1f} x p50, target {TAIL_TARGET}: "
                  f"{verdict(times <= TAIL_TARGET)}")


def print_comparison(measured):
    """Durable writes compare in the environment whose log is flushed as PostgreSQL flushes its own."""
    for row, rounds in measured.items():
        program = "plainlog" if row.sync else "server"
        both = [each for each in rounds if "postgres" in each]
        if both:
            times = statistics.median(each[program]["rate"] / each["postgres"]["rate"] for each in both)
            print(f"{label(row)}, {row.clients} clients: {times:.2f} x PostgreSQL{', dsync off' if row.sync else ''}")


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


def print_errors(measured):
    for row, rounds in measured.items():
        for program in ("server", "bdb-limit", "paused", "echo-limit", "plainlog"):
            errors = sum(each[program]["errors"] for each in rounds if program in each)
            if errors:
                print(f"{label(row)}, {row.clients} clients: {errors} errors from {program}")


def print_all(measured, memory, lock_waits, with_postgres):
    """`measured` maps each row to its rounds: the results of a row at the server, the limits and so on."""
    print_table(measured, with_postgres)
    print()
    print_paused(measured)
    print_tails(measured)
    print_comparison(measured)
    print_memory(memory)
    print_lock_waits(lock_waits)
    print_errors(measured)
