#ifndef QUORVA_JSON_JSONTEXT_H
#define QUORVA_JSON_JSONTEXT_H

#include <QByteArray>
#include <QByteArrayView>
#include <QMetaType>
#include <QString>

#include <algorithm>
#include <vector>

/**
 * JSON that travels as text, for values that only pass through: no tree is built for them. Any thread.
 */
namespace Json {

/** A value of a tree that is JSON text already: `append` writes it as it stands. */
struct RawText {
    QByteArray text;
};

/** The same for an array: the text of its elements, joined by commas, which `append` writes in brackets. */
struct RawElements {
    QByteArray text;
};

/** One member of an object, both parts where they stand in the object's text. */
struct MemberText {
    QLatin1StringView name; // plain ASCII without escapes, so also the name itself
    QByteArrayView value;   // JSON; the members of a text follow each other with a comma in between
};

/**
 * Finds the members of an object, names ascending, without a tree. True only when `text` is, byte for byte, what
 * `append` writes for the tree that `parse` makes of it, so that any selection of its members can be copied instead of
 * being parsed and written. False says nothing: texts in another form, valid or not, and valid ones that are rare
 * (names that are not plain ASCII, numbers outside strings that are no short integers, deep nesting) are left to
 * `parse`. `members` then holds nothing of use.
 */
[[nodiscard]] bool splitObject(QByteArrayView text, std::vector<MemberText>* members);

/**
 * Makes `text` longer by `length` bytes that are to be written, and returns the first of them. For text of many short
 * pieces, each of which would take `QByteArray::append` longer than the copying.
 */
inline char* extend(QByteArray* text, qsizetype length)
{
    const qsizetype before = text->size();
    if (before + length > text->capacity())
        text->reserve(before + std::max(before, length));
    text->resize(before + length);
    return text->data() + before;
}

/** Appends Latin-1 bytes as a JSON string. Like a byte array in a tree, it ends before the first zero byte. */
void appendLatin1(QByteArrayView bytes, QByteArray* out);

} // namespace Json

#endif
