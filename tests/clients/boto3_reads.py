"""Queries and scans, with boto3."""

from boto3.dynamodb.conditions import Attr, Key
from boto3_base import ClientTest


class Reads(ClientTest):
    @classmethod
    def setUpClass(cls):
        # One table for all.
        cls.table = cls.resource.create_table(
            TableName="reads", BillingMode="PAY_PER_REQUEST",
            KeySchema=[{"AttributeName": "id", "KeyType": "HASH"}, {"AttributeName": "at", "KeyType": "RANGE"}],
            AttributeDefinitions=[{"AttributeName": "id", "AttributeType": "S"},
                                  {"AttributeName": "at", "AttributeType": "N"}])
        cls.addClassCleanup(cls.table.delete)
        with cls.table.batch_writer() as batch:
            for number in range(-5, 15):
                batch.put_item(Item={"id": "a", "at": number, "odd": bool(number % 2), "text": f"item {number}"})
            batch.put_item(Item={"id": "b", "at": 0})

    def query(self, condition, **more):
        return self.table.query(KeyConditionExpression=condition, **more)

    def found(self, condition, **more):
        return [int(item["at"]) for item in self.query(condition, **more)["Items"]]

    def test_key_conditions(self):
        of_a = Key("id").eq("a")
        self.assertEqual(self.found(of_a), list(range(-5, 15)))
        self.assertEqual(self.found(of_a, ScanIndexForward=False), list(range(14, -6, -1)))
        for condition, wanted in ((Key("at").eq(3), [3]), (Key("at").lt(-3), [-5, -4]), (Key("at").lte(-4), [-5, -4]),
                                  (Key("at").gt(12), [13, 14]), (Key("at").gte(13), [13, 14]),
                                  (Key("at").between(-1, 1), [-1, 0, 1])):
            self.assertEqual(self.found(of_a & condition), wanted)
            self.assertEqual(self.found(of_a & condition, ScanIndexForward=False), wanted[::-1])
        self.assertEqual(self.found(Key("id").eq("c")), [])

    def test_prefixes(self):
        table = self.make_table("prefixes", "S", "S")
        for at in ("2012-01", "2012-02", "2013-01", "ä", "äb"):
            table.put_item(Item={"id": "a", "at": at})
        for prefix, wanted in (("2012-", ["2012-01", "2012-02"]), ("ä", ["ä", "äb"]), ("x", [])):
            reply = table.query(KeyConditionExpression=Key("id").eq("a") & Key("at").begins_with(prefix))
            self.assertEqual([item["at"] for item in reply["Items"]], wanted)

    def test_pages(self):
        pages = list(self.client.get_paginator("query").paginate(
            TableName="reads", KeyConditionExpression="id = :a", ExpressionAttributeValues={":a": {"S": "a"}},
            PaginationConfig={"PageSize": 6}))
        self.assertEqual([page["Count"] for page in pages], [6, 6, 6, 2])
        self.assertEqual([int(item["at"]["N"]) for page in pages for item in page["Items"]], list(range(-5, 15)))
        scanned = list(self.client.get_paginator("scan").paginate(TableName="reads", PaginationConfig={"PageSize": 4}))
        self.assertEqual(sum(page["ScannedCount"] for page in scanned), 21)
        keys = {(item["id"]["S"], int(item["at"]["N"])) for page in scanned for item in page["Items"]}
        self.assertEqual(keys, {("a", number) for number in range(-5, 15)} | {("b", 0)})

    def test_filters_and_projections(self):
        reply = self.query(Key("id").eq("a") & Key("at").gt(10), FilterExpression=Attr("odd").eq(True) & Attr("text").contains("1"),
                           ProjectionExpression="#t, odd", ExpressionAttributeNames={"#t": "text"})
        self.assertEqual((reply["Count"], reply["ScannedCount"]), (2, 4))
        self.assertEqual(reply["Items"], [{"text": "item 11", "odd": True}, {"text": "item 13", "odd": True}])
        self.assertEqual(self.table.scan(FilterExpression=Attr("odd").not_exists())["Items"], [{"id": "b", "at": 0}])
        self.assertEqual(self.table.scan(Select="COUNT", ScanFilter={
            "odd": {"ComparisonOperator": "EQ", "AttributeValueList": [True]}})["Count"], 10)

    def test_pages_of_a_megabyte(self):
        table = self.make_table("megabytes", "S", "N")
        with table.batch_writer() as batch:
            for number in range(7):
                batch.put_item(Item={"id": "a", "at": number, "text": "x" * 300000})
        pages = []
        start = {}
        while True:
            page = table.query(KeyConditionExpression=Key("id").eq("a"), **start)
            pages.append([int(item["at"]) for item in page["Items"]])
            if "LastEvaluatedKey" not in page:
                break
            start = {"ExclusiveStartKey": page["LastEvaluatedKey"]}
        self.assertEqual(pages, [[0, 1, 2], [3, 4, 5], [6]])

    def test_errors(self):
        self.assert_error("ValidationException", "Query condition missed key schema element: id", self.query,
                          Key("at").eq(3))
        self.assert_error("ValidationException", "The table does not have the specified index: other", self.query,
                          Key("id").eq("a"), IndexName="other")
