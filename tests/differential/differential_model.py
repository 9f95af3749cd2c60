"""The expected replies, computed with dictionaries and sorted lists instead of files, locks and cursors.

`Model.run(operation, body)` returns the complete reply to a request, as the JSON value that a client would read. It
keeps what CreateTable, PutItem and the others have stored, for one client at a time.
"""

from differential_items import check_expected, projected, updated
from differential_tables import Table
from differential_values import (
    CONDITION_FAILED, ENVELOPES, INTERNAL_ERROR, INVALID_REQUEST, NOT_FOUND, OK, Refused, as_list, as_map, as_read,
    as_text, name_order, read_key, record_key,
)
from differential_walks import query, scan


class Model:
    def __init__(self, directories):
        """`directories` are those of the existing environments."""
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
        return scan(self, body)

    def run_Query(self, body):
        return query(self, body)

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
