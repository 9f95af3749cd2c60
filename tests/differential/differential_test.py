#!/usr/bin/env python3
"""Sends a long random sequence of all operations to a server and to a model, whose replies must always be equal.

    differential_test.py PATH_OF_THE_SERVER

QUORVA_DIFFERENTIAL_STEPS and QUORVA_DIFFERENTIAL_SEED set the number of requests and the seed; equal numbers produce
equal requests. Exits with status 0 if all replies were equal, otherwise shows the first that differs.
"""

import json
import os
import random
import shutil
import sys
import tempfile

from differential_model import Model
from differential_requests import Requests
from differential_values import split_key
from quorva import Failure, Server

DEFAULT_STEPS = 5000
DEFAULT_SEED = 20111205
CONNECTIONS = 3


def canonical(value):
    """JSON text that differs whenever two values differ, even if only in type."""
    return json.dumps(value, sort_keys=True)


def compared(reply):
    """The reply without what the model cannot know: the bytes that a table named by its directory has on disk."""
    table = reply.get("Table")
    if isinstance(table, dict) and isinstance(table.get("TableSizeBytes"), int):
        return {**reply, "Table": {**table, "TableSizeBytes": 0}}
    return reply


class Run:
    def __init__(self, binary, directory, seed):
        self.random = random.Random(seed)
        self.server = Server([binary, "-n"], directory)
        homes = [os.path.join(directory, name) for name in ("env1", "env2", "env3")]
        for home in homes:
            os.mkdir(home)
        self.model = Model(homes)
        self.tables = [homes[0] + "|t", homes[0] + "|u", homes[1], homes[1] + "|t.\xe9", homes[2] + "|v"]
        foreign = [directory + "/missing|t", "", "|t", "no such directory"]
        self.requests = Requests(self.random, self.model, self.tables, foreign, self.tables[0])
        self.history = []
        self.connections = []

    def exchange(self, operation, body):
        connection = self.random.choice(self.connections)
        self.history.append((operation, body))
        want = self.model.run(operation, body)
        try:
            have = compared(connection.request(operation, body))
        except (Failure, OSError) as error:
            raise Failure("no reply: %s" % error) from error
        if canonical(have) != canonical(want):
            raise Failure("expected %s\nreceived %s" % (canonical(want), canonical(have)))
        return have

    def create_tables(self):
        schema = {
            "HashKeyElement": {"AttributeName": "h", "AttributeType": "S"},
            "RangeKeyElement": {"AttributeName": "r", "AttributeType": "S"},
        }
        for name in self.tables[:-1]:  # the last one starts without a schema
            self.exchange("CreateTable", {"TableName": name, "KeySchema": schema})

    def read_everything(self):
        """Reads all items again, one by one, and one table by a scan."""
        for name in self.tables:
            table = self.model.table(name)
            for records in list(table.partitions.values()):
                for key in list(records):
                    hash_key, range_key = ({"S": part.decode("latin-1")} for part in split_key(key))
                    body = {"TableName": name, "Key": {"HashKeyElement": hash_key, "RangeKeyElement": range_key}}
                    self.exchange("GetItem", body)
        self.exchange("Scan", {"TableName": self.tables[0], "Limit": 1000000})

    def step(self):
        operation, body = self.requests.next()
        reply = self.exchange(operation, body)
        # Follows pages for a while, mostly with the last key in the correct form.
        while "LastEvaluatedKey" in reply and self.random.random() < 0.7:
            last = reply["LastEvaluatedKey"]
            if self.random.random() < 0.95:
                last = {**last, **{name: {"S": last[name]} for name in ("HashKeyElement", "RangeKeyElement")}}
            body = {**body, "ExclusiveStartKey": last}
            reply = self.exchange(operation, body)

    def check_server(self):
        if self.server.process.poll() is not None:
            raise Failure("the server ended with status %s" % self.server.process.returncode)
        if self.server.error_text():
            raise Failure("the server wrote to standard error")

    def run(self, steps):
        try:
            self.server.start()
            self.connections = [self.server.connect() for _ in range(CONNECTIONS)]
            self.create_tables()
            for step in range(steps):
                self.step()
                if step % 500 == 0:
                    self.check_server()
            self.read_everything()
            self.check_server()
        except Failure as failure:
            print("request %d of this run failed" % len(self.history))
            for operation, body in self.history[-3:]:
                print("  %s %s" % (operation, canonical(body)))
            print(failure)
            print("log: " + "\n     ".join(self.server.log_text().splitlines()[-10:]))
            print(self.server.error_text())
            return False
        finally:
            for connection in self.connections:
                connection.close()
            self.server.clean_up()
        return True


def main():
    steps = int(os.environ.get("QUORVA_DIFFERENTIAL_STEPS") or DEFAULT_STEPS)
    seed = int(os.environ.get("QUORVA_DIFFERENTIAL_SEED") or DEFAULT_SEED)
    print("QUORVA_DIFFERENTIAL_STEPS=%d QUORVA_DIFFERENTIAL_SEED=%d" % (steps, seed), flush=True)
    directory = tempfile.mkdtemp(prefix="quorva-test-")
    try:
        return 0 if Run(sys.argv[1], directory, seed).run(steps) else 1
    finally:
        shutil.rmtree(directory, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
