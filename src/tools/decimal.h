#ifndef QUORVA_TOOLS_DECIMAL_H
#define QUORVA_TOOLS_DECIMAL_H

#include <QString>

/** Exact comparison of numbers as text, which may have more digits than any built-in type. Pure. */
namespace Decimals {

/** Less than, equal to or greater than 0, as `a` is to `b`. Both are decimal numbers: "-17", "1.50", "2e-3". */
int compare(const QString& a, const QString& b);

} // namespace Decimals

#endif
