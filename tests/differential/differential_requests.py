"""Random requests, rich in values that are easy to get wrong."""

from differential_pools import FLAGS, HASHES, NAMES, ODD_VALUES, RETURN_VALUES
from differential_parts import Parts


class Requests(Parts):
    def __init__(self, random, model, tables, foreign_tables, whole_table):
        """`whole_table` is the only table that is scanned from the start."""
        super().__init__(random, tables, foreign_tables)
        self.model = model
        self.whole_table = whole_table

    def next(self):
        """The next operation and its body."""
        kinds = {
            self.put_item: 22,
            self.get_item: 8,
            self.delete_item: 8,
            self.update_item: 16,
            self.query: 20,
            self.scan: 12,
            self.batch_write: 12,
            self.create_table: 1,
            self.describe_table: 1,
            self.update_table: 1,
            self.delete_table: 0.5,
            self.unknown: 0.3,
        }
        make = self.random.choices(list(kinds), list(kinds.values()))[0]
        operation, body = make()
        if self.chance(0.5):
            body = self.pick(ODD_VALUES)  # not a JSON object, or one without any known field
        elif self.chance(2) and body:
            body[self.pick(sorted(body))] = self.pick(ODD_VALUES)
        return operation, body

    def put_item(self):
        body = {"TableName": self.table_name(), "Item": self.item()}
        self.maybe(body, "ReturnValues", 25, lambda: self.pick(RETURN_VALUES))
        self.maybe(body, "Expected", 20, self.expected)
        return "PutItem", body

    def get_item(self):
        body = {"TableName": self.table_name(), "Key": self.key()}
        self.maybe(body, "AttributesToGet", 30, self.names)
        return "GetItem", body

    def delete_item(self):
        body = {"TableName": self.table_name(), "Key": self.key()}
        self.maybe(body, "ReturnValues", 40, lambda: self.pick(RETURN_VALUES))
        self.maybe(body, "Expected", 20, self.expected)
        return "DeleteItem", body

    def update_item(self):
        updates = {}
        for _ in range(self.random.randrange(4)):
            update = {"Action": self.pick(["PUT", "ADD", "ADD", "DELETE"]), "Value": self.typed_value()}
            if self.chance(5):
                update["Action"] = self.pick(["put", "", None, 5, "NONE"])
            if self.chance(10):
                update.pop(self.pick(sorted(update)))
            updates[self.pick(NAMES)] = self.odd(update, 1)
        body = {"TableName": self.table_name(), "Key": self.key(), "AttributeUpdates": updates}
        self.maybe(body, "ReturnValues", 70, lambda: self.pick(RETURN_VALUES))
        self.maybe(body, "Expected", 15, self.expected)
        return "UpdateItem", body

    def page_fields(self, body):
        self.maybe(body, "Limit", 60, self.limit)
        self.maybe(body, "Count", 20, lambda: self.pick(FLAGS))
        self.maybe(body, "AttributesToGet", 20, self.names)

    def query(self):
        body = {"TableName": self.table_name()}
        if self.chance(97):
            body["HashKeyValue"] = self.key_value(HASHES)
        self.maybe(body, "ExclusiveStartKey", 35, self.start_key)
        self.maybe(body, "ScanIndexForward", 50, lambda: self.pick(FLAGS))
        self.maybe(body, "RangeKeyCondition", 60, self.condition)
        self.page_fields(body)
        return "Query", body

    def scan(self):
        body = {"TableName": self.table_name()}
        if body["TableName"] == self.whole_table:
            self.maybe(body, "ExclusiveStartKey", 60, self.start_key)
        else:
            body["ExclusiveStartKey"] = self.start_key(last_partitions=True)
        if self.chance(40):
            names = ["h", "r"] + ([self.pick(NAMES)] if self.chance(30) else [])
            body["ScanFilter"] = self.odd({name: self.condition() for name in names if self.chance(60)}, 1)
        self.page_fields(body)
        return "Scan", body

    def entry(self):
        if self.chance(65):
            fields = {"Item": self.item()}
            entry = {"PutRequest": self.odd(fields, 0.3)}
        else:
            fields = {"Key": self.key()}
            entry = {"DeleteRequest": self.odd(fields, 0.3)}
        if self.chance(0.7):
            fields[self.pick(["Expected", "ReturnValues"])] = self.pick(ODD_VALUES)
        return self.odd(entry, 0.5)

    def batch_write(self):
        names = self.random.sample(self.tables, self.random.choice([1, 1, 2, 3]))
        if self.chance(85):
            # Usually of one environment, sometimes of several.
            names = [name for name in names if Requests.same_environment(name, names[0])]
        if self.chance(1):
            names.append(self.pick(self.foreign_tables))
        requests = {}
        for name in names:
            entries = [self.entry() for _ in range(self.random.choice([0, 1, 2, 3, 8]))]
            requests[name] = self.odd(entries, 1)
        return "BatchWriteItem", {"RequestItems": requests}

    @staticmethod
    def same_environment(one, other):
        return one.split("|")[0] == other.split("|")[0]

    def create_table(self):
        h, r = ({"AttributeName": name, "AttributeType": "S"} for name in ("h", "r"))
        schema = {"HashKeyElement": h, "RangeKeyElement": r}
        name = self.pick(self.tables)
        # One table changes its keys from time to time, even to schemas that no item can be stored with.
        if name == self.tables[-1] and self.chance(50):
            schema = self.pick(
                [
                    {"HashKeyElement": h},
                    {"RangeKeyElement": r},
                    {"HashKeyElement": r, "RangeKeyElement": h},
                    {"HashKeyElement": h, "RangeKeyElement": h},
                    {"HashKeyElement": h, "RangeKeyElement": {**r, "AttributeType": "N"}},
                    {"HashKeyElement": {"AttributeType": "S"}, "RangeKeyElement": r},
                    {"HashKeyElement": {**h, "AttributeName": 5}, "RangeKeyElement": r},
                ]
            )
        body = {"TableName": name, "KeySchema": schema, "ProvisionedThroughput": self.pick(ODD_VALUES)}
        return "CreateTable", body

    def describe_table(self):
        return "DescribeTable", {"TableName": self.table_name()}

    def update_table(self):
        action = self.pick([{}, {"FlushDB": 1}, {"ReadCapacityUnits": 5}])
        return "UpdateTable", {"TableName": self.table_name(), "ProvisionedThroughput": action}

    def delete_table(self):
        # Deleting one whose environment is held would wait forever.
        names = [name for name in self.tables if self.model.directory_of(name) not in self.model.held]
        return "DeleteTable", {"TableName": self.pick(names) if names else self.foreign_tables[0]}

    def unknown(self):
        return self.pick(["ListTables", "query", "BatchGetItem"]), {"TableName": self.table_name()}
