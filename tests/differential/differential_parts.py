"""The random parts of requests: names, keys, values, items, conditions."""

from differential_pools import (
    FLAGS, FOREIGN_TEXTS, HASHES, LIMITS, NAMES, NUMBERS, ODD_LIMITS, ODD_OPERATORS, ODD_VALUES, OPERATORS, RANGES,
)


class Parts:
    def __init__(self, random, tables, foreign_tables):
        self.random = random
        self.tables = tables
        self.foreign_tables = foreign_tables

    def chance(self, percent):
        return self.random.random() * 100 < percent

    def pick(self, values):
        return self.random.choice(values)

    def odd(self, value, percent=1.5):
        return self.pick(ODD_VALUES) if self.chance(percent) else value

    def table_name(self):
        if self.chance(1):
            return self.pick(self.foreign_tables)
        return self.pick(self.tables)

    def text(self, pool):
        return self.pick(FOREIGN_TEXTS) if self.chance(1) else self.pick(pool)

    def key_value(self, pool):
        if self.chance(1):
            return self.pick(ODD_VALUES)
        return {"S": self.odd(self.text(pool), 1)}

    def key(self):
        key = {"HashKeyElement": self.key_value(HASHES), "RangeKeyElement": self.key_value(RANGES)}
        if self.chance(1):
            key.pop(self.pick(sorted(key)))
        return self.odd(key, 0.5)

    def start_key(self, last_partitions=False):
        key = self.key()
        if last_partitions and isinstance(key, dict):
            key["HashKeyElement"] = {"S": self.pick(HASHES[-4:])}
        if self.chance(3) and isinstance(key, dict):
            key[self.pick(["more", "A", "z"])] = self.pick(ODD_VALUES)
        return key

    def typed_value(self):
        kind = self.pick(["S", "S", "S", "N", "N", "B", "SS", "NS", "BS", "odd"])
        if kind == "odd":
            return self.pick(ODD_VALUES + [2**63, 2**64 - 1, 2**70, -(2**63), {"S": {"a": [1, "\x00"]}}, 1.0])
        if kind == "N":
            return {"N": self.odd(self.pick(NUMBERS))}
        if kind in ("SS", "NS", "BS"):
            return {kind: [self.text(RANGES) for _ in range(self.random.randrange(3))]}
        return {kind: self.odd(self.text(RANGES + FOREIGN_TEXTS))}

    def attributes(self):
        attributes = {self.pick(NAMES): self.typed_value() for _ in range(self.random.randrange(4))}
        if self.chance(1):
            attributes["large"] = {"S": "l" * self.random.choice([3000, 4090, 5000, 100000])}
        return attributes

    def item(self):
        item = self.attributes()
        item["h"] = self.key_value(HASHES)
        item["r"] = self.key_value(RANGES)
        if self.chance(3):
            item.pop(self.pick(["h", "r"]))
        return self.odd(item, 0.5)

    def expected(self):
        expected = {}
        for _ in range(self.random.randrange(3)):
            condition = {}
            if self.chance(40):
                condition["Exists"] = self.pick(FLAGS)
            if self.chance(80):
                condition["Value"] = self.typed_value()
            expected[self.pick(NAMES)] = self.odd(condition)
        return expected

    def condition(self):
        operator = self.pick(OPERATORS)
        if self.chance(8):
            operator = self.pick(ODD_OPERATORS)
        count = 2 if operator == "BETWEEN" else 1
        if self.chance(2):
            count = self.random.randrange(4)
        values = [self.key_value(RANGES) for _ in range(count)]
        condition = {"ComparisonOperator": operator, "AttributeValueList": self.odd(values, 1)}
        if self.chance(2):
            condition.pop(self.pick(sorted(condition)))
        return self.odd(condition, 1)

    def maybe(self, body, name, percent, make):
        if self.chance(percent):
            body[name] = make()

    def names(self):
        return self.odd([self.odd(self.pick(NAMES)) for _ in range(self.random.randrange(4))], 2)

    def limit(self):
        return self.pick(ODD_LIMITS) if self.chance(5) else self.pick(LIMITS)
