"""A table with a ledger of its expected contents: each reply is compared with it."""

from quorva import expect


def ok(**fields):
    return {"__rc": 200, "__rcstr": "OK", **fields}


CONDITION_FAILED = {
    "__rc": 400,
    "__rcstr": "Bad Request",
    "__type": "ConditionalCheckFailedException",
    "message": "The conditional request failed.",
}


class LedgerTable:
    """A table, and the items that it must contain after each request."""

    def __init__(self, name):
        self.name = name
        self.ledger = {}  # (section, name) -> attributes, None for what was deleted
        self.connection = None

    def request(self, operation, **fields):
        return self.connection.request(operation, {"TableName": self.name, **fields})

    def on_item(self, operation, key, **fields):
        return self.request(operation, Key={"HashKeyElement": {"S": key[0]}, "RangeKeyElement": {"S": key[1]}},
                            **fields)

    @staticmethod
    def item(package):
        return {**package.attributes, "section": {"S": package.section}, "name": {"S": package.name}}

    def put(self, key, attributes, replaced=None):
        """Puts an item; with `replaced` it also requests the previous item and compares it."""
        item = {**attributes, "section": {"S": key[0]}, "name": {"S": key[1]}}
        if replaced is None:
            reply, answer = self.request("PutItem", Item=item), attributes
        else:
            reply, answer = self.request("PutItem", Item=item, ReturnValues="ALL_OLD"), replaced
        expect(f"reply to PutItem {key}", reply, ok(Attributes=answer))
        self.ledger[key] = attributes

    def check(self, key):
        attributes = self.ledger[key]
        reply = self.on_item("GetItem", key)
        item = reply.pop("Item", None)
        expect(f"reply to GetItem {key}", reply, ok())
        expect(f"presence of {key}", item is not None, attributes is not None)
        if attributes is not None:
            expect(f"attribute names of {key}", sorted(item), sorted(attributes))
            for name, value in attributes.items():
                expect(f"attribute \"{name}\" of {key}", item[name], value)
