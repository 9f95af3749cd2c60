"""Shows the server at work on real data: the list of packages installed on this machine.

Starts a server of its own on a scratch directory and a free port, loads the list item by item, reads every item back and
compares it field by field, updates and deletes some under conditions, kills the server without warning, starts it again
and compares everything once more. Then loads the list again in batches and has it answer what dpkg-query can answer too:
which libraries begin with "libq", upwards and downwards, and how many packages there are. Ends with status 1 at the first
reply that is not exactly what was expected.
"""

import argparse
import collections
import contextlib
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time

from demoledger import CONDITION_FAILED, LedgerTable, ok
from demopackages import installed_packages
from quorva import Failure, Server, expect

BATCH = 100  # items of one BatchWriteItem
PAGE = 250  # records of one page of a Scan


class Demo(LedgerTable):
    """The steps."""

    def __init__(self, server, tool, scratch):
        home = os.path.join(scratch, "environment")
        # The server opens environments but does not create directories.
        subprocess.run([tool, "init", home], check=True)
        super().__init__(f"{home}|packages")
        self.server = server
        self.packages = []

    def connect(self):
        started = time.monotonic()
        self.server.start()
        self.connection = self.server.connect()
        say(f"server started on port {self.server.port} in {1000 * (time.monotonic() - started):.0f} ms")

    def create_table(self):
        schema = {"HashKeyElement": {"AttributeName": "section", "AttributeType": "S"},
                  "RangeKeyElement": {"AttributeName": "name", "AttributeType": "S"}}
        throughput = {"ReadCapacityUnits": 1, "WriteCapacityUnits": 1}
        reply = self.request("CreateTable", KeySchema=schema, ProvisionedThroughput=throughput)
        description = {"CreationDateTime": 123456, "KeySchema": schema, "ProvisionedThroughput": throughput,
                       "TableName": self.name, "TableStatus": "ACTIVE"}
        expect("reply to CreateTable", reply, ok(TableDescription=description))
        reply = self.request("DescribeTable")
        expect("size of the table", reply.get("Table", {}).pop("TableSizeBytes", -1) >= 0, True)
        expect("reply to DescribeTable", reply, ok(Table={**description, "ItemCount": 1}))

    def load(self):
        with measured("put {} items by PutItem", len(self.packages)):
            for package in self.packages:
                self.put((package.section, package.name), package.attributes)

    def compare(self, when):
        present = sum(attributes is not None for attributes in self.ledger.values())
        absent = len(self.ledger) - present
        gone = f" and found {absent} deleted ones gone" if absent else ""
        with measured("read {} items back%s by GetItem %s: all equal" % (gone, when), len(self.ledger), present):
            for key in self.ledger:
                self.check(key)

    def update(self):
        """Updates every fifth item with a condition that holds, and each of them with one that does not."""
        keys = list(self.ledger)[::5]
        with measured("updated {} items under a condition that held, and failed to under one that did not", 2 * len(keys),
                      len(keys)):
            for number, key in enumerate(keys):
                old = self.ledger[key]
                new = {**old, "checked": {"S": "geprüft ✓"},
                       "size": {"N": str(int(old.get("size", {"N": 0})["N"]) + 1000)}}
                new.pop("maintainer", None)
                updates = {"checked": {"Action": "PUT", "Value": {"S": "geprüft ✓"}},
                           "size": {"Action": "ADD", "Value": {"N": "1000"}},
                           "maintainer": {"Action": "DELETE"}}
                reply = self.on_item("UpdateItem", key, AttributeUpdates=updates,
                                     Expected={"version": {"Value": {"S": "no such version"}}})
                expect(f"reply to UpdateItem {key} with a condition that fails", reply, CONDITION_FAILED)
                self.check(key)

                wanted, answer = ("ALL_NEW", new) if number % 2 else ("ALL_OLD", old)
                reply = self.on_item("UpdateItem", key, AttributeUpdates=updates, ReturnValues=wanted,
                                     Expected={"version": {"Value": old["version"]}, "checked": {"Exists": False}})
                # The keys are returned as bare strings among the typed attributes.
                expect(f"reply to UpdateItem {key} with {wanted}", reply,
                       ok(Attributes={**answer, "section": key[0], "name": key[1]}))
                self.ledger[key] = new

    def replace(self):
        """Puts every thirteenth item again and has the old one returned."""
        keys = list(self.ledger)[3::13]
        with measured("replaced {} items, each answered with the old one", len(keys)):
            for key in keys:
                old = self.ledger[key]
                self.put(key, {"version": old["version"], "replaced": {"S": "yes"}}, replaced=old)

    def delete(self):
        """Deletes every seventh item with a condition that holds, after one that does not."""
        keys = list(self.ledger)[1::7]
        with measured("deleted {} items under a condition that held, and failed to under one that did not", 2 * len(keys),
                      len(keys)):
            for key in keys:
                old = self.ledger[key]
                reply = self.on_item("DeleteItem", key, Expected={"version": {"Exists": False}}, ReturnValues="ALL_OLD")
                expect(f"reply to DeleteItem {key} with a condition that fails", reply,
                       {**CONDITION_FAILED, "Attributes": {}})
                self.check(key)
                reply = self.on_item("DeleteItem", key, Expected={"version": {"Value": old["version"]}},
                                     ReturnValues="ALL_OLD")
                expect(f"reply to DeleteItem {key}", reply, ok(Attributes=old))
                self.ledger[key] = None

    def load_in_batches(self):
        """Puts the whole list again, over changed and deleted items, many items per transaction."""
        batches = [self.packages[i:i + BATCH] for i in range(0, len(self.packages), BATCH)]
        with measured(f"put {len(self.packages)} items by BatchWriteItem", len(batches)):
            for batch in batches:
                puts = [{"PutRequest": {"Item": self.item(package)}} for package in batch]
                reply = self.connection.request("BatchWriteItem", {"RequestItems": {self.name: puts}})
                expect("reply to BatchWriteItem", reply, ok())
                for package in batch:
                    self.ledger[package.section, package.name] = package.attributes

    def query(self):
        """All packages of section libs whose names begin with "libq", from one Query each way."""
        section, prefix = "libs", "libq"
        wanted = sorted((package for package in self.packages
                         if package.section == section and package.name.startswith(prefix)),
                        key=lambda package: package.name.encode("latin-1"))
        items = [self.item(package) for package in wanted]
        limit = len(self.packages)
        with measured(f"{len(items)} packages of section {section} begin with {prefix}: found upwards and downwards", 2):
            up = {"ComparisonOperator": "BEGINS_WITH", "AttributeValueList": [{"S": prefix}]}
            reply = self.request("Query", HashKeyValue={"S": section}, RangeKeyCondition=up, Limit=limit)
            expect("reply to Query upwards", reply, ok(Count=len(items), Items=items))
            # BEGINS_WITH always walks upward; LT walks downward, from the last name that can begin like this.
            down = {"ComparisonOperator": "LT", "AttributeValueList": [{"S": "libr"}]}
            reply = self.request("Query", HashKeyValue={"S": section}, RangeKeyCondition=down, Limit=limit)
            found = [item for item in reply.get("Items", []) if item["name"]["S"].startswith(prefix)]
            expect("items of Query downwards", found, items[::-1])

    def scan(self):
        """Counts the whole table in pages, and finds each package exactly once."""
        found = collections.Counter()
        start, pages = {}, 0
        started = time.monotonic()
        while True:
            reply = self.request("Scan", Limit=PAGE, **start)
            expect("status of Scan", reply["__rc"], 200)
            expect("counts of Scan", (reply["Count"], reply["ScannedCount"]), (len(reply["Items"]),) * 2)
            for item in reply["Items"]:
                key = item["section"]["S"], item["name"]["S"]
                expect(f"item {key} of Scan", {**item, "section": None, "name": None},
                       {**self.ledger[key], "section": None, "name": None})
                found[key] += 1
            pages += 1
            if "LastEvaluatedKey" not in reply:
                break
            # The last key is returned as bare strings and sent back as typed values.
            start = {"ExclusiveStartKey": {name: {"S": value} for name, value in reply["LastEvaluatedKey"].items()}}
        seconds = time.monotonic() - started
        expect("packages found by Scan", found, collections.Counter(self.ledger.keys()))
        say(f"counted {sum(found.values())} items by Scan, each exactly once ({pages} pages in {seconds:.2f} s, "
            f"{sum(found.values()) / max(seconds, 1e-9):.0f} items/s)")

    def kill_and_restart(self):
        """Kills the server right after its last reply: what it acknowledged must be on disk."""
        self.server.kill()
        self.connection.close()
        say("killed the server with SIGKILL")
        self.connect()

    def end(self):
        self.connection.close()
        expect("exit status of the server after its parent let go", self.server.end_with_parent(), 0)
        say("let go of the parent's lock: the server ended with status 0")

    def run(self):
        self.packages = installed_packages()
        sections = {package.section for package in self.packages}
        if not self.packages:
            raise Failure("dpkg-query names no installed package")
        say(f"{len(self.packages)} packages are installed here, in {len(sections)} sections")
        self.connect()
        self.create_table()
        self.load()
        self.compare("after loading")
        self.update()
        self.replace()
        self.delete()
        self.kill_and_restart()
        self.compare("after the restart")
        self.load_in_batches()
        self.query()
        self.scan()
        self.compare("after the batches")
        self.end()


def say(text):
    print(text, flush=True)


@contextlib.contextmanager
def measured(text, requests, count=None):
    """Prints the text at the end of the block: {} is the count, by default the number of requests."""
    started = time.monotonic()
    yield
    seconds = time.monotonic() - started
    say(f"{text.format(requests if count is None else count)} "
        f"({requests} requests in {seconds:.2f} s, {requests / max(seconds, 1e-9):.0f}/s)")


def main():
    parser = argparse.ArgumentParser(prog="script/demo", description=__doc__.split("\n")[0])
    parser.add_argument("--server", required=True, metavar="PATH", help="the server's executable")
    parser.add_argument("--tool", required=True, metavar="PATH", help="quorvactl")
    arguments = parser.parse_args()
    # Termination by a signal runs the same clean-up as any other exit.
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, lambda *_: sys.exit("script/demo: ended by a signal"))

    scratch = tempfile.mkdtemp(prefix="quorva-demo-")
    server = None
    try:
        server = Server([arguments.server], scratch)
        Demo(server, arguments.tool, scratch).run()
    except (Failure, OSError, ValueError, subprocess.SubprocessError) as problem:
        if server is not None and server.log is not None:
            sys.stderr.write("\n".join(["the server's last log lines:", *server.log_text().splitlines()[-20:], ""]))
        sys.exit(f"script/demo: FAILED: {problem}")
    finally:
        if server is not None:
            server.clean_up()
        shutil.rmtree(scratch)


if __name__ == "__main__":
    main()
