#ifndef QUORVA_JSON_USUALREADER_H
#define QUORVA_JSON_USUALREADER_H

#include <QByteArray>
#include <QVariant>

#include <span>

/** A fast reader for the JSON of requests and items. Any thread. */
namespace Json {

/**
 * The path to an object that is only passed on: the names that lead to it, outermost first. Null stands for any name,
 * and for the elements of an array.
 */
using MemberPath = std::span<const char* const>;

/**
 * Does what `parse` does, several times as fast for usual text: a few levels deep, without escapes and without numbers
 * other than short integers. Any other text, valid or not, is left to `parse`.
 *
 * An object at `splitPath` becomes a SplitObject if it is canonical, whatever is around it; otherwise it is part of the
 * tree like all others.
 */
[[nodiscard]] bool parseUsual(const QByteArray& text, QVariant* value, MemberPath splitPath = {});

} // namespace Json

#endif
