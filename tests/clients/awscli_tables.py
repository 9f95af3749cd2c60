"""Tables and tags, with the command line."""

from awscli_base import CommandLineTest

ARN = "arn:aws:dynamodb:local:000000000000:table/"


class Tables(CommandLineTest):
    def test_life_of_a_table(self):
        self.assertEqual(
            self.aws("create-table", "--table-name", "life", "--key-schema", "AttributeName=id,KeyType=HASH",
                     "AttributeName=at,KeyType=RANGE", "--attribute-definitions", "AttributeName=id,AttributeType=S",
                     "AttributeName=at,AttributeType=N", "--provisioned-throughput",
                     "ReadCapacityUnits=1,WriteCapacityUnits=2", "--query", "TableDescription.TableStatus"), "ACTIVE")
        self.assertIsNone(self.aws("wait", "table-exists", "--table-name", "life"))
        self.assertEqual(self.aws("describe-table", "--table-name", "life", "--query", "Table.[TableName,ItemCount]"),
                         ["life", 0])
        self.assertEqual(self.aws("update-table", "--table-name", "life", "--billing-mode", "PAY_PER_REQUEST",
                                  "--query", "TableDescription.BillingModeSummary.BillingMode"), "PAY_PER_REQUEST")
        self.assertEqual(self.aws("delete-table", "--table-name", "life", "--query", "TableDescription.TableStatus"),
                         "DELETING")
        self.assertIsNone(self.aws("wait", "table-not-exists", "--table-name", "life"))
        self.assertEqual(self.aws_fails("describe-table", "--table-name", "life"),
                         "An error occurred (ResourceNotFoundException) when calling the DescribeTable operation: "
                         "Requested resource not found: Table: life not found")

    def test_lists_are_paged(self):
        names = ["paged-1", "paged-2", "paged-3"]
        for name in names:
            self.make_table(name)
        self.assertEqual(self.aws("list-tables", "--page-size", "1"), {"TableNames": names})
        first = self.aws("list-tables", "--max-items", "2")
        self.assertEqual(first["TableNames"], names[:2])
        rest = self.aws("list-tables", "--starting-token", first["NextToken"], "--query", "TableNames[0]")
        self.assertEqual(rest, names[2])
        self.assertEqual(self.aws("list-tables", "--no-paginate", "--limit", "1"),
                         {"TableNames": names[:1], "LastEvaluatedTableName": names[0]})

    def test_tags(self):
        self.make_table("tagged", "--tags", "Key=team,Value=blue")
        self.assertIsNone(self.aws("tag-resource", "--resource-arn", ARN + "tagged", "--tags", "Key=cost,Value=7"))
        self.assertIsNone(self.aws("untag-resource", "--resource-arn", ARN + "tagged", "--tag-keys", "team"))
        self.assertEqual(self.aws("list-tags-of-resource", "--resource-arn", ARN + "tagged"),
                         {"Tags": [{"Key": "cost", "Value": "7"}]})

    def test_what_else_is_described(self):
        self.make_table("asked")
        self.assertEqual(self.aws("describe-limits", "--query", "AccountMaxReadCapacityUnits"), 80000)
        self.assertEqual(self.aws("describe-endpoints")["Endpoints"][0]["CachePeriodInMinutes"], 1440)
        self.assertEqual(self.aws("describe-time-to-live", "--table-name", "asked"),
                         {"TimeToLiveDescription": {"TimeToLiveStatus": "DISABLED"}})
        self.assertEqual(self.aws("describe-continuous-backups", "--table-name", "asked", "--query",
                                  "ContinuousBackupsDescription.ContinuousBackupsStatus"), "DISABLED")

    def test_what_is_refused_says_why(self):
        self.assertEqual(self.aws_fails("create-backup", "--table-name", "any", "--backup-name", "any"),
                         "An error occurred (UnknownOperationException) when calling the CreateBackup operation: "
                         "CreateBackup is not available: backups are made with quorvactl backup, see backup.md")
