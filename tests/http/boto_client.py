#!/usr/bin/python3
"""Talks to quorva-http as an application does that knows nothing of Quorva: with boto, as Debian packages it.

Called with a port, a directory for the tables, and what unittest.main takes. Where the server answers otherwise than
the API promises, the test says what the client gets.
"""

import os
import sys
import unittest

import boto.dynamodb
from boto.dynamodb.condition import BEGINS_WITH, BETWEEN, CONTAINS, EQ, GE, GT, IN, LE, LT, NE, NOT_NULL, NULL
from boto.dynamodb.exceptions import (DynamoDBConditionalCheckFailedError, DynamoDBKeyNotFoundError,
                                      DynamoDBValidationError)
from boto.dynamodb.layer1 import Layer1
from boto.dynamodb.layer2 import Layer2
from boto.dynamodb.types import Binary
from boto.exception import DynamoDBResponseError
from boto.regioninfo import RegionInfo

PORT = 0
DIRECTORY = ""


def connection_arguments():
    """Any credentials will do."""
    return {"aws_access_key_id": "key", "aws_secret_access_key": "secret", "is_secure": False, "port": PORT,
            "region": RegionInfo(name="local", endpoint="127.0.0.1")}


class TableTest(unittest.TestCase):
    READS_ONLY = False  # the items are put by setUp, again before each test, which is quicker than a new table

    def setUp(self):
        self.db = Layer2(**connection_arguments())
        self.schema = self.db.create_schema("customer", str, "date", str)
        # A directory has room for the files of three tables, so tests do not share one, unless they only read.
        directory = os.path.join(DIRECTORY, type(self).__name__ if self.READS_ONLY else self.id())
        os.makedirs(directory, exist_ok=True)
        self.name = directory + "|orders"
        self.table = self.db.create_table(self.name, self.schema, read_units=5, write_units=7)

    def put(self, customer, date, **attributes):
        item = self.table.new_item(customer, date, attributes)
        item.put()
        return item

    def assert_error(self, code, call, *args, **kwargs):
        """Expects boto's general error, and not one that is derived from it."""
        with self.assertRaises(DynamoDBResponseError) as caught:
            call(*args, **kwargs)
        self.assertIs(type(caught.exception), DynamoDBResponseError)
        self.assertEqual((caught.exception.status, caught.exception.error_code), (400, code))
        self.assertTrue(caught.exception.error_message)


class Tables(TableTest):
    def test_create_and_describe(self):
        self.assertEqual((self.table.name, self.table.status), (self.name, "ACTIVE"))
        self.assertEqual(self.table.schema, self.schema)
        self.assertEqual((self.table.read_units, self.table.write_units), (5, 7))
        found = self.db.get_table(self.name)
        self.assertEqual((found.name, found.status, found.schema), (self.name, "ACTIVE", self.schema))
        self.assertEqual((found.read_units, found.write_units), (5, 7))
        # Fixed numbers of the server.
        self.assertEqual((found.item_count, found.create_time, found.size_bytes), (1, 123456, 0))

    def test_update_throughput(self):
        # A success, though the server keeps the old numbers.
        self.table.update_throughput(11, 13)
        self.assertEqual(self.table.status, "ACTIVE")
        self.table.refresh()
        self.assertEqual((self.table.read_units, self.table.write_units), (5, 7))

    def test_delete(self):
        # The server closes the table's directory and deletes nothing; the client keeps the description it had.
        self.put("a", "1", n=1)
        self.table.delete()
        self.assertEqual(self.table.status, "ACTIVE")
        self.assertEqual(self.db.get_table(self.name).get_item("a", "1")["n"], 1)

    def test_unknown_table(self):
        self.assert_error("ResourceNotFoundException", self.db.get_table, "/none|t")
        unknown = self.db.table_from_schema("/none|t", self.schema)
        self.assert_error("ResourceNotFoundException", unknown.get_item, "a", "1")
        self.assert_error("ResourceNotFoundException", unknown.new_item("a", "1").put)
        self.assert_error("ResourceNotFoundException", list, unknown.scan())

    def test_table_without_range_key(self):
        # It can be created, but keys of this server always have both parts.
        schema = self.db.create_schema("customer", str)
        table = self.db.create_table(self.name + "2", schema, 1, 1)
        self.assertEqual(table.schema, schema)
        self.assert_error("ResourceNotFoundException", table.new_item("a").put)
        self.assert_error("InternalServerError", table.get_item, "a")

    def test_operations_that_the_server_lacks(self):
        self.assert_error("UnknownOperationException", self.db.list_tables)
        self.assert_error("UnknownOperationException", self.db.layer1.batch_get_item,
                          {self.name: {"Keys": [{"HashKeyElement": {"S": "a"}, "RangeKeyElement": {"S": "1"}}]}})
        batch = self.db.new_batch_list()
        batch.add_batch(self.table, [("a", "1")])
        self.assert_error("UnknownOperationException", batch.submit)


class Items(TableTest):
    ATTRIBUTES = {"text": "größer ✓ \" \\ \n", "integer": -17, "float": 2.5, "large": 10 ** 37, "texts": {"a", "ü"},
                  "numbers": {1, -2, 3.5}, "bytes": Binary(b"\x00\xff"), "many bytes": {Binary(b"a"), Binary(b"\xfe")}}

    def test_every_type_comes_back(self):
        self.put("a", "1", **self.ATTRIBUTES)
        item = self.table.get_item("a", "1", consistent_read=True)
        self.assertEqual(dict(item), {"customer": "a", "date": "1", **self.ATTRIBUTES})
        self.assertEqual((item.hash_key, item.range_key), ("a", "1"))
        (scanned,) = self.table.scan()
        self.assertEqual(dict(scanned), {"customer": "a", "date": "1", **self.ATTRIBUTES})
        (queried,) = self.table.query("a")
        self.assertEqual(dict(queried), {"customer": "a", "date": "1", **self.ATTRIBUTES})

    def test_some_attributes(self):
        self.put("a", "1", n=1, m=2)
        item = self.table.get_item("a", "1", attributes_to_get=["m", "none"])
        self.assertEqual(dict(item), {"customer": "a", "date": "1", "m": 2})

    def test_absent_item(self):
        with self.assertRaises(DynamoDBKeyNotFoundError):
            self.table.get_item("a", "1")
        self.assertFalse(self.table.has_item("a", "1"))
        self.put("a", "1")
        self.assertTrue(self.table.has_item("a", "1"))

    def test_put_replaces_and_delete_removes(self):
        self.put("a", "1", n=1, m=2)
        item = self.table.new_item("a", "1", {"n": 3})
        self.assertEqual(item.put(return_values="ALL_OLD")["Attributes"], {"n": 1, "m": 2})
        self.assertEqual(dict(self.table.get_item("a", "1")), {"customer": "a", "date": "1", "n": 3})
        self.assertEqual(item.delete(return_values="ALL_OLD")["Attributes"], {"n": 3})
        self.assertFalse(self.table.has_item("a", "1"))
        self.assertEqual(item.delete(), {})

    def test_failed_conditions(self):
        item = self.put("a", "1", n=1, t="x")
        changed = self.table.new_item("a", "1", {"n": 2})
        updated = self.table.new_item("a", "1")
        updated.put_attribute("n", 3)
        for call in (changed.put, updated.save, item.delete):
            for expected in ({"n": False}, {"n": 7}, {"t": "y"}, {"none": 1}):
                with self.assertRaises(DynamoDBConditionalCheckFailedError) as caught:
                    call(expected)
                self.assertEqual((caught.exception.status, caught.exception.error_code),
                                 (400, "ConditionalCheckFailedException"))
                self.assertEqual(caught.exception.error_message, "The conditional request failed.")
        self.assertEqual(dict(self.table.get_item("a", "1")), {"customer": "a", "date": "1", "n": 1, "t": "x"})

    def test_conditions_that_hold(self):
        item = self.table.new_item("a", "1", {"n": 1, "t": "x"})
        item.put({"n": False})
        item.add_attribute("n", 1)
        item.save({"n": 1, "t": "x"})
        self.assertEqual(self.table.get_item("a", "1")["n"], 2)
        item.delete({"n": 2})
        self.assertFalse(self.table.has_item("a", "1"))

    def test_invalid_requests(self):
        with self.assertRaises(DynamoDBValidationError) as caught:
            self.db.layer1.make_request("BatchWriteItem", "{}")
        self.assertEqual((caught.exception.status, caught.exception.error_code), (400, "ValidationException"))
        self.assert_error("SerializationException", self.db.layer1.make_request, "PutItem", "[]")
        with self.assertRaises(DynamoDBValidationError):
            self.table.get_item("\u4e2d", "1")  # keys are Latin-1


class Updates(TableTest):
    def save(self, return_values=None, **actions):
        item = self.table.new_item("a", "1")
        item._updates = {}
        for name, (action, value) in actions.items():
            {"PUT": item.put_attribute, "ADD": item.add_attribute, "DELETE": item.delete_attribute}[action](name, value)
        return item.save(return_values=return_values)

    def stored(self):
        return {name: value for name, value in self.table.get_item("a", "1").items()
                if name not in ("customer", "date")}

    def test_put(self):
        self.put("a", "1", n=1, t="x")
        self.assertEqual(self.save(n=("PUT", {1, 2}), m=("PUT", "new")), {})
        self.assertEqual(self.stored(), {"n": {1, 2}, "t": "x", "m": "new"})

    def test_add(self):
        self.put("a", "1", n=1, t="x")
        self.save(n=("ADD", 41), m=("ADD", -5), t=("ADD", "y"))
        self.assertEqual(self.stored(), {"n": 42, "m": -5, "t": "xy"})
        # Sets are not added to.
        self.put("a", "1", s={"a"})
        self.assert_error("ResourceNotFoundException", self.save, s=("ADD", {"b"}))
        self.assertEqual(self.stored(), {"s": {"a"}})

    def test_delete(self):
        self.put("a", "1", n=1, t="x", s={"a", "b"})
        self.save(n=("DELETE", None))
        self.assertEqual(self.stored(), {"t": "x", "s": {"a", "b"}})
        # The whole attribute goes, though elements are named.
        self.save(s=("DELETE", {"a"}))
        self.assertEqual(self.stored(), {"t": "x"})

    def test_return_values(self):
        self.put("a", "1", n=1, t="x")
        keys = {"customer": "a", "date": "1"}
        for kind, attributes in (("ALL_OLD", {"n": 1, "t": "x", **keys}), ("ALL_NEW", {"n": 3, "t": "x", **keys}),
                                 ("UPDATED_OLD", {"n": 3}), ("UPDATED_NEW", {"n": 5})):
            self.assertEqual(self.save(kind, n=("ADD", 1)), {"Attributes": attributes}, kind)

    def test_new_item(self):
        self.save(n=("PUT", 1))
        self.assertEqual(self.stored(), {"n": 1})


class Queries(TableTest):
    READS_ONLY = True
    DATES = ["2011-12", "2012-01", "2012-02", "2012-03", "2013-01"]
    # What it finds, and whether it can be read in pages: a page's last key takes the place of the condition's value.
    CONDITIONS = [
        (EQ("2012-02"), ["2012-02"]),
        (LT("2012-02"), ["2012-01", "2011-12"]),
        (LE("2012-02"), ["2012-02", "2012-01", "2011-12"]),
        (GT("2012-01"), ["2012-02", "2012-03", "2013-01"]),
        (GE("2012-01"), ["2012-01", "2012-02", "2012-03", "2013-01"]),
        (BETWEEN("2012-01", "2012-03"), ["2012-01", "2012-02", "2012-03"]),
        (BEGINS_WITH("2012-"), ["2012-01", "2012-02", "2012-03"]),
    ]

    def setUp(self):
        super().setUp()
        for number, date in enumerate(self.DATES):
            self.put("a", date, n=number)
        self.put("b", "2012-02", n=100)

    def dates(self, *args, **kwargs):
        return [item["date"] for item in self.table.query("a", *args, **kwargs)]

    def test_forward_and_backward(self):
        items = [dict(item) for item in self.table.query("a")]
        self.assertEqual(items, [{"customer": "a", "date": date, "n": n} for n, date in enumerate(self.DATES)])
        self.assertEqual(self.dates(scan_index_forward=False), self.DATES[::-1])

    def test_every_condition(self):
        # LE and LT walk downward, whatever the client asks for, and the others upward.
        for condition, dates in self.CONDITIONS:
            for forward in (True, False):
                with self.subTest(condition=condition, forward=forward):
                    self.assertEqual(self.dates(condition, scan_index_forward=forward), dates)

    def test_pages(self):
        for limit in (1, 2, 5):
            for forward in (True, False):
                with self.subTest(limit=limit, forward=forward):
                    self.assertEqual(self.dates(request_limit=limit, scan_index_forward=forward),
                                     self.DATES[::1 if forward else -1])

    def test_pages_with_conditions(self):
        for condition, dates in self.CONDITIONS:
            with self.subTest(condition=condition):
                for limit in (1, 2, 3):
                    self.assertEqual(self.dates(condition, request_limit=limit), dates)

    def test_most_results(self):
        result = self.table.query("a", max_results=3)
        self.assertEqual([item["date"] for item in result], self.DATES[:3])
        self.assertEqual(result.last_evaluated_key, ("a", "2012-02"))
        rest = self.table.query("a", exclusive_start_key=result.last_evaluated_key)
        self.assertEqual([item["date"] for item in rest], self.DATES[3:])

    def test_count_and_attributes(self):
        self.assertEqual(self.table.query("a", GE("2012-01"), count=True).count, 4)
        items = [dict(item) for item in self.table.query("a", EQ("2012-01"), attributes_to_get=["none"])]
        self.assertEqual(items, [{"customer": "a", "date": "2012-01"}])
        self.assertEqual(list(self.table.query("nobody")), [])


class Scans(TableTest):
    READS_ONLY = True

    def setUp(self):
        super().setUp()
        self.keys = {(customer, date) for customer in ("a", "b", "ü", "\"") for date in ("2012-01", "2012-02", "2013")}
        batch = self.db.new_batch_write_list()
        batch.add_batch(self.table, puts=[self.table.new_item(*key, {"n": 1, "t": "x"}) for key in self.keys])
        self.assertEqual(self.db.batch_write_item(batch), {})

    def found(self, *args, **kwargs):
        items = [(item["customer"], item["date"]) for item in self.table.scan(*args, **kwargs)]
        self.assertEqual(len(items), len(set(items)))
        return set(items)

    def test_pages(self):
        for limit in (None, 1, 2, 5, 100):
            with self.subTest(limit=limit):
                self.assertEqual(self.found(request_limit=limit), self.keys)

    def test_resumed_by_another_client(self):
        result = self.table.scan(max_results=5)
        first = {(item["customer"], item["date"]) for item in result}
        self.assertEqual(len(first), 5)
        other = Layer2(**connection_arguments()).get_table(self.name)
        rest = {(item["customer"], item["date"]) for item in other.scan(exclusive_start_key=result.last_evaluated_key)}
        self.assertEqual(len(rest), len(self.keys) - 5)
        self.assertEqual(first | rest, self.keys)

    def test_filters_on_keys(self):
        for name, condition, matches in (
                ("customer", EQ("a"), lambda customer, date: customer == "a"),
                ("date", EQ("2013"), lambda customer, date: date == "2013"),
                ("date", LT("2012-02"), lambda customer, date: date < "2012-02"),
                ("date", LE("2012-02"), lambda customer, date: date <= "2012-02"),
                ("date", GT("2012-02"), lambda customer, date: date > "2012-02"),
                ("date", GE("2012-02"), lambda customer, date: date >= "2012-02"),
                ("date", BEGINS_WITH("2012-"), lambda customer, date: date.startswith("2012-")),
                ("customer", BETWEEN("a", "b"), lambda customer, date: customer in ("a", "b"))):
            with self.subTest(name=name, condition=condition):
                matching = {key for key in self.keys if matches(*key)}
                self.assertEqual(self.found({name: condition}), matching)
                self.assertEqual(self.found({name: condition}, request_limit=2), matching)
        both = self.table.scan({"customer": EQ("b"), "date": GE("2012-02")})
        self.assertEqual({(item["customer"], item["date"]) for item in both}, {("b", "2012-02"), ("b", "2013")})
        self.assertEqual(both.scanned_count, len(self.keys))

    def test_filters_that_let_everything_through(self):
        # Other operators, and other attributes than the keys.
        for scan_filter in ({"customer": NE("a")}, {"customer": CONTAINS("a")}, {"customer": IN(["a"])},
                            {"n": EQ(7)}, {"none": EQ("a")}, {"none": NULL()}):
            with self.subTest(filter=scan_filter):
                self.assertEqual(self.found(scan_filter), self.keys)
        # A condition on a key needs a value.
        for condition in (NULL(), NOT_NULL()):
            self.assert_error("InternalServerError", self.found, {"customer": condition})

    def test_count_and_attributes(self):
        result = self.table.scan(count=True)
        self.assertEqual((result.count, result.scanned_count), (len(self.keys), len(self.keys)))
        for item in self.table.scan(attributes_to_get=["t"]):
            self.assertEqual(set(item), {"customer", "date", "t"})


class Batches(TableTest):
    def test_puts_and_deletes(self):
        self.put("a", "1", n=1)
        self.put("a", "2", n=2)
        batch = self.db.new_batch_write_list()
        batch.add_batch(self.table, puts=[self.table.new_item("a", "1", {"n": 10}), self.table.new_item("b", "1")],
                        deletes=[("a", "2"), ("a", "none")])
        self.assertEqual(batch.submit(), {})
        self.assertEqual(sorted((item["customer"], item["date"], item.get("n")) for item in self.table.scan()),
                         [("a", "1", 10), ("b", "1", None)])

    def test_several_tables(self):
        other = self.db.create_table(self.name + "2", self.schema, 1, 1)
        batch = self.db.new_batch_write_list()
        batch.add_batch(self.table, puts=[self.table.new_item("a", "1", {"n": 1})])
        batch.add_batch(other, puts=[other.new_item("a", "1", {"n": 2})])
        self.assertEqual(batch.submit(), {})
        self.assertEqual((self.table.get_item("a", "1")["n"], other.get_item("a", "1")["n"]), (1, 2))

    def test_unknown_table(self):
        unknown = self.db.table_from_schema("/none|t", self.schema)
        batch = self.db.new_batch_write_list()
        batch.add_batch(unknown, puts=[unknown.new_item("a", "1")])
        self.assert_error("ResourceNotFoundException", batch.submit)


class LayerOne(TableTest):
    """The layer that shows replies as they are."""

    def setUp(self):
        super().setUp()
        self.layer = Layer1(**connection_arguments())

    @staticmethod
    def key(customer, date):
        return {"HashKeyElement": {"S": customer}, "RangeKeyElement": {"S": date}}

    def test_items(self):
        item = {"customer": {"S": "a"}, "date": {"S": "1"}, "n": {"N": "0017.50"}, "s": {"SS": ["b", "a"]}}
        # Without ReturnValues the server answers the item that was put.
        self.assertEqual(self.layer.put_item(self.name, item),
                         {"Attributes": {"n": {"N": "0017.50"}, "s": {"SS": ["b", "a"]}}})
        self.assertEqual(self.layer.get_item(self.name, self.key("a", "1")),
                         {"Item": {"n": {"N": "0017.50"}, "s": {"SS": ["b", "a"]}}})
        updated = self.layer.update_item(self.name, self.key("a", "1"), {"s": {"Action": "DELETE"}},
                                         return_values="ALL_NEW")
        self.assertEqual(updated, {"Attributes": {"customer": {"S": "a"}, "date": {"S": "1"}, "n": {"N": "0017.50"}}})
        self.assertEqual(self.layer.delete_item(self.name, self.key("a", "1"), return_values="ALL_OLD"),
                         {"Attributes": {"n": {"N": "0017.50"}}})

    def test_last_keys_are_sent_back_unchanged(self):
        for date in "12345":
            self.layer.put_item(self.name, {"customer": {"S": "a"}, "date": {"S": date}})
        for read in (lambda start: self.layer.query(self.name, {"S": "a"}, limit=2, exclusive_start_key=start),
                     lambda start: self.layer.scan(self.name, limit=2, exclusive_start_key=start)):
            dates = []
            page = read(None)
            self.assertEqual(page["LastEvaluatedKey"], self.key("a", "2"))
            while "LastEvaluatedKey" in page:
                dates += [item["date"]["S"] for item in page["Items"]]
                page = read(page["LastEvaluatedKey"])
            dates += [item["date"]["S"] for item in page["Items"]]
            self.assertEqual(dates, list("12345"))


if __name__ == "__main__":
    PORT = int(sys.argv[1])
    DIRECTORY = sys.argv[2]
    # boto leaves the connection of a call that failed to the collector.
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], warnings="ignore")
