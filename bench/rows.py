"""What script/bench measures: the rows of its table, and their targets."""

import collections
import statistics

# The kinds of directory: as mkdir makes it, as `quorvactl init` makes it, and one of a server with -n.
PLAIN = "plain"
INIT = "init"
RELAXED = "relaxed"

# What a row is compared with: the maximum of storage and network, other servers, another build of this one.
BOUND = "bound"
POSTGRES = "PostgreSQL"
REDIS = "Redis"
BASELINE = "baseline"

# `targets`: what the rate should be at least, as a multiple of that of each.
Row = collections.namedtuple("Row", "operation clients directory targets")

ROWS = [
    Row("put", 1, INIT, {}),
    Row("put", 8, INIT, {POSTGRES: 1.0, BOUND: 0.6}),
    Row("put", 64, INIT, {POSTGRES: 1.2, BOUND: 0.6}),
    Row("update", 8, INIT, {POSTGRES: 1.0, BOUND: 0.6}),
    Row("update", 64, INIT, {POSTGRES: 1.2, BOUND: 0.6}),
    Row("batch", 8, INIT, {BASELINE: 1.5, BOUND: 0.6}),
    Row("batch", 64, INIT, {BASELINE: 5.0, BOUND: 0.6}),
    Row("mixed", 64, INIT, {BASELINE: 2.0}),
    Row("put", 1, PLAIN, {BASELINE: 1.0}),
    Row("put", 8, PLAIN, {BASELINE: 1.5}),
    Row("put", 64, PLAIN, {BASELINE: 1.5}),
    Row("update", 8, PLAIN, {BASELINE: 1.5}),
    Row("update", 64, PLAIN, {BASELINE: 1.5}),
    Row("batch", 8, PLAIN, {BASELINE: 1.5}),
    Row("batch", 64, PLAIN, {BASELINE: 5.0}),
    Row("mixed", 64, PLAIN, {BASELINE: 2.0}),
    Row("put", 8, RELAXED, {BOUND: 0.7}),
    Row("put", 64, RELAXED, {BOUND: 0.7}),
    Row("get", 8, INIT, {POSTGRES: 1.3, BOUND: 0.7}),
    Row("get", 64, INIT, {POSTGRES: 2.0, BOUND: 0.7}),
    Row("get", 1, RELAXED, {BASELINE: 1.0}),
    Row("get", 8, RELAXED, {POSTGRES: 1.3, BOUND: 0.7}),
    Row("get", 64, RELAXED, {POSTGRES: 2.0, BOUND: 0.7}),
    Row("query", 8, RELAXED, {POSTGRES: 1.5, BOUND: 0.5}),
    Row("query", 64, RELAXED, {}),
    Row("scan", 8, RELAXED, {POSTGRES: 1.5, BOUND: 0.5}),
]

# The same through quorva-http. `targets`, by version of the API: what the rate should be at least, as a multiple of
# that of the wire protocol.
HttpRow = collections.namedtuple("HttpRow", "operation clients directory targets")

HTTP_VERSIONS = ("2011", "2012")
HTTP_ROWS = [
    HttpRow("get", 8, RELAXED, {"2011": 0.5, "2012": 0.5}),
    HttpRow("put", 8, RELAXED, {"2011": 0.5, "2012": 0.5}),
    HttpRow("update", 8, RELAXED, {"2012": 0.3}),  # with a condition, in 2012: read, computed and committed
    HttpRow("query", 8, RELAXED, {}),
    HttpRow("put", 8, INIT, {"2011": 0.5, "2012": 0.5}),
    HttpRow("update", 8, INIT, {"2012": 0.3}),
]

COMMITTING_THREADS = 4  # of bdb-limit, where it has as many operations outstanding as there are clients
IDLE_CONNECTIONS = 1000  # while the memory is measured
READERS, WRITERS = 8, 56  # clients, while the latency of gets beside puts is measured
LOCK_WAIT = 250  # milliseconds; no request should wait longer for a lock
LOCK_MIXES = [("mixed", 64), ("put", 64), ("update", 64), ("batch", 8)]  # operations and clients that are examined
WRITES = ("put", "update", "mixed", "batch")


def is_durable(row):
    """Whether the operation waits for the disk."""
    return row.directory != RELAXED and row.operation in WRITES


def is_compared(row):
    """Whether the other servers, whose writes are durable, do the same."""
    return is_durable(row) or row.operation not in WRITES


def label(row):
    """Reads with -n are those on a plain directory: both have the same cache."""
    if row.directory == RELAXED:
        return f"{row.operation} (-n)" if row.operation in WRITES else row.operation
    return f"{row.operation} ({row.directory})"


def bound(direct, echo):
    """The rate of requests that need both, one after the other."""
    return 1 / (1 / direct + 1 / echo) if direct and echo else 0.0


def rate(rounds, program):
    """The median rate of a program, or None if it was not measured."""
    rates = [each[program]["rate"] for each in rounds if program in each]
    return statistics.median(rates) if rates else None


def ratio(rounds, program):
    """The server's median rate as a multiple of another's; both are of the same rounds."""
    other = rate([each for each in rounds if program in each], program)
    return rate([each for each in rounds if program in each], "server") / other if other else None
