"""The client's results of the operations on tables."""

from boto_fixture import TableTest


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
        # A success, although the server keeps the old numbers.
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
