"""Single items and batches, with boto3."""

from decimal import Decimal, Rounded

from boto3.dynamodb.conditions import Attr
from boto3.dynamodb.types import DYNAMODB_CONTEXT, Binary
from boto3_base import ClientTest

CONDITION_FAILED = ("ConditionalCheckFailedException", "The conditional request failed")

EVERY_TYPE = {
    "s": "größer ✓ 😀", "empty": "", "n": Decimal("-1234567890.1234567890123456789012345678"), "b": Binary(b"\x00\xff"),
    "yes": True, "no": False, "null": None, "m": {"deep": [{"a": Decimal(1)}, []], "": "no name"}, "l": [None, "x", {}],
    "ss": {"a", "b"}, "ns": {Decimal("1.5"), Decimal("-2E+30")}, "bs": {Binary(b"\x01"), Binary(b"\x02")},
}


class Items(ClientTest):
    def test_every_type_comes_back_as_it_was(self):
        table = self.make_table("every-type")
        table.put_item(Item={"id": "a", **EVERY_TYPE})
        self.assertEqual(table.get_item(Key={"id": "a"})["Item"], {"id": "a", **EVERY_TYPE})
        self.assertNotIn("Item", table.get_item(Key={"id": "b"}))

    def test_numbers_with_many_digits(self):
        table = self.make_table("many-digits")
        numbers = {"least": Decimal("1E-130"), "fits": Decimal("9" * 38), "long": Decimal("1E+38"),
                   "longest": Decimal("-9.9999999999999999999999999999999999999E+125")}
        for name, number in numbers.items():
            table.put_item(Item={"id": name, "n": number})
        for name in ("least", "fits"):
            self.assertEqual(table.get_item(Key={"id": name})["Item"]["n"], numbers[name])
        for name in ("long", "longest"):
            text = self.client.get_item(TableName="many-digits", Key={"id": {"S": name}})["Item"]["n"]["N"]
            self.assertEqual(text, f"{numbers[name]:f}", "digits alone, as JavaScript's BigInt needs them")
            with self.assertRaises(Rounded):
                table.get_item(Key={"id": name})
        self.addCleanup(setattr, DYNAMODB_CONTEXT, "prec", DYNAMODB_CONTEXT.prec)
        DYNAMODB_CONTEXT.prec = 126
        self.assertEqual({item["id"]: item["n"] for item in table.scan()["Items"]}, numbers)

    def test_keys_of_every_type(self):
        for kind, keys in (("S", ["a", "ä", "✓", "😀", "\x00\xff"]), ("N", [Decimal("-1E-100"), Decimal(0), Decimal("3.5")]),
                           ("B", [Binary(b"\x00"), Binary(b"a\xff")])):
            table = self.make_table("keys-" + kind, kind, kind)
            for key in keys:
                table.put_item(Item={"id": key, "at": key, "kind": kind})
            for key in keys:
                self.assertEqual(table.get_item(Key={"id": key, "at": key})["Item"],
                                 {"id": key, "at": key, "kind": kind})
            table.delete_item(Key={"id": keys[0], "at": keys[0]})
            self.assertNotIn("Item", table.get_item(Key={"id": keys[0], "at": keys[0]}))

    def test_large_items(self):
        table = self.make_table("large")
        item = {"id": "a", "blob": Binary(bytes(range(256)) * 1590)}
        table.put_item(Item=item)
        self.assertEqual(table.get_item(Key={"id": "a"})["Item"], item)
        self.assert_error("ValidationException", "Item size has exceeded the maximum allowed size", table.put_item,
                          Item={"id": "a", "blob": "x" * 409600})

    def test_put_and_delete_with_conditions(self):
        table = self.make_table("conditions")
        self.assertNotIn("Attributes", table.put_item(Item={"id": "a", "n": 1}, ReturnValues="ALL_OLD"))
        self.assert_error(*CONDITION_FAILED, table.put_item, Item={"id": "a"},
                          ConditionExpression=Attr("id").not_exists())
        old = table.put_item(Item={"id": "a", "n": 2}, ConditionExpression=Attr("n").between(0, 1) & Attr("x").not_exists(),
                             ReturnValues="ALL_OLD")
        self.assertEqual(old["Attributes"], {"id": "a", "n": 1})
        with self.assertRaises(self.client.exceptions.ConditionalCheckFailedException):
            table.delete_item(Key={"id": "a"}, ConditionExpression=Attr("n").eq(1))
        self.assertEqual(table.delete_item(Key={"id": "a"}, Expected={"n": {"Value": 2}},
                                           ReturnValues="ALL_OLD")["Attributes"], {"id": "a", "n": 2})
        self.assertNotIn("Item", table.get_item(Key={"id": "a"}))

    def test_updates(self):
        table = self.make_table("updates")
        new = table.update_item(
            Key={"id": "a"},
            UpdateExpression="SET #n = if_not_exists(#n, :zero) + :one, l = list_append(:l, :l), m = :m ADD tags :tags",
            ExpressionAttributeNames={"#n": "n"},
            ExpressionAttributeValues={":zero": 0, ":one": Decimal("0.1"), ":l": ["x"], ":m": {"a": 1}, ":tags": {"t"}},
            ReturnValues="ALL_NEW")["Attributes"]
        self.assertEqual(new, {"id": "a", "n": Decimal("0.1"), "l": ["x", "x"], "m": {"a": 1}, "tags": {"t"}})
        changed = table.update_item(
            Key={"id": "a"}, UpdateExpression="REMOVE l[0], m.a DELETE tags :tags SET n = n - :one",
            ExpressionAttributeValues={":one": Decimal("0.1"), ":tags": {"t"}}, ReturnValues="UPDATED_NEW")["Attributes"]
        self.assertEqual(changed, {"l": ["x"], "n": 0})
        self.assertEqual(table.get_item(Key={"id": "a"})["Item"], {"id": "a", "n": 0, "l": ["x"], "m": {}})
        older = table.update_item(Key={"id": "a"}, AttributeUpdates={"n": {"Action": "ADD", "Value": 5}},
                                  ReturnValues="UPDATED_OLD")
        self.assertEqual(older["Attributes"], {"n": 0})

    def test_errors(self):
        table = self.make_table("item-errors")
        self.assert_error("ValidationException", "The provided key element does not match the schema", table.get_item,
                          Key={"other": "a"})
        self.assert_error("ValidationException", "Invalid UpdateExpression: Syntax error; token: \"nonsense\", near: "
                          "\"nonsense\"", table.update_item, Key={"id": "a"}, UpdateExpression="nonsense")
        self.assert_error("ResourceNotFoundException", "Requested resource not found", self.client.get_item,
                          TableName="missing", Key={"id": {"S": "a"}})

    def test_capacity(self):
        table = self.make_table("capacity")
        written = table.put_item(Item={"id": "a", "text": "x" * 1024}, ReturnConsumedCapacity="TOTAL")
        self.assertEqual(written["ConsumedCapacity"], {"TableName": "capacity", "CapacityUnits": 2.0})
        read = table.get_item(Key={"id": "a"}, ReturnConsumedCapacity="TOTAL")
        self.assertEqual(read["ConsumedCapacity"], {"TableName": "capacity", "CapacityUnits": 0.5})


class Batches(ClientTest):
    def test_batch_writer_and_batch_get(self):
        table = self.make_table("batches", "S", "N")
        with table.batch_writer() as batch:
            for number in range(60):
                batch.put_item(Item={"id": str(number % 3), "at": number, "square": number * number})
            batch.delete_item(Key={"id": "0", "at": 0})
        keys = [{"id": str(number % 3), "at": number} for number in range(60)]
        found = self.resource.batch_get_item(RequestItems={"batches": {"Keys": keys, "ProjectionExpression": "square"}})
        self.assertEqual(found["UnprocessedKeys"], {})
        self.assertEqual(sorted(item["square"] for item in found["Responses"]["batches"]),
                         [number * number for number in range(1, 60)])

    def test_batch_write_over_two_tables(self):
        for name in ("batch-one", "batch-two"):
            self.make_table(name)
        done = self.client.batch_write_item(RequestItems={
            name: [{"PutRequest": {"Item": {"id": {"S": name}}}}] for name in ("batch-one", "batch-two")})
        self.assertEqual(done["UnprocessedItems"], {})
        found = self.client.batch_get_item(RequestItems={
            name: {"Keys": [{"id": {"S": name}}]} for name in ("batch-one", "batch-two")})
        self.assertEqual(found["Responses"], {"batch-one": [{"id": {"S": "batch-one"}}],
                                              "batch-two": [{"id": {"S": "batch-two"}}]})

    def test_errors(self):
        self.make_table("batch-errors")
        write = {"DeleteRequest": {"Key": {"id": {"S": "a"}}}}
        self.assert_error("ValidationException", "Provided list of item keys contains duplicates",
                          self.client.batch_write_item, RequestItems={"batch-errors": [write, write]})
