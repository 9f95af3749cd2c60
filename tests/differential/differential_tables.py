"""A table: its description, and its items as dictionaries."""

from differential_values import (
    INTERNAL_ERROR, NOT_FOUND, Refused, as_map, as_text, is_string_key, key_bytes, partition_of,
)


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
        """The names of the key attributes, as far as they are known, and whether both are."""
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
        """Removes the key attributes from an item and returns the keys."""
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
