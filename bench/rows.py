"""What script/bench measures: the rows of its table, and their targets."""

import collections

# What a row is compared with: bdb-limit, or the bound of it and echo-limit taken one after the other.
DIRECT = "bdb-limit"
BOUND = "bound"

Row = collections.namedtuple("Row", "operation clients sync against target postgres")

ROWS = [
    Row("put", 8, True, DIRECT, 0.9, None),
    Row("put", 64, True, DIRECT, 0.9, "put"),
    Row("update", 8, True, DIRECT, 0.9, None),
    Row("update", 64, True, DIRECT, 0.9, None),
    Row("batch", 8, True, DIRECT, 0.9, None),
    Row("mixed", 64, True, DIRECT, None, None),
    Row("put", 8, False, BOUND, 0.7, None),
    Row("put", 64, False, BOUND, 0.7, None),
    Row("get", 8, False, BOUND, 0.7, None),
    Row("get", 64, False, BOUND, 0.7, "get"),
    Row("query", 8, False, BOUND, 0.5, "query"),
    Row("query", 64, False, BOUND, None, None),
    Row("scan", 8, False, BOUND, 0.5, "scan"),
]
PAUSE = 60  # microseconds that a thread of bdb-limit sleeps where it is to behave like one of a server
IDLE_CONNECTIONS = 1000  # while the memory is measured
LOCK_WAIT = 250  # milliseconds that no request is to wait for a lock
LOCK_MIXES = [("mixed", 64), ("put", 64), ("update", 64), ("batch", 8)]  # operations and clients that are looked at
WRITES = ("put", "update", "mixed", "batch")


def label(row):
    kind = "" if row.operation not in WRITES else " (durable)" if row.sync else " (-n)"
    return f"{row.operation}{kind}"


def bound(direct, echo):
    return 1 / (1 / direct + 1 / echo)


def ratio_of(row, result):
    """The share that the server reaches of what the row is compared with, within one round."""
    server, direct = result["server"]["rate"], result["bdb-limit"]["rate"]
    if server == 0 or direct == 0:
        return 0.0
    return server / (direct if row.against == DIRECT else bound(direct, result["echo-limit"]["rate"]))
