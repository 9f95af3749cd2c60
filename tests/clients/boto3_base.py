"""The common parts of the tests with boto3: its client and resource, and tables."""

import unittest

import boto3
from botocore.config import Config
from botocore.exceptions import ClientError


class ClientTest(unittest.TestCase):
    client = None
    resource = None

    @classmethod
    def connect(cls, url):
        # Errors must be seen, not retried.
        options = {"endpoint_url": url, "config": Config(retries={"max_attempts": 0})}
        ClientTest.client = boto3.client("dynamodb", **options)
        ClientTest.resource = boto3.resource("dynamodb", **options)

    def make_table(self, name, hash_type="S", range_type=None, **more):
        """A table with the keys "id", and "at" if it has a type; deleted after the test."""
        keys = [("id", "HASH", hash_type)] + ([("at", "RANGE", range_type)] if range_type else [])
        more.setdefault("BillingMode", "PAY_PER_REQUEST")
        table = self.resource.create_table(
            TableName=name, KeySchema=[{"AttributeName": key, "KeyType": role} for key, role, _ in keys],
            AttributeDefinitions=[{"AttributeName": key, "AttributeType": kind} for key, _, kind in keys], **more)
        self.addCleanup(table.delete)
        return table

    def assert_error(self, code, message, call, *args, **kwargs):
        with self.assertRaises(ClientError) as caught:
            call(*args, **kwargs)
        error = caught.exception.response
        self.assertEqual((error["Error"]["Code"], error["Error"]["Message"]), (code, message))
        self.assertEqual(error["ResponseMetadata"]["HTTPStatusCode"], 400)
        return error
