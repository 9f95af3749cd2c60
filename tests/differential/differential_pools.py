"""The values that random requests are made of: keys, attributes, operators and limits that are easy to get wrong."""

from differential_values import partition_of


def hash_in(partition, skip=0):
    """A hash key of a partition."""
    number = 0
    while True:
        hash_key = "k%d" % number
        if partition_of(hash_key.encode()) == partition:
            if skip == 0:
                return hash_key
            skip -= 1
        number += 1


# Prefixes of each other, digits that continue a length, bytes at both ends of the range, zero bytes.
HASHES = ["", "a", "aa", "a1", "0001a", "\x00", "a\x00", "a\x00b", "\xe9", "\xff", " ", "x" * 300]
HASHES += [hash_in(partition, skip) for partition, skip in ((0, 0), (0xFD, 0), (0xFE, 0), (0xFF, 0), (0xFF, 1))]
RANGES = ["", "a", "ab", "abc", "abd", "b", "\xe9", "\xff", "\xff\x01", "\xfe\xff", "\x00", "a\x00", "a\x00b", "z", "1"]
RANGES += ["10", "0001a", "\x7f", "\x80", "r" * 200]
FOREIGN_TEXTS = ["\u0394", "\u0100", "a\u20ac", "\U0001f600"]  # not Latin-1
ODD_VALUES = [None, True, False, 0, 5, -1, 2.5, "", "a", [], {}, ["a"], {"S": "a"}, {"N": "5"}, [{"S": "a"}], [None]]
NAMES = ["v", "v", "v", "v", "w", "w", "w", "x", "", "h", "r", "S", "\xe9", "\u0394", "V"]  # few, so that they collide
NUMBERS = ["0", "5", "-7", "010", "1.5", "", " 5 ", "+3", "9223372036854775807", "-9223372036854775808", "1e3", "abc"]
NUMBERS += ["9223372036854775808", "007", "-0"]
OPERATORS = ["EQ", "LE", "LT", "GE", "GT", "BEGINS_WITH", "BETWEEN"]
ODD_OPERATORS = ["NE", "IN", "CONTAINS", "NULL", "eq", "", None, 5]
RETURN_VALUES = ["NONE", "ALL_OLD", "ALL_NEW", "UPDATED_OLD", "UPDATED_NEW", "all_old", "", None, 5]
LIMITS = [1, 2, 3, 5, 10, 127, 128, 129, 1000, 0, -1, 2**31, 2**63 - 1, -(2**63), 2**64 - 1]
ODD_LIMITS = ["2", " 3 ", "x", "", 1.5, 2.5, -0.5, True, False, None, [], {}]
FLAGS = [True, False, True, False, 0, 1, "true", "false", "FALSE", "0", "", "x", None, 0.5, [], {}]
