#!/usr/bin/env python3
"""Sends a long random sequence of all operations to a server and to a model, and wants equal replies throughout.

    differential_test.py PATH_OF_THE_SERVER

QUORVA_DIFFERENTIAL_STEPS and QUORVA_DIFFERENTIAL_SEED change how many requests are made and which. The same two numbers
make the same requests. Ends with status 0 when all replies were equal, else shows the first that was not.
"""

import fcntl
import json
import os
import random
import shutil
import socket
import struct
import subprocess
import sys
import tempfile
import time

from differential_model import Model, split_key
from differential_requests import Requests

DEFAULT_STEPS = 5000
DEFAULT_SEED = 20111205
DEADLINE = 60  # seconds, for each thing that is waited for


class Failure(Exception):
    pass


class Connection:
    def __init__(self, port):
        self.socket = socket.create_connection(("127.0.0.1", port), timeout=DEADLINE)

    def receive(self, count):
        data = b""
        while len(data) < count:
            piece = self.socket.recv(count - len(data))
            if not piece:
                raise Failure("the server closed the connection")
            data += piece
        return data

    def request(self, operation, body):
        name = ("DynamoDB_20111205." + operation).encode()
        text = json.dumps(body).encode()
        self.socket.sendall(struct.pack(">I", len(name)) + name + struct.pack(">I", len(text)) + text)
        return json.loads(self.receive(struct.unpack(">I", self.receive(4))[0]))


class Server:
    """The server in a directory of its own; it ends with us, as it watches the file that we keep locked."""

    def __init__(self, binary, directory):
        self.binary = binary
        self.directory = directory
        self.parent = open(os.path.join(directory, "parent.lock"), "w")
        fcntl.flock(self.parent, fcntl.LOCK_EX)
        self.log_path = os.path.join(directory, "server.log")
        self.error_path = os.path.join(directory, "stderr")
        self.process = None

    def start(self):
        for _ in range(20):  # somebody may take the port before the server does
            with socket.socket() as probe:
                probe.bind(("127.0.0.1", 0))
                port = probe.getsockname()[1]
            environment = {name: value for name, value in os.environ.items() if name != "QUORVA_LOCKFILE"}
            environment["OSTRIK_LOCKFILE"] = self.parent.name
            with open(self.error_path, "ab") as errors:
                self.process = subprocess.Popen(
                    [self.binary, "-p", str(port), "-d", self.log_path, "-n"],
                    env=environment,
                    stdin=subprocess.DEVNULL,
                    stdout=errors,
                    stderr=errors,
                )
            deadline = time.monotonic() + DEADLINE
            while self.process.poll() is None and time.monotonic() < deadline:
                try:
                    return [Connection(port) for _ in range(3)]
                except ConnectionRefusedError:
                    time.sleep(0.02)
        raise Failure("the server did not start")

    def stop(self):
        if self.process is not None:
            if self.process.poll() is None:
                self.process.kill()
            self.process.wait()
        self.parent.close()

    def complaint(self):
        """What the server should not have written, or nothing."""
        if self.process is not None and self.process.poll() is not None:
            return "the server ended with status %s" % self.process.returncode
        with open(self.error_path, errors="replace") as errors:
            return errors.read()

    def log_tail(self):
        with open(self.log_path, "rb") as log:
            return log.read().decode("utf-8", "replace").splitlines()[-10:]


def canonical(value):
    """JSON text that differs whenever two values do, in type as well."""
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
        self.server = Server(binary, directory)
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
        for name in self.tables[:-1]:  # the last one begins without a schema
            self.exchange("CreateTable", {"TableName": name, "KeySchema": schema})

    def read_everything(self):
        """All items once more, one by one and by a scan of one table."""
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
        # Pages are followed for a while, most of them with their last key in the form that is asked for.
        while "LastEvaluatedKey" in reply and self.random.random() < 0.7:
            last = reply["LastEvaluatedKey"]
            if self.random.random() < 0.95:
                last = {**last, **{name: {"S": last[name]} for name in ("HashKeyElement", "RangeKeyElement")}}
            body = {**body, "ExclusiveStartKey": last}
            reply = self.exchange(operation, body)

    def run(self, steps):
        self.connections = self.server.start()
        try:
            self.create_tables()
            for step in range(steps):
                self.step()
                if step % 500 == 0 and self.server.complaint():
                    raise Failure(self.server.complaint())
            self.read_everything()
            if self.server.complaint():
                raise Failure(self.server.complaint())
        except Failure as failure:
            print("request %d of this run failed" % len(self.history))
            for operation, body in self.history[-3:]:
                print("  %s %s" % (operation, canonical(body)))
            print(failure)
            print("log: " + "\n     ".join(self.server.log_tail()))
            print(self.server.complaint())
            return False
        finally:
            self.server.stop()
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
