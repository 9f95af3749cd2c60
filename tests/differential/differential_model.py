"""What the server has to answer, told by dictionaries and sorted lists instead of files, locks and cursors.

`Model.run(operation, body)` answers the whole reply to a request, as the JSON value that a client would read. It keeps
what CreateTable, PutItem and the others have stored, for one client at a time.
"""

import hashlib

INT64_MIN = -(1 << 63)
INT64_MAX = (1 << 63) - 1
UINT64_MAX = (1 << 64) - 1

OK, CONDITION_FAILED, INTERNAL_ERROR, NOT_FOUND, INVALID_REQUEST = range(5)

ENVELOPES = {
    OK: (200, "OK", None, None),
    CONDITION_FAILED: (400, "Bad Request", "ConditionalCheckFailedException", "The conditional request failed."),
    NOT_FOUND: (400, "Not Found", "ResourceNotFoundException", "Specified item does not exist."),
    INVALID_REQUEST: (400, "Bad Request", "ValidationException", "A parameter is missing"),
    INTERNAL_ERROR: (400, "Bad Request", "InternalServerError", "The server encountered an internal error."),
}


class Refused(Exception):
    """Ends an operation with a status and the reply fields that it leaves behind."""

    def __init__(self, status, reply=None):
        super().__init__(status)
        self.status = status
        self.reply = reply or {}


# How values of other types than a field asks for are read.


def as_map(value):
    return value if isinstance(value, dict) else {}


def as_list(value):
    return value if isinstance(value, list) else []


def as_text(value):
    if isinstance(value, bool):
        return "true" if value else "false"
    if isinstance(value, str):
        return value
    if isinstance(value, int):
        return str(value)
    if isinstance(value, float):
        return "%g" % value
    return ""


def as_bool(value):
    if isinstance(value, str):
        return value.lower() not in ("", "0", "false")
    if isinstance(value, (bool, int, float)):
        return value != 0
    return False


def text_as_integer(text):
    digits = text.strip(" \t\n\v\f\r")
    unsigned = digits[1:] if digits[:1] in ("+", "-") else digits
    if not (unsigned.isascii() and unsigned.isdigit()):
        return 0
    number = int(digits)
    return number if INT64_MIN <= number <= INT64_MAX else 0


def as_integer(value):
    if isinstance(value, str):
        return text_as_integer(value)
    if isinstance(value, float):
        rounded = int(abs(value) + 0.5)
        return rounded if value >= 0 else -rounded
    if isinstance(value, (bool, int)):
        return wrapped(int(value))
    return 0


def wrapped(number):
    """An integer of 64 bits."""
    return (number - INT64_MIN) % (1 << 64) + INT64_MIN


def as_read(value):
    """A JSON value as the server's parser holds it: integers beyond 64 bits become reals."""
    if isinstance(value, dict):
        return {name: as_read(member) for name, member in value.items()}
    if isinstance(value, list):
        return [as_read(element) for element in value]
    if isinstance(value, int) and not isinstance(value, bool) and not INT64_MIN <= value <= UINT64_MAX:
        return float(value)
    return value


def name_order(name):
    """Maps are in the order of UTF-16 code units."""
    return name.encode("utf-16-be")


def shown(key):
    """The text of key bytes in a reply."""
    return key.split(b"\0")[0].decode("latin-1")


# Keys.


def key_bytes(value):
    try:
        return as_text(value).encode("latin-1")
    except UnicodeEncodeError:
        raise Refused(INVALID_REQUEST) from None


def partition_of(hash_key):
    return hashlib.md5(hash_key).digest()[3]


def record_key(hash_key, range_key):
    return b"%04d" % len(hash_key) + hash_key + range_key


def split_key(key):
    length = int(key[:4])
    return key[4 : 4 + length], key[4 + length :]


def read_key(key):
    """The keys of a map with "HashKeyElement" and "RangeKeyElement"."""
    keys = []
    for name in ("HashKeyElement", "RangeKeyElement"):
        if name not in key:
            raise Refused(INTERNAL_ERROR)
        element = as_map(key[name])
        if "S" not in element:
            raise Refused(INTERNAL_ERROR)
        keys.append(key_bytes(element["S"]))
    return keys


def is_string_key(element):
    return "AttributeName" in element and "AttributeType" in element and as_text(element["AttributeType"]) == "S"


# Conditions.

UPWARD = ("EQ", "GE", "GT", "BEGINS_WITH", "BETWEEN")
DOWNWARD = ("LE", "LT")


class Condition:
    def __init__(self, condition, forward=True):
        condition = as_map(condition)
        self.operator, self.low, self.high, self.forward = None, b"", b"", forward
        if "ComparisonOperator" not in condition:
            return
        if "AttributeValueList" not in condition:
            raise Refused(INTERNAL_ERROR)
        self.operator = as_text(condition["ComparisonOperator"])
        values = as_list(condition["AttributeValueList"])
        if len(values) != (2 if self.operator == "BETWEEN" else 1):
            raise Refused(INTERNAL_ERROR)
        if self.operator == "BETWEEN":
            self.high = self.value(values[1])
        self.low = self.value(values[0])
        if self.operator in UPWARD:
            self.forward = True
        elif self.operator in DOWNWARD:
            self.forward = False

    @staticmethod
    def value(value):
        typed = as_map(value)
        if "S" not in typed:
            raise Refused(INTERNAL_ERROR)
        return key_bytes(typed["S"])

    def match(self, value):
        """Whether a value matches, and whether an upward walk ends behind it."""
        low, high = self.low, self.high
        return {
            "EQ": (value == low, value != low),
            "LE": (value <= low, False),
            "LT": (value < low, False),
            "GE": (value >= low, False),
            "GT": (value > low, False),
            "BEGINS_WITH": (value.startswith(low), not value.startswith(low)),
            "BETWEEN": (low <= value <= high, value > high),
        }.get(self.operator, (True, False))


# Reading and changing attributes.


def check_expected(old, expected):
    for name in sorted(expected, key=name_order):
        condition = as_map(expected[name])
        if "Exists" in condition:
            if name in old and not as_bool(condition["Exists"]):
                raise Refused(CONDITION_FAILED)
            continue
        if "Value" not in condition:
            raise Refused(INTERNAL_ERROR)
        if name not in old:
            raise Refused(CONDITION_FAILED)
        have, want = as_map(old[name]), as_map(condition["Value"])
        if "S" in have and "S" in want:
            equal = as_text(have["S"]) == as_text(want["S"])
        elif "N" in have and "N" in want:
            equal = text_as_integer(as_text(have["N"])) == text_as_integer(as_text(want["N"]))
        else:
            equal = False
        if not equal:
            raise Refused(CONDITION_FAILED)


def stored_text(text):
    """Latin-1 text is stored as bytes that end at a zero byte, other text as it is."""
    return text.split("\0")[0] if all(ord(character) <= 0xFF for character in text) else text


def added(current, addend):
    if "N" in addend:
        if "N" not in current:
            raise Refused(NOT_FOUND)
        total = text_as_integer(as_text(current["N"])) + text_as_integer(as_text(addend["N"]))
        return {**current, "N": str(wrapped(total))}
    if "S" not in addend or "S" not in current:
        raise Refused(NOT_FOUND)
    return {**current, "S": stored_text(as_text(current["S"]) + as_text(addend["S"]))}


def updated(item, updates, return_values):
    """The item after an update, and what the update answers."""
    item = dict(item)
    answer = dict(item) if return_values == "ALL_OLD" else {}
    for name in sorted(updates, key=name_order):
        update = as_map(updates[name])
        action = as_text(update.get("Action"))
        if action not in ("PUT", "DELETE", "ADD"):
            continue
        if name in item and return_values == "UPDATED_OLD":
            answer[name] = item[name]
        if action == "DELETE":
            item.pop(name, None)
            continue
        if action == "ADD" and name in item:
            item[name] = added(as_map(item[name]), as_map(update.get("Value")))
        else:
            item[name] = update.get("Value")
        if return_values == "UPDATED_NEW":
            answer[name] = item[name]
    return item, dict(item) if return_values == "ALL_NEW" else answer


def projected(item, names, always=()):
    wanted = {as_text(name) for name in names}.union(always)
    return {name: value for name, value in item.items() if name in wanted}


class Table:
    def __init__(self):
        self.description = None
        self.partitions = {}

    def records(self, partition):
        return self.partitions.setdefault(partition, {})

    def records_of(self, hash_key):
        return self.records(partition_of(hash_key))

    def copy(self):
        other = Table()
        other.description = self.description
        other.partitions = {number: dict(records) for number, records in self.partitions.items()}
        return other

    def key_elements(self):
        """The key elements of a schema that items can be written with."""
        if self.description is None:
            raise Refused(NOT_FOUND)
        schema = self.description["KeySchema"]
        elements = [as_map(schema.get(name)) for name in ("HashKeyElement", "RangeKeyElement")]
        if not all(is_string_key(element) for element in elements):
            raise Refused(NOT_FOUND)
        return elements

    def key_names(self):
        """The names of the key attributes, as far as they can be told, and whether both could."""
        names = ["", ""]
        if self.description is None:
            return names, False
        schema = self.description["KeySchema"]
        for index, member in enumerate(("HashKeyElement", "RangeKeyElement")):
            if not is_string_key(as_map(schema.get(member))):
                return names, False
            names[index] = as_text(schema[member]["AttributeName"])
        return names, True

    def take_keys(self, item):
        """Takes the key attributes out of an item."""
        keys = []
        for index, element in enumerate(self.key_elements()):
            name = as_text(element["AttributeName"])
            if name not in item:
                if index == 0:
                    raise Refused(INTERNAL_ERROR)
                keys.append(b"")
                continue
            typed = as_map(item[name])
            if "S" not in typed:
                raise Refused(INTERNAL_ERROR)
            keys.append(key_bytes(typed["S"]))
            del item[name]
        return keys


class Page:
    """The fields that Scan and Query have in common."""

    def __init__(self, body):
        self.count_only = as_bool(body.get("Count"))
        self.limit = as_integer(body["Limit"]) if "Limit" in body else 128
        self.names = as_list(body.get("AttributesToGet"))
        self.start = read_key(as_map(body["ExclusiveStartKey"])) if "ExclusiveStartKey" in body else None
        self.body = body

    def nothing(self, zero_counts):
        return zero_counts if self.count_only else {**zero_counts, "Items": []}

    def answer(self, counts, items, key_names, last):
        reply = dict(counts)
        if not self.count_only:
            reply["Items"] = [projected(item, self.names, key_names) if self.names else item for item in items]
        if last is not None:
            key = dict(as_map(self.body.get("ExclusiveStartKey")))
            key["HashKeyElement"], key["RangeKeyElement"] = shown(last[0]), shown(last[1])
            reply["LastEvaluatedKey"] = key
        return reply


class Model:
    def __init__(self, directories):
        """`directories` are the environments that exist."""
        self.environments = {directory: {} for directory in directories}
        self.held = set()  # environments that a DeleteTable would wait for

    # Names.

    @staticmethod
    def directory_of(name):
        return name.rpartition("|")[0] if "|" in name else name

    @staticmethod
    def file_of(name):
        if "|" in name:
            return name.rpartition("|")[2]
        return name[max(name.rfind("\\"), name.rfind("/")) + 1 :]

    def environment(self, name):
        directory = self.directory_of(name)
        if directory not in self.environments:
            raise Refused(NOT_FOUND)
        return self.environments[directory]

    def table(self, name):
        return self.environment(name).setdefault(self.file_of(name), Table())

    # Operations.

    def run(self, operation, body):
        body = as_read(as_map(body))
        handler = getattr(self, "run_" + operation, None)
        try:
            if handler is None:
                raise Refused(INTERNAL_ERROR)
            reply, status = handler(body), OK
        except Refused as refused:
            reply, status = refused.reply, refused.status
        code, text, kind, message = ENVELOPES[status]
        reply = {**reply, "__rc": code, "__rcstr": text}
        if kind is not None:
            reply.update({"__type": kind, "message": message})
        return reply

    def run_CreateTable(self, body):
        name = as_text(body.get("TableName"))
        table = self.table(name)
        table.description = {
            "CreationDateTime": 123456,
            "KeySchema": as_map(body.get("KeySchema")),
            "ProvisionedThroughput": as_map(body.get("ProvisionedThroughput")),
            "TableName": name,
            "TableStatus": "ACTIVE",
        }
        return {"TableDescription": table.description}

    def run_DescribeTable(self, body):
        name = as_text(body.get("TableName"))
        table = self.table(name)
        if table.description is None:
            raise Refused(NOT_FOUND)
        reply = {"Table": {**table.description, "ItemCount": 1, "TableName": name, "TableSizeBytes": 0}}
        try:
            table.key_elements()
        except Refused as refused:
            raise Refused(refused.status, reply) from None
        return reply

    def run_DeleteTable(self, body):
        return {}

    def run_UpdateTable(self, body):
        self.environment(as_text(body.get("TableName")))
        return {"TableDescription": {"TableStatus": "ACTIVE"}}

    def run_PutItem(self, body):
        table = self.table(as_text(body.get("TableName")))
        table.key_elements()
        item = dict(as_map(body.get("Item")))
        hash_key, range_key = table.take_keys(item)
        records, key = table.records_of(hash_key), record_key(hash_key, range_key)
        old = records.get(key, {})
        if "Expected" in body:
            check_expected(old, as_map(body["Expected"]))
        records[key] = item
        return {"Attributes": old if as_text(body.get("ReturnValues")) == "ALL_OLD" else item}

    def place(self, body):
        table = self.table(as_text(body.get("TableName")))
        hash_key, range_key = read_key(as_map(body.get("Key")))
        return table, hash_key, range_key, record_key(hash_key, range_key)

    def run_GetItem(self, body):
        table, hash_key, _, key = self.place(body)
        item = table.records_of(hash_key).get(key)
        if item is None:
            return {}
        if "AttributesToGet" in body:
            item = projected(item, as_list(body["AttributesToGet"]))
        return {"Item": item}

    def run_DeleteItem(self, body):
        table, hash_key, _, key = self.place(body)
        records = table.records_of(hash_key)
        old = records.get(key, {})
        if "Expected" in body:
            try:
                check_expected(old, as_map(body["Expected"]))
            except Refused as refused:
                raise Refused(refused.status, {"Attributes": {}}) from None
        records.pop(key, None)
        return {"Attributes": old} if as_text(body.get("ReturnValues")) == "ALL_OLD" else {}

    def run_UpdateItem(self, body):
        table, hash_key, range_key, key = self.place(body)
        records = table.records_of(hash_key)
        old = records.get(key, {})
        if "Expected" in body:
            check_expected(old, as_map(body["Expected"]))
        return_values = as_text(body.get("ReturnValues"))
        item, answer = updated(old, as_map(body.get("AttributeUpdates")), return_values)
        if not item and key not in records:
            return {}
        records[key] = item
        if not answer:
            return {}
        if return_values in ("ALL_OLD", "ALL_NEW"):
            names, _ = table.key_names()
            answer[names[0]] = hash_key.decode("latin-1")
            answer[names[1]] = range_key.decode("latin-1")
        return {"Attributes": answer}

    def run_Scan(self, body):
        table = self.table(as_text(body.get("TableName")))
        page = Page(body)
        zero = {"Count": 0, "ScannedCount": 0}
        if table.description is None:
            raise Refused(INTERNAL_ERROR, page.nothing(zero))
        names, usable = table.key_names()
        if not usable:
            raise Refused(INTERNAL_ERROR)
        scan_filter = as_map(body.get("ScanFilter"))
        try:
            conditions = [Condition(scan_filter.get(name)) for name in names]
        except Refused as refused:
            raise Refused(refused.status, page.nothing(zero)) from None

        start = page.start if page.start is not None and page.start[0] else None
        first = partition_of(start[0]) if start else 0
        start_key = record_key(*start) if start else b""
        limit, scanned, items, last = page.limit, 0, [], None
        for partition in range(first, 256):
            for key in sorted(key for key in table.records(partition) if key >= start_key):
                keys = split_key(key)
                if key != start_key:
                    scanned += 1
                    limit -= 1
                    if all(condition.match(value)[0] for condition, value in zip(conditions, keys)):
                        items.append(self.walked(table.records(partition)[key], names, keys))
                if limit <= 0:
                    last = keys
                    break
            if last is not None:
                break
            start_key = b""
        return page.answer({"Count": len(items), "ScannedCount": scanned}, items, names, last)

    def run_Query(self, body):
        table_name = as_text(body.get("TableName"))
        self.environment(table_name)
        if "ExclusiveStartKey" in body:
            hash_key, start_range = read_key(as_map(body["ExclusiveStartKey"]))
        elif "HashKeyValue" not in body:
            return {"Attributes": {}}
        else:
            value = as_map(body["HashKeyValue"])
            if "S" not in value:
                raise Refused(INTERNAL_ERROR)
            hash_key, start_range = key_bytes(value["S"]), b""
        page = Page(body)
        table = self.table(table_name)
        if table.description is None:
            raise Refused(INTERNAL_ERROR, page.nothing({"Count": 0}))
        names, usable = table.key_names()
        if not usable:
            raise Refused(INTERNAL_ERROR)
        forward = as_bool(body["ScanIndexForward"]) if "ScanIndexForward" in body else True
        partition = partition_of(hash_key) if hash_key else 0 if forward else 255
        try:
            condition = Condition(body.get("RangeKeyCondition"), forward)
        except Refused as refused:
            raise Refused(refused.status, page.nothing({"Count": 0})) from None
        if start_range:
            condition.low = start_range
        elif not condition.forward and not condition.low:
            condition.low = b"\xff"

        records = table.records(partition)
        prefix = record_key(hash_key, b"")
        ranges = sorted(key[len(prefix) :] for key in records if key.startswith(prefix))
        step = 1 if condition.forward else -1
        at = sum(1 for range_key in ranges if range_key < condition.low)
        if at == len(ranges) and step < 0:
            at -= 1
        elif at < len(ranges) and start_range and ranges[at] == start_range:
            at += step
        limit, items, last = page.limit, [], None
        while 0 <= at < len(ranges):
            match, stop = condition.match(ranges[at])
            if match:
                items.append(self.walked(records[prefix + ranges[at]], names, (hash_key, ranges[at])))
            if stop:
                break
            limit -= 1
            if limit <= 0:
                last = (hash_key, ranges[at])
                break
            at += step
        return page.answer({"Count": len(items)}, items, names, last)

    @staticmethod
    def walked(item, names, keys):
        return {**item, names[0]: {"S": shown(keys[0])}, names[1]: {"S": shown(keys[1])}}

    def run_BatchWriteItem(self, body):
        requests = as_map(body.get("RequestItems"))
        if not requests:
            raise Refused(INVALID_REQUEST)
        order = sorted(requests, key=name_order)
        directory = self.directory_of(order[0])
        environment = self.environment(order[0])
        copies, unprocessed = {}, {}
        try:
            for index, name in enumerate(order):
                if self.directory_of(name) != directory:
                    unprocessed = {later: requests[later] for later in order[index:]}
                    self.held.add(directory)
                    break
                table = environment.setdefault(self.file_of(name), Table())
                table.key_elements()
                copy = copies.setdefault(self.file_of(name), table.copy())
                self.write(copy, as_list(requests[name]))
        except Refused as refused:
            raise Refused(refused.status, {"UnprocessedItems": requests}) from None
        environment.update(copies)
        return {"UnprocessedItems": unprocessed} if unprocessed else {}

    @staticmethod
    def write(table, entries):
        seen = set()
        for entry in entries:
            entry = as_map(entry)
            kind = next((kind for kind in ("PutRequest", "DeleteRequest") if kind in entry), None)
            if kind is None:
                continue
            fields = as_map(entry[kind])
            if "ReturnValues" in fields or "Expected" in fields:
                raise Refused(CONDITION_FAILED)
            if kind == "PutRequest":
                item = dict(as_map(fields.get("Item")))
                keys = table.take_keys(item)
            else:
                item, keys = None, read_key(as_map(fields.get("Key")))
            key = record_key(*keys)
            if key in seen:
                raise Refused(CONDITION_FAILED)
            seen.add(key)
            if item is None:
                table.records_of(keys[0]).pop(key, None)
            else:
                table.records_of(keys[0])[key] = item
