"""The client's results of queries and scans."""

from boto.dynamodb.condition import BEGINS_WITH, BETWEEN, CONTAINS, EQ, GE, GT, IN, LE, LT, NE, NOT_NULL, NULL
from boto.dynamodb.layer2 import Layer2

from boto_fixture import TableTest, connection_arguments


class Queries(TableTest):
    READS_ONLY = True
    DATES = ["2011-12", "2012-01", "2012-02", "2012-03", "2013-01"]
    # The results, and whether they can be read in pages: a page's last key replaces the condition's value.
    CONDITIONS = [
        (EQ("2012-02"), ["2012-02"]),
        (LT("2012-02"), ["2012-01", "2011-12"]),
        (LE("2012-02"), ["2012-02", "2012-01", "2011-12"]),
        (GT("2012-01"), ["2012-02", "2012-03", "2013-01"]),
        (GE("2012-01"), ["2012-01", "2012-02", "2012-03", "2013-01"]),
        (BETWEEN("2012-01", "2012-03"), ["2012-01", "2012-02", "2012-03"]),
        (BEGINS_WITH("2012-"), ["2012-01", "2012-02", "2012-03"]),
    ]

    def setUp(self):
        super().setUp()
        for number, date in enumerate(self.DATES):
            self.put("a", date, n=number)
        self.put("b", "2012-02", n=100)

    def dates(self, *args, **kwargs):
        return [item["date"] for item in self.table.query("a", *args, **kwargs)]

    def test_forward_and_backward(self):
        items = [dict(item) for item in self.table.query("a")]
        self.assertEqual(items, [{"customer": "a", "date": date, "n": n} for n, date in enumerate(self.DATES)])
        self.assertEqual(self.dates(scan_index_forward=False), self.DATES[::-1])

    def test_every_condition(self):
        # LE and LT walk downward, whatever the client requests, and the others upward.
        for condition, dates in self.CONDITIONS:
            for forward in (True, False):
                with self.subTest(condition=condition, forward=forward):
                    self.assertEqual(self.dates(condition, scan_index_forward=forward), dates)

    def test_pages(self):
        for limit in (1, 2, 5):
            for forward in (True, False):
                with self.subTest(limit=limit, forward=forward):
                    self.assertEqual(self.dates(request_limit=limit, scan_index_forward=forward),
                                     self.DATES[::1 if forward else -1])

    def test_pages_with_conditions(self):
        for condition, dates in self.CONDITIONS:
            with self.subTest(condition=condition):
                for limit in (1, 2, 3):
                    self.assertEqual(self.dates(condition, request_limit=limit), dates)

    def test_most_results(self):
        result = self.table.query("a", max_results=3)
        self.assertEqual([item["date"] for item in result], self.DATES[:3])
        self.assertEqual(result.last_evaluated_key, ("a", "2012-02"))
        rest = self.table.query("a", exclusive_start_key=result.last_evaluated_key)
        self.assertEqual([item["date"] for item in rest], self.DATES[3:])

    def test_count_and_attributes(self):
        self.assertEqual(self.table.query("a", GE("2012-01"), count=True).count, 4)
        items = [dict(item) for item in self.table.query("a", EQ("2012-01"), attributes_to_get=["none"])]
        self.assertEqual(items, [{"customer": "a", "date": "2012-01"}])
        self.assertEqual(list(self.table.query("nobody")), [])


class Scans(TableTest):
    READS_ONLY = True

    def setUp(self):
        super().setUp()
        self.keys = {(customer, date) for customer in ("a", "b", "ü", "\"") for date in ("2012-01", "2012-02", "2013")}
        batch = self.db.new_batch_write_list()
        batch.add_batch(self.table, puts=[self.table.new_item(*key, {"n": 1, "t": "x"}) for key in self.keys])
        self.assertEqual(self.db.batch_write_item(batch), {})

    def found(self, *args, **kwargs):
        items = [(item["customer"], item["date"]) for item in self.table.scan(*args, **kwargs)]
        self.assertEqual(len(items), len(set(items)))
        return set(items)

    def test_pages(self):
        for limit in (None, 1, 2, 5, 100):
            with self.subTest(limit=limit):
                self.assertEqual(self.found(request_limit=limit), self.keys)

    def test_resumed_by_another_client(self):
        result = self.table.scan(max_results=5)
        first = {(item["customer"], item["date"]) for item in result}
        self.assertEqual(len(first), 5)
        other = Layer2(**connection_arguments()).get_table(self.name)
        rest = {(item["customer"], item["date"]) for item in other.scan(exclusive_start_key=result.last_evaluated_key)}
        self.assertEqual(len(rest), len(self.keys) - 5)
        self.assertEqual(first | rest, self.keys)

    def test_filters_on_keys(self):
        for name, condition, matches in (
                ("customer", EQ("a"), lambda customer, date: customer == "a"),
                ("date", EQ("2013"), lambda customer, date: date == "2013"),
                ("date", LT("2012-02"), lambda customer, date: date < "2012-02"),
                ("date", LE("2012-02"), lambda customer, date: date <= "2012-02"),
                ("date", GT("2012-02"), lambda customer, date: date > "2012-02"),
                ("date", GE("2012-02"), lambda customer, date: date >= "2012-02"),
                ("date", BEGINS_WITH("2012-"), lambda customer, date: date.startswith("2012-")),
                ("customer", BETWEEN("a", "b"), lambda customer, date: customer in ("a", "b"))):
            with self.subTest(name=name, condition=condition):
                matching = {key for key in self.keys if matches(*key)}
                self.assertEqual(self.found({name: condition}), matching)
                self.assertEqual(self.found({name: condition}, request_limit=2), matching)
        both = self.table.scan({"customer": EQ("b"), "date": GE("2012-02")})
        self.assertEqual({(item["customer"], item["date"]) for item in both}, {("b", "2012-02"), ("b", "2013")})
        self.assertEqual(both.scanned_count, len(self.keys))

    def test_filters_that_let_everything_through(self):
        # Other operators, and attributes other than the keys.
        for scan_filter in ({"customer": NE("a")}, {"customer": CONTAINS("a")}, {"customer": IN(["a"])},
                            {"n": EQ(7)}, {"none": EQ("a")}, {"none": NULL()}):
            with self.subTest(filter=scan_filter):
                self.assertEqual(self.found(scan_filter), self.keys)
        # A condition on a key needs a value.
        for condition in (NULL(), NOT_NULL()):
            self.assert_error("InternalServerError", self.found, {"customer": condition})

    def test_count_and_attributes(self):
        result = self.table.scan(count=True)
        self.assertEqual((result.count, result.scanned_count), (len(self.keys), len(self.keys)))
        for item in self.table.scan(attributes_to_get=["t"]):
            self.assertEqual(set(item), {"customer", "date", "t"})
