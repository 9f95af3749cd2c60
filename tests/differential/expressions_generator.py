"""Random expressions and requests: mostly valid ones, and some that are not."""

import base64

from expressions_items import ATTRIBUTES, MEMBERS, TYPES, Items, members

OPERATORS = ["EQ", "NE", "LE", "LT", "GE", "GT", "NOT_NULL", "NULL", "CONTAINS", "NOT_CONTAINS", "BEGINS_WITH", "IN",
             "BETWEEN"]
PIECES = ["(", ")", ",", ".", "=", "NOT ", " AND ", " x ", "-", "+", "#q", ":q", "[0]", "size(", "\u00e9", " name "]


class Generator(Items):
    def __init__(self, random):
        super().__init__(random)
        self.names, self.values, self.targets = {}, {}, []
        self.near = None  # the value at the path that was made last
        self.item = self.make_item()
        self.places = [([], {"M": self.item})]
        for elements, value in self.places:
            for element, below in members(value):
                self.places.append((elements + [element], below))
        del self.places[0]

    def name(self, name):
        """A name in a path, by a placeholder if it needs one."""
        if name.isidentifier() and name != "name" and not self.one_in(4):
            return name
        for placeholder, known in self.names.items():
            if known == name:
                return placeholder
        placeholder = "#" + self.random.choice(["n", "N_", "0"]) + str(len(self.names))
        self.names[placeholder] = name
        return placeholder

    def path(self):
        """A path, often one that exists."""
        elements, self.near = [self.random.choice(ATTRIBUTES)], None
        if self.places and self.one_in(2):
            elements, self.near = self.random.choice(self.places)
        while self.near is None and self.one_in(3):
            elements.append(self.random.choice(MEMBERS if self.one_in(2) else [0, 0, 1, 1, 2, 3, 9]))
        return self.rendered(elements)

    def rendered(self, elements):
        return "".join("[%d]" % element if isinstance(element, int) else ("." if i else "") + self.name(element)
                       for i, element in enumerate(elements))

    def related(self, value):
        """A value that is equal to another one, a part of it, or its size."""
        ((kind, content),) = value.items()
        if kind == "N" or self.one_in(2):
            return value
        if kind == "S":
            start = self.random.choice([0, 0, 1])
            return {"S": content[start:start + self.random.randrange(3)]}
        if kind == "B":
            start, data = self.random.choice([0, 0, 1]), base64.b64decode(content)
            return {"B": base64.b64encode(data[start:start + self.random.randrange(3)]).decode()}
        if kind in ("SS", "NS", "BS"):
            return {kind[0]: self.random.choice(content)}
        return self.random.choice([below for _, below in members(value)] or [value])

    def target(self):
        """A path, mostly next to the previous ones."""
        for _ in range(5):
            path = self.path()
            if self.targets and self.targets[-1][-1] == "]" and self.one_in(2):  # another element of a list
                path = self.targets[-1][:self.targets[-1].rindex("[")] + "[%d]" % self.random.randrange(6)
            if not any(path.startswith(other) or other.startswith(path) for other in self.targets):
                break
        self.targets.append(path)
        return path

    def known(self, kinds=None):
        """A placeholder for a value."""
        placeholder = ":" + self.random.choice(["v", "V", "_"]) + str(len(self.values))
        value = self.related(self.near) if self.near and not self.one_in(3) else self.value(kinds=kinds)
        self.values[placeholder] = value if kinds is None or next(iter(value)) in kinds else self.value(kinds=kinds)
        return placeholder

    def operand(self, kinds=None):
        choice = self.random.randrange(10)
        if choice < 5:
            text = self.path()
        elif choice < 9:
            text = self.known(kinds)
        else:
            text = "size(%s)" % self.path()
            self.near = {"N": str(self.random.randrange(5))}
        return "(%s)" % text if self.one_in(12) else text

    def comparison(self):
        kinds = None if self.one_in(12) else ["S", "N", "B"]
        choice = self.random.randrange(12)
        if choice < 3:
            return "%s %s %s" % (self.operand(), self.random.choice(["=", "<>"]), self.operand())
        if choice < 5:
            return "%s%s%s" % (self.operand(kinds), self.random.choice(["<", "<=", ">", ">="]), self.operand(kinds))
        if choice < 6:
            return "%s between %s AND %s" % (self.operand(kinds), self.operand(kinds), self.operand(kinds))
        if choice < 7:
            others = [self.operand() for _ in range(1 + self.random.randrange(3))]
            return "%s IN (%s)" % (self.operand(), ", ".join(others))
        if choice < 9:
            return "%s(%s)" % (self.random.choice(["attribute_exists", "attribute_not_exists"]), self.path())
        if choice < 10:
            placeholder = self.known(["S"])
            self.values[placeholder] = {"S": self.random.choice(TYPES)}
            return "attribute_type(%s, %s)" % (self.path(), placeholder)
        if choice < 11:
            return "begins_with(%s, %s)" % (self.path(), self.operand(["S", "B"]))
        return "contains(%s, %s)" % (self.path(), self.operand())

    def condition(self, depth=0):
        choice = self.random.randrange(9)
        if depth > 3 or choice < 3:
            return self.comparison()
        if choice < 4:
            return self.random.choice(["NOT ", "not  "]) + self.condition(depth + 1)
        if choice < 6:
            inside = self.condition(depth + 1)
            return inside if inside[0] == "(" and not self.one_in(10) else "(%s)" % inside
        operator = self.random.choice([" AND ", " OR ", "\tand\n", " Or "])
        return self.condition(depth + 1) + operator + self.condition(depth + 1)

    def set_operand(self, kinds=None):
        choice = self.random.randrange(9)
        if choice < 4:
            return self.path()
        if choice < 7:
            return self.known(kinds)
        if choice < 8:
            return "if_not_exists(%s, %s)" % (self.path(), self.set_operand(kinds))
        if kinds == ["N"]:
            return "(%s)" % self.path()
        return "list_append(%s, %s)" % (self.set_operand(["L"]), self.set_operand(["L"]))

    def set_value(self):
        if self.one_in(3):
            text = self.set_operand(["N"]) + self.random.choice(["+", " - "]) + self.set_operand(["N"])
            text = "(%s)" % text if self.one_in(8) else text
            return text + " + " + self.path() if self.one_in(20) else text
        return self.set_operand()

    def list_update(self, elements):
        """An update of several elements of one list."""
        path = self.rendered(elements)
        indexes = self.random.sample(range(7), self.random.choice([2, 3, 4]))
        cut = self.random.randrange(len(indexes) + 1)
        assigned = ["%s[%d] = %s" % (path, index, self.known()) for index in indexes[:cut]]
        removed = ["%s[%d]" % (path, index) for index in indexes[cut:]]
        return " ".join(name + " " + ", ".join(actions) for name, actions in (("SET", assigned), ("REMOVE", removed))
                        if actions)

    def update(self):
        lists = [elements for elements, value in self.places if "L" in value]
        if lists and self.one_in(6):
            return self.list_update(self.random.choice(lists))
        sections = {"SET": lambda: "%s = %s" % (self.target(), self.set_value()), "REMOVE": self.target,
                    "ADD": lambda: "%s %s" % (self.target(), self.known(["N", "SS", "NS", "BS"])),
                    "DELETE": lambda: "%s %s" % (self.target(), self.known(["SS", "NS", "BS"]))}
        chosen = self.random.sample(sorted(sections), self.random.choice([1, 1, 2, 3]))
        if self.one_in(30):
            chosen.append(chosen[0])
        return " ".join(
            self.random.choice([name, name.lower()]) + " " +
            ", ".join(sections[name]() for _ in range(self.random.choice([1, 1, 2, 3]))) for name in chosen)

    def projection(self):
        return ",".join(self.target() for _ in range(self.random.choice([1, 2, 3])))

    def key_condition(self):
        self.item["h"], self.item["r"] = self.value(kinds=["S"]), self.value(kinds=["N"])
        self.near = self.item["h"]
        tests = ["h = %s" % self.known(["S"])]
        self.near = self.item["r"]
        if not self.one_in(3):
            if self.one_in(3):
                tests.append("r BETWEEN %s AND %s" % (self.known(["N"]), self.known(["N"])))
            else:
                test = ["r", self.random.choice(["=", "<", "<=", ">", ">="]), self.known(["N"])]
                tests.append(" ".join(reversed(test) if self.one_in(3) else test))
            self.random.shuffle(tests)
        return " AND ".join("(%s)" % test if self.one_in(4) else test for test in tests)

    def older_condition(self):
        if self.one_in(4):
            condition = {"Value": self.value()} if self.one_in(2) else {"Exists": False}
            if self.one_in(8):
                condition["Exists"] = not condition.get("Exists", False)
            return condition
        operator = self.random.choice(OPERATORS)
        count = {"NULL": 0, "NOT_NULL": 0, "BETWEEN": 2, "IN": 1 + self.random.randrange(3)}.get(operator, 1)
        kinds = None if self.one_in(6) else [self.random.choice(["S", "N", "B"])]
        arguments = [self.value(kinds=kinds) for _ in range(count + self.one_in(20))]
        condition = {"ComparisonOperator": operator, "AttributeValueList": arguments}
        if len(arguments) == 1 and self.one_in(4):
            condition = {"ComparisonOperator": operator, "Value": arguments[0]}
        return condition

    def older_update(self):
        action = self.random.choice([None, "PUT", "ADD", "ADD", "DELETE", "DELETE"])
        update = {} if action is None else {"Action": action}
        if not self.one_in(3 if action == "DELETE" else 20):
            update["Value"] = self.value(kinds=None if self.one_in(3) else ["N", "L", "SS", "NS", "BS"])
        return update

    def drop_unused(self, text):
        """Forgets the names of discarded paths."""
        if not self.one_in(20):
            self.names = {placeholder: name for placeholder, name in self.names.items() if placeholder in text}

    def damaged(self, text):
        """The text with a piece omitted, doubled or replaced."""
        at = self.random.randrange(len(text) + 1)
        end = at + self.random.randrange(4)
        foreign = self.random.choice(PIECES)
        piece = self.random.choice(["", text[at:end] * 2, foreign])
        return text[:at] + piece + text[end:]
