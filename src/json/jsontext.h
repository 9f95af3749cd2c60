#ifndef QUORVA_JSON_JSONTEXT_H
#define QUORVA_JSON_JSONTEXT_H

#include "json/byteappender.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QLatin1StringView>
#include <QMetaType>

#include <algorithm>
#include <utility>

/**
 * JSON that remains text: values that are only passed on, without a tree, and objects and arrays composed of them. Any
 * thread.
 */
namespace Json {

/** A value in a tree that is already JSON text: `append` copies it. */
struct RawText {
    QByteArray text;
};

/** The same for an array: the text of its elements, separated by commas; `append` adds the brackets. */
struct RawElements {
    QByteArray text;
};

} // namespace Json

// Variants then hold them without a further allocation.
Q_DECLARE_TYPEINFO(Json::RawText, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(Json::RawElements, Q_RELOCATABLE_TYPE);

namespace Json {

/**
 * Registers the types above and SplitObject with Qt. Qt would do so when each is first used, under a lock that
 * ThreadSanitizer does not see. Call it before there are threads.
 */
void registerTypes();

/** Adds a comma if the next element, which the caller then appends, must be preceded by one. */
void beginElement(QByteArray* elements);

/**
 * Composes objects and arrays from pieces of text, adding braces, brackets, commas and colons. It checks nothing: the
 * caller ends what it begins, gives each member a name and one value, and passes valid JSON. Used by one thread.
 */
class TextWriter {
public:
    /** Appends to `front`, without a comma at first, and reserves `room` more bytes. */
    explicit TextWriter(QByteArray front = {}, qsizetype room = ByteAppender::UsualRoom) : out_(std::move(front), room)
    {}

    /** Returns the text; the writer must not be used any more. */
    [[nodiscard]] QByteArray take() { return out_.take(); }

    void beginObject() { begin('{'); }
    void endObject() { end('}'); }
    void beginArray() { begin('['); }
    void endArray() { end(']'); }

    /** The name of the next member, in ASCII that needs no escapes. */
    void name(QLatin1StringView plain)
    {
        char* to = piece(plain.size() + 3, false);
        *to++ = '"';
        to = std::copy(plain.begin(), plain.end(), to);
        *to++ = '"';
        *to = ':';
    }

    /** The same for a name that is already a JSON string. */
    void nameText(QByteArrayView json) { *std::copy(json.begin(), json.end(), piece(json.size() + 1, false)) = ':'; }

    /** A value; or one or more elements or members, with the commas between them. */
    void put(QByteArrayView json) { std::copy(json.begin(), json.end(), piece(json.size(), true)); }

    /** Latin-1 bytes as a string, which ends before the first zero byte, like a byte array in a tree. */
    void putLatin1(QByteArrayView bytes);

private:
    /** Space for a piece of `length` bytes, after a comma if it needs one. With `endsValue` the next one needs one. */
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
