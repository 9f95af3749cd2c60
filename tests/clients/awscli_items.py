"""Items, queries and batches, with the command line."""

import json

from awscli_base import CommandLineTest


class Items(CommandLineTest):
    def key(self, number):
        return json.dumps({"id": {"S": "a"}, "at": {"N": str(number)}})

    def setUp(self):
        self.aws("create-table", "--table-name", "items", "--billing-mode", "PAY_PER_REQUEST",
                 "--attribute-definitions", "AttributeName=id,AttributeType=S", "AttributeName=at,AttributeType=N",
                 "--key-schema", "AttributeName=id,KeyType=HASH", "AttributeName=at,KeyType=RANGE")
        self.addCleanup(self.aws, "delete-table", "--table-name", "items")
        self.aws("batch-write-item", "--request-items", json.dumps(
            {"items": [{"PutRequest": {"Item": {"id": {"S": "a"}, "at": {"N": str(number)}, "b": {"B": "AAH/"}}}}
                       for number in range(-2, 3)]}))

    def test_single_items(self):
        self.assertIsNone(self.aws("put-item", "--table-name", "items", "--item",
                                   '{"id": {"S": "a"}, "at": {"N": "7"}, "price": {"N": "17.50"}}'))
        self.assertEqual(self.aws("get-item", "--table-name", "items", "--key", self.key("7.0")),
                         {"Item": {"id": {"S": "a"}, "at": {"N": "7"}, "price": {"N": "17.5"}}})
        self.assertEqual(
            self.aws("update-item", "--table-name", "items", "--key", self.key(7), "--update-expression",
                     "SET price = price + :p", "--condition-expression", "attribute_exists(price)",
                     "--expression-attribute-values", '{":p": {"N": "0.5"}}', "--return-values", "UPDATED_NEW",
                     "--query", "Attributes.price.N"), "18")
        self.assertEqual(
            self.aws_fails("delete-item", "--table-name", "items", "--key", self.key(7), "--condition-expression",
                           "price > :p", "--expression-attribute-values", '{":p": {"N": "18"}}'),
            "An error occurred (ConditionalCheckFailedException) when calling the DeleteItem operation: "
            "The conditional request failed")
        self.assertEqual(self.aws("delete-item", "--table-name", "items", "--key", self.key(7), "--return-values",
                                  "ALL_OLD", "--query", "Attributes.price.N"), "18")
        self.assertIsNone(self.aws("get-item", "--table-name", "items", "--key", self.key(7)))

    def test_queries_scans_and_batches(self):
        self.assertEqual(
            self.aws("query", "--table-name", "items", "--key-condition-expression", "id = :a AND #at >= :n",
                     "--expression-attribute-names", '{"#at": "at"}', "--expression-attribute-values",
                     '{":a": {"S": "a"}, ":n": {"N": "-1"}}', "--page-size", "2", "--query", "Items[].at.N"),
            ["-1", "0", "1", "2"])
        first = self.aws("scan", "--table-name", "items", "--max-items", "3", "--consistent-read")
        rest = self.aws("scan", "--table-name", "items", "--starting-token", first["NextToken"])
        self.assertEqual([item["at"]["N"] for item in first["Items"] + rest["Items"]], ["-2", "-1", "0", "1", "2"])
        self.assertEqual(first["Items"][0]["b"], {"B": "AAH/"})
        self.assertEqual(
            self.aws("batch-get-item", "--request-items",
                     json.dumps({"items": {"Keys": [json.loads(self.key(1)), json.loads(self.key(9))],
                                           "ProjectionExpression": "b"}}), "--query", "Responses.items"),
            [{"b": {"B": "AAH/"}}])
