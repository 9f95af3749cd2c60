"""The client's results of batches."""

from boto_fixture import TableTest


class Batches(TableTest):
    def test_puts_and_deletes(self):
        self.put("a", "1", n=1)
        self.put("a", "2", n=2)
        batch = self.db.new_batch_write_list()
        batch.add_batch(self.table, puts=[self.table.new_item("a", "1", {"n": 10}), self.table.new_item("b", "1")],
                        deletes=[("a", "2"), ("a", "none")])
        self.assertEqual(batch.submit(), {})
        self.assertEqual(sorted((item["customer"], item["date"], item.get("n")) for item in self.table.scan()),
                         [("a", "1", 10), ("b", "1", None)])

    def test_several_tables(self):
        other = self.db.create_table(self.name + "2", self.schema, 1, 1)
        batch = self.db.new_batch_write_list()
        batch.add_batch(self.table, puts=[self.table.new_item("a", "1", {"n": 1})])
        batch.add_batch(other, puts=[other.new_item("a", "1", {"n": 2})])
        self.assertEqual(batch.submit(), {})
        self.assertEqual((self.table.get_item("a", "1")["n"], other.get_item("a", "1")["n"]), (1, 2))

    def test_unknown_table(self):
        unknown = self.db.table_from_schema("/none|t", self.schema)
        batch = self.db.new_batch_write_list()
        batch.add_batch(unknown, puts=[unknown.new_item("a", "1")])
        self.assert_error("ResourceNotFoundException", batch.submit)
