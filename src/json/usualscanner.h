#ifndef QUORVA_JSON_USUALSCANNER_H
#define QUORVA_JSON_USUALSCANNER_H

#include "json/stringdecoder.h"
#include "json/textcursor.h"

#include <QByteArrayView>
#include <QString>

namespace Json {

/**
 * Passes usual text (json/usualreader.h) without building anything. Each function starts at the cursor, moves it past
 * what it has read, and returns false if the text is not usual. Used by one thread, for one text.
 */
class UsualScanner : protected TextCursor {
protected:
    using TextCursor::TextCursor;

    static constexpr int DepthLimit = 16; // it recurses

    bool passValue(int depth)
    {
        skipBlanks();
        if (isAtEnd())
            return false;
        switch (next()) {
        case '"':
            return passString();
        case '{':
            return depth < DepthLimit &&
                   forEach('}', [&] { return passString() && takeColon() && passValue(depth + 1); });
        case '[':
            return depth < DepthLimit && forEach(']', [&] { return passValue(depth + 1); });
        default:
            return takeScalar();
        }
    }

    /** Passes the brackets of an object or array; `element` passes one element or member. */
    template <typename Element> bool forEach(char closing, Element&& element)
    {
        skip(1);
        skipBlanks();
        if (take(closing))
            return true;
        do {
            skipBlanks();
            if (!element())
                return false;
            skipBlanks();
        } while (take(','));
        return take(closing);
    }

    bool passString()
    {
        QByteArrayView content;
        QString ignored;
        return takePlainString(&content) || (takeLiteralString(&content) && decode(content, &ignored));
    }

    /** False if the bytes are not UTF-8. */
    bool decode(QByteArrayView content, QString* text)
    {
        bool isBroken = false;
        *text = decoder_.decode(content, &isBroken);
        return !isBroken;
    }

    bool takeColon()
    {
        skipBlanks();
        return take(':');
    }

    /** True if there is nothing else in the text. */
    bool isDone()
    {
        skipBlanks();
        return isAtEnd();
    }

private:
    StringDecoder decoder_;
};

} // namespace Json

#endif
