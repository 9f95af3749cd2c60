#ifndef QUORVA_JSON_CANONICALTEXT_H
#define QUORVA_JSON_CANONICALTEXT_H

#include <QByteArray>
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

/** The text of consecutive members, with the commas between them. */
inline QByteArrayView textOf(const MemberText* begin, const MemberText* end)
{
    return {begin->name.data() - 1, end[-1].value.end()}; // from the opening quote of the name
}

/**
 * Finds the members of an object, names ascending, without a tree. True only if `text` is, byte for byte, what `append`
 * writes for the tree that `parse` builds from it, so that any of its members can be copied instead of parsed and
 * written. False proves nothing: text in another form, valid or not, is left to `parse`, and so is valid text of a rare
 * kind (names that are not plain ASCII, numbers outside strings that are not short integers, deep nesting). `members`
 * is then unspecified.
 */
[[nodiscard]] bool splitObject(QByteArrayView text, std::vector<MemberText>* members);

/** The same for an object at the start of `text`, whatever follows it. Returns its length, or 0. */
[[nodiscard]] qsizetype splitLeadingObject(QByteArrayView text, std::vector<MemberText>* members);

/** The same without the members. */
[[nodiscard]] bool isCanonicalObject(QByteArrayView text);

/** A value in a tree that is a canonical object: `append` copies it. */
struct SplitObject {
    QByteArray owner; // of the bytes that the rest points to
    QByteArrayView text;
    std::vector<MemberText> members;
};

} // namespace Json

#endif
