#ifndef QUORVA_JSON_USUALREADER_H
#define QUORVA_JSON_USUALREADER_H

#include <QByteArray>
#include <QByteArrayView>
#include <QLatin1StringView>
#include <QVarLengthArray>
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

/** A member of an object in usual text; both parts point into it. */
struct UsualMember {
    QLatin1StringView name; // plain ASCII without escapes, so also the name itself
    QByteArrayView value;   // JSON, without white space around it
};

using UsualMembers = QVarLengthArray<UsualMember, 8>;

/**
 * Finds the members of an object in the order of the text, without a tree. True only if parseUsual reads `text` by
 * itself, and the names are plain. False proves nothing; `members` is then of no use.
 *
 * A member that begins `splitPath` is also read, as by parseUsual, into `onPath`; the last one if there are several.
 * SplitObjects in it share `owner`, which `text` is a part of.
 */
[[nodiscard]] bool findUsualMembers(const QByteArray& owner, QByteArrayView text, UsualMembers* members,
                                    MemberPath splitPath = {}, QVariant* onPath = nullptr);

/** The last member with this name, whose value is the object's; null if there is none. */
const UsualMember* findMember(const UsualMembers& members, QLatin1StringView name);

/** The tree of a member's value, as in the tree that parseUsual builds. */
QVariant usualValue(const QByteArray& owner, QByteArrayView value);

/** True for the text of a string of plain ASCII; `content` is then what is between its quotes, the string itself. */
[[nodiscard]] bool isPlainString(QByteArrayView value, QByteArrayView* content);

} // namespace Json

#endif
