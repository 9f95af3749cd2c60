#include "tools/decimal.h"

#include <algorithm>
#include <limits>

namespace Decimals {

namespace {

/** 0.DIGITS times 10 to the power of `exponent`; the first digit is not 0, nor is the last one. 0 has no digits. */
struct Parts {
    bool isNegative = false;
    QString digits;
    long long exponent = 0;
};

long long exponentOf(const QString& text)
{
    // Far beyond the number of digits that a text can have; small enough that adding that number cannot overflow.
    constexpr long long Most = std::numeric_limits<long long>::max() / 2;
    bool fits = false;
    const long long exponent = text.toLongLong(&fits);
    if (fits)
        return std::clamp(exponent, -Most, Most);
    return text.startsWith(u'-') ? -Most : Most;
}

Parts split(const QString& text)
{
    Parts parts;
    parts.isNegative = text.startsWith(u'-');
    const qsizetype begin = text.startsWith(u'-') || text.startsWith(u'+') ? 1 : 0;
    const qsizetype e = std::max(text.indexOf(u'e'), text.indexOf(u'E'));
    const QString mantissa = text.mid(begin, (e < 0 ? text.size() : e) - begin);
    const qsizetype point = mantissa.indexOf(u'.');
    parts.digits = mantissa;
    parts.digits.remove(u'.');
    parts.exponent = (e < 0 ? 0 : exponentOf(text.mid(e + 1))) + (point < 0 ? mantissa.size() : point);
    while (parts.digits.startsWith(u'0')) {
        parts.digits.remove(0, 1);
        --parts.exponent;
    }
    while (parts.digits.endsWith(u'0'))
        parts.digits.chop(1);
    return parts;
}

int sign(const Parts& parts)
{
    if (parts.digits.isEmpty())
        return 0;
    return parts.isNegative ? -1 : 1;
}

} // namespace

int compare(const QString& a, const QString& b)
{
    const Parts left = split(a);
    const Parts right = split(b);
    if (sign(left) != sign(right) || sign(left) == 0)
        return sign(left) - sign(right);
    if (left.exponent != right.exponent)
        return left.exponent < right.exponent ? -sign(left) : sign(left);
    const int order = left.digits.compare(right.digits);
    return order == 0 ? 0 : (order < 0 ? -sign(left) : sign(left));
}

} // namespace Decimals
