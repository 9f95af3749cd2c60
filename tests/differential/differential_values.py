"""Statuses, JSON values and keys, as the server reads them."""

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
    """Ends an operation with a status and the fields of its reply so far."""

    def __init__(self, status, reply=None):
        super().__init__(status)
        self.status = status
        self.reply = reply or {}


# How values of the wrong type are converted.


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
    """The integer wrapped around to 64 bits."""
    return (number - INT64_MIN) % (1 << 64) + INT64_MIN


def as_read(value):
    """A JSON value as the server's parser represents it: integers that exceed 64 bits become reals."""
    if isinstance(value, dict):
        return {name: as_read(member) for name, member in value.items()}
    if isinstance(value, list):
        return [as_read(element) for element in value]
    if isinstance(value, int) and not isinstance(value, bool) and not INT64_MIN <= value <= UINT64_MAX:
        return float(value)
    return value


def name_order(name):
    """Maps are sorted by UTF-16 code units."""
    return name.encode("utf-16-be")


def shown(key):
    """Key bytes as the text that a reply contains."""
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
