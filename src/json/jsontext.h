#ifndef QUORVA_JSON_JSONTEXT_H
#define QUORVA_JSON_JSONTEXT_H

#include "json/byteappender.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QLatin1StringView>
#include <QMetaType>

/**
 * JSON that travels as text: values that are only passed on, without a tree, and the objects and arrays made of them.
 * Any thread.
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

/** Sets the comma that the next element needs; the caller then appends its text. */
void beginElement(QByteArray* elements);

/**
 * Writes objects and arrays from pieces of text, and sets braces, brackets, commas and colons. It knows no tree and
 * checks nothing: the caller ends what it began, gives each member a name and a value, and passes JSON. Used by one
 * thread.
 */
class TextWriter {
public:
    /** Appends to `front`, to which no comma is due, with space for `room` bytes ahead. */
    explicit TextWriter(QByteArray front = {}, qsizetype room = UsualRoom) : out_(std::move(front), room) {}

    /** The text. The writer is of no more use. */
    [[nodiscard]] QByteArray take() { return out_.take(); }

    void beginObject() { begin('{'); }
    void endObject() { end('}'); }
    void beginArray() { begin('['); }
    void endArray() { end(']'); }

    /** The name of the next member: ASCII of which JSON escapes nothing. */
    void name(QLatin1StringView plain)
    {
        char* to = piece(plain.size() + 3, false);
        *to++ = '"';
        to = std::copy(plain.begin(), plain.end(), to);
        *to++ = '"';
        *to = ':';
    }

    /** The same for a name with its quotes and escapes. */
    void nameText(QByteArrayView json) { *std::copy(json.begin(), json.end(), piece(json.size() + 1, false)) = ':'; }

    /** A value; or one or more elements of an array or members of an object, with the commas between them. */
    void put(QByteArrayView json) { std::copy(json.begin(), json.end(), piece(json.size(), true)); }

    /** Latin-1 bytes as a string. As a byte array in a tree does, it ends before the first zero byte. */
    void putLatin1(QByteArrayView bytes);

private:
    static constexpr qsizetype UsualRoom = 512;

    /** Memory for a piece of `length` bytes, behind the comma that it needs. `endsValue`: the next piece needs one. */
    char* piece(qsizetype length, bool endsValue)
    {
        if (std::exchange(needsComma_, endsValue))
            out_.put(',');
        return out_.advance(length);
    }

    void begin(char bracket) { *piece(1, false) = bracket; }

    void end(char bracket)
    {
        out_.put(bracket);
        needsComma_ = true;
    }

    ByteAppender out_;
    bool needsComma_ = false;
};

} // namespace Json

#endif
