"""Scan and Query, with sorted lists in place of cursors."""

from differential_items import Condition, projected
from differential_values import (
    INTERNAL_ERROR, Refused, as_bool, as_integer, as_list, as_map, as_text, key_bytes, partition_of, read_key,
    record_key, shown, split_key,
)


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


def walked(item, names, keys):
    return {**item, names[0]: {"S": shown(keys[0])}, names[1]: {"S": shown(keys[1])}}


def scan(model, body):
    table = model.table(as_text(body.get("TableName")))
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
                    items.append(walked(table.records(partition)[key], names, keys))
            if limit <= 0:
                last = keys
                break
        if last is not None:
            break
        start_key = b""
    return page.answer({"Count": len(items), "ScannedCount": scanned}, items, names, last)


def query(model, body):
    table_name = as_text(body.get("TableName"))
    model.environment(table_name)
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
    table = model.table(table_name)
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
            items.append(walked(records[prefix + ranges[at]], names, (hash_key, ranges[at])))
        if stop:
            break
        limit -= 1
        if limit <= 0:
            last = (hash_key, ranges[at])
            break
        at += step
    return page.answer({"Count": len(items)}, items, names, last)
