#ifndef QUORVA_JSON_CANONICALTEXT_H
#define QUORVA_JSON_CANONICALTEXT_H

#include <QByteArrayView>
#include <QLatin1StringView>

#include <vector>

/** JSON text in the form in which `append` writes it. Any thread. */
namespace Json {

/** One member of an object; both parts point into the object's text. */
struct MemberText {
    QLatin1StringView name; // plain ASCII without escapes, so also the name itself
    QByteArrayView value;   // JSON; a comma separates it from the next member
};

/**
 * Finds the members of an object, names ascending, without a tree. True only if `text` is, byte for byte, what
 * `append` writes for the tree that `parse` builds from it, so that any of its members can be copied instead of parsed
 * and written. False proves nothing: text in another form, valid or not, is left to `parse`, and so is valid text of a
 * rare kind (names that are not plain ASCII, numbers outside strings that are not short integers, deep nesting).
 * `members` is then of no use.
 */
[[nodiscard]] bool splitObject(QByteArrayView text, std::vector<MemberText>* members);

} // namespace Json

#endif
