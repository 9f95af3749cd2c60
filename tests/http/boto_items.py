"""The client's results of the operations on single items, also at its layer that returns replies unchanged."""

from boto.dynamodb.exceptions import (DynamoDBConditionalCheckFailedError, DynamoDBKeyNotFoundError,
                                      DynamoDBValidationError)
from boto.dynamodb.layer1 import Layer1
from boto.dynamodb.types import Binary

from boto_fixture import TableTest, connection_arguments


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
        # Sets cannot be added to.
        self.put("a", "1", s={"a"})
        self.assert_error("ResourceNotFoundException", self.save, s=("ADD", {"b"}))
        self.assertEqual(self.stored(), {"s": {"a"}})

    def test_delete(self):
        self.put("a", "1", n=1, t="x", s={"a", "b"})
        self.save(n=("DELETE", None))
        self.assertEqual(self.stored(), {"t": "x", "s": {"a", "b"}})
        # The whole attribute is removed, although elements are named.
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


class LayerOne(TableTest):
    """The layer that returns replies unchanged."""

    def setUp(self):
        super().setUp()
        self.layer = Layer1(**connection_arguments())

    @staticmethod
    def key(customer, date):
        return {"HashKeyElement": {"S": customer}, "RangeKeyElement": {"S": date}}

    def test_items(self):
        item = {"customer": {"S": "a"}, "date": {"S": "1"}, "n": {"N": "0017.50"}, "s": {"SS": ["b", "a"]}}
        # Without ReturnValues the server returns the item that was put.
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
