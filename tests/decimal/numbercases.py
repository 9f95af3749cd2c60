"""Prints random pairs of numbers with the results of decimal arithmetic, one pair per line:

    A B canonical-A canonical-B order sum difference

What is no number of 38 digits in range is "digits", "overflow" or "underflow".
"""

import decimal
import random
import sys

CONTEXT = decimal.Context(prec=400, Emax=9999, Emin=-9999)  # exact for all of these


def canonical(value):
    """The text of an exact result."""
    if value == 0:
        return "0"
    if value.adjusted() > 125:
        return "overflow"
    if value.adjusted() < -130:
        return "underflow"
    value = CONTEXT.normalize(value)
    return format(value, "f") if len(value.as_tuple().digits) <= 38 else "digits"


def some_exponent(source):
    return source.choice([0, 0, 1, -1, source.randint(-5, 5), source.randint(-40, 40), source.randint(-168, 125),
                          125, 124, -130, -131])


def some_number(source):
    digits = source.choice([1, 1, 2, 3, 10, 37, 38, 38, source.randint(1, 39)])
    coefficient = source.choice([source.randrange(10**digits), 10**digits - 1, 10 ** (digits - 1), 0])
    text = str(coefficient)
    if source.random() < 0.4:  # a point in it, or before or after it
        place = source.randint(0, len(text))
        text = text[:place] + "." + text[place:]
    if source.random() < 0.1:
        text = "0" * source.randint(1, 3) + text
    exponent = some_exponent(source)
    if exponent != 0:
        text += source.choice("eE") + (source.choice(["", "+"]) if exponent > 0 else "") + str(exponent)
    return source.choice(["", "", "-", "-", "+"]) + text


def some_pair(source):
    a = some_number(source)
    b = source.choice([some_number, lambda source: a, lambda source: "-" + a.lstrip("+-")])(source)
    if source.random() < 0.3:  # nearly the same: the first digits cancel
        value = decimal.Decimal(a)
        b = str(CONTEXT.add(value, decimal.Decimal(source.randint(-9, 9)).scaleb(value.as_tuple().exponent, CONTEXT)))
    return a, b


def main():
    source = random.Random(int(sys.argv[1]))
    for _ in range(int(sys.argv[2])):
        a, b = some_pair(source)
        left, right = decimal.Decimal(a), decimal.Decimal(b)
        print(a, b, canonical(left), canonical(right), (left > right) - (left < right),
              canonical(CONTEXT.add(left, right)), canonical(CONTEXT.subtract(left, right)))


main()
