"""Tables and tags, with boto3."""

import datetime
from concurrent.futures import ThreadPoolExecutor

from boto3_base import ClientTest

INVALID = "One or more parameter values were invalid: "


class Tables(ClientTest):
    def test_life_of_a_table(self):
        table = self.client.create_table(
            TableName="life", KeySchema=[{"AttributeName": "id", "KeyType": "HASH"}],
            AttributeDefinitions=[{"AttributeName": "id", "AttributeType": "N"}],
            ProvisionedThroughput={"ReadCapacityUnits": 5, "WriteCapacityUnits": 6})["TableDescription"]
        self.assertEqual(table["TableStatus"], "ACTIVE")
        self.client.get_waiter("table_exists").wait(TableName="life")
        described = self.client.describe_table(TableName="life")["Table"]
        age = datetime.datetime.now(datetime.timezone.utc) - described["CreationDateTime"]
        self.assertLess(abs(age), datetime.timedelta(minutes=5))
        self.assertEqual(described["AttributeDefinitions"], [{"AttributeName": "id", "AttributeType": "N"}])
        self.assertEqual(described["KeySchema"], [{"AttributeName": "id", "KeyType": "HASH"}])
        self.assertEqual(described["ProvisionedThroughput"],
                         {"NumberOfDecreasesToday": 0, "ReadCapacityUnits": 5, "WriteCapacityUnits": 6})
        self.assertEqual(described["ItemCount"], 0)
        self.assertGreater(described["TableSizeBytes"], 0)
        self.assertEqual(described["TableArn"], "arn:aws:dynamodb:local:000000000000:table/life")
        self.assertEqual(described["TableId"], table["TableId"])
        self.assertNotIn("BillingModeSummary", described)
        self.assertEqual(self.client.delete_table(TableName="life")["TableDescription"]["TableStatus"], "DELETING")
        self.client.get_waiter("table_not_exists").wait(TableName="life")
        self.assert_error("ResourceNotFoundException", "Requested resource not found: Table: life not found",
                          self.client.describe_table, TableName="life")

    def test_resource(self):
        table = self.make_table("resource", "S", "B")
        table.wait_until_exists()
        table.reload()
        self.assertEqual((table.table_status, table.item_count, table.name), ("ACTIVE", 0, "resource"))
        self.assertEqual(table.key_schema, [{"AttributeName": "id", "KeyType": "HASH"},
                                            {"AttributeName": "at", "KeyType": "RANGE"}])
        self.assertEqual(table.billing_mode_summary["BillingMode"], "PAY_PER_REQUEST")
        self.assertIn("resource", [each.name for each in self.resource.tables.all()])
        updated = table.update(BillingMode="PROVISIONED",
                               ProvisionedThroughput={"ReadCapacityUnits": 1, "WriteCapacityUnits": 2})
        self.assertEqual(updated.provisioned_throughput["WriteCapacityUnits"], 2)

    def test_lists_are_paged(self):
        names = [f"paged-{number}" for number in range(5)]
        for name in names:
            self.make_table(name)
        pages = list(self.client.get_paginator("list_tables").paginate(PaginationConfig={"PageSize": 2}))
        self.assertGreaterEqual(len(pages), 3)
        listed = [name for page in pages for name in page["TableNames"]]
        self.assertEqual([name for name in listed if name in names], names)
        self.assertEqual(listed, sorted(listed))

    def test_many_tables_are_scanned(self):
        tables = [self.make_table(f"scanned-{number}") for number in range(20)]
        for table in tables:
            table.put_item(Item={"id": table.name})
        for table in tables:
            self.assertEqual(table.scan()["Items"], [{"id": table.name}])

    def test_one_of_many_makes_a_table(self):
        def create(number):
            keys = [{"AttributeName": f"id{number}", "KeyType": "HASH"}]
            definitions = [{"AttributeName": f"id{number}", "AttributeType": "S"}]
            try:
                self.client.create_table(TableName="raced", BillingMode="PAY_PER_REQUEST", KeySchema=keys,
                                         AttributeDefinitions=definitions)
            except self.client.exceptions.ResourceInUseException:
                return None
            return keys

        with ThreadPoolExecutor(8) as threads:
            made = [keys for keys in threads.map(create, range(16)) if keys is not None]
        self.addCleanup(self.client.delete_table, TableName="raced")
        self.assertEqual(len(made), 1)
        self.assertEqual(self.client.describe_table(TableName="raced")["Table"]["KeySchema"], made[0])

    def test_tags(self):
        arn = self.make_table("tagged", Tags=[{"Key": "team", "Value": "blue"}]).table_arn
        self.client.tag_resource(ResourceArn=arn, Tags=[{"Key": "cost", "Value": "größer"}])
        pages = self.client.get_paginator("list_tags_of_resource").paginate(ResourceArn=arn)
        self.assertEqual([tag for page in pages for tag in page["Tags"]],
                         [{"Key": "cost", "Value": "größer"}, {"Key": "team", "Value": "blue"}])
        self.client.untag_resource(ResourceArn=arn, TagKeys=["team", "cost"])
        self.assertEqual(self.client.list_tags_of_resource(ResourceArn=arn)["Tags"], [])

    def test_what_programs_ask_for_at_their_start(self):
        self.make_table("asked")
        self.assertEqual(self.client.describe_limits()["TableMaxReadCapacityUnits"], 40000)
        address = self.client.describe_endpoints()["Endpoints"][0]["Address"]
        self.assertEqual("http://" + address, self.client.meta.endpoint_url)
        self.assertEqual(self.client.describe_time_to_live(TableName="asked")["TimeToLiveDescription"],
                         {"TimeToLiveStatus": "DISABLED"})
        backups = self.client.describe_continuous_backups(TableName="asked")["ContinuousBackupsDescription"]
        self.assertEqual(backups["ContinuousBackupsStatus"], "DISABLED")

    def test_errors(self):
        self.make_table("errors")
        keys = {"KeySchema": [{"AttributeName": "id", "KeyType": "HASH"}],
                "AttributeDefinitions": [{"AttributeName": "id", "AttributeType": "S"}]}
        self.assert_error("ResourceInUseException", "Table already exists: errors", self.client.create_table,
                          TableName="errors", BillingMode="PAY_PER_REQUEST", **keys)
        with self.assertRaises(self.client.exceptions.ResourceNotFoundException):
            self.client.delete_table(TableName="missing")
        self.assert_error("ValidationException",
                          "1 validation error detected: Value 'no table' at 'tableName' failed to satisfy constraint: "
                          "Member must satisfy regular expression pattern: [a-zA-Z0-9_.-]+",
                          self.client.describe_table, TableName="no table")
        self.assert_error("ValidationException", INVALID + "StreamSpecification: there are no streams of changes",
                          self.client.create_table, TableName="streamed", BillingMode="PAY_PER_REQUEST",
                          StreamSpecification={"StreamEnabled": True, "StreamViewType": "KEYS_ONLY"}, **keys)
        self.assert_error("UnknownOperationException",
                          "ListBackups is not available: backups are made with quorvactl backup, see backup.md",
                          self.client.list_backups)
