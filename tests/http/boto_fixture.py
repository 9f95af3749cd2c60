"""The address of quorva-http, and a table for each test."""

import os
import unittest

from boto.dynamodb.layer2 import Layer2
from boto.exception import DynamoDBResponseError
from boto.regioninfo import RegionInfo


class Server:
    """The server under test, set by the program that runs the tests."""

    port = 0
    directory = ""  # for the tables


def connection_arguments():
    """Any credentials will do."""
    return {"aws_access_key_id": "key", "aws_secret_access_key": "secret", "is_secure": False, "port": Server.port,
            "region": RegionInfo(name="local", endpoint="127.0.0.1")}


class TableTest(unittest.TestCase):
    READS_ONLY = False  # the items are put by setUp, again before each test, which is quicker than a new table

    def setUp(self):
        self.db = Layer2(**connection_arguments())
        self.schema = self.db.create_schema("customer", str, "date", str)
        # A directory has room for the files of three tables, so tests do not share one, unless they only read.
        directory = os.path.join(Server.directory, type(self).__name__ if self.READS_ONLY else self.id())
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
