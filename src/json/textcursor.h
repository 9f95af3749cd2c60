#ifndef QUORVA_JSON_TEXTCURSOR_H
#define QUORVA_JSON_TEXTCURSOR_H

#include "json/jsoncharacters.h"

#include <QByteArrayView>

namespace Json {

/**
 * A position in JSON text, moved token by token by readers that derive from it. Each `take` function moves past its
 * token and returns true, or returns false; then the position has not moved or, for integers and literal strings, is
 * anywhere in the token. Used by one thread. All inline, as readers spend most of their time here.
 */
class TextCursor {
protected:
    explicit TextCursor(QByteArrayView text) : cursor_(text.begin()), end_(text.end()) {}

    const char* position() const { return cursor_; }
    QByteArrayView rest() const { return {cursor_, end_}; }
    bool isAtEnd() const { return cursor_ == end_; }

    /** The next byte. Not at the end. */
    char next() const { return *cursor_; }

    void skip(qsizetype bytes) { cursor_ += bytes; }
    template <Plain::Bytes kind> void skipAll() { cursor_ += Plain::count<kind>(cursor_, end_); }

    void skipBlanks()
    {
        while (cursor_ != end_ && (*cursor_ == ' ' || *cursor_ == '\n' || *cursor_ == '\r' || *cursor_ == '\t'))
            ++cursor_;
    }

    [[nodiscard]] bool take(char c)
    {
        if (cursor_ == end_ || *cursor_ != c)
            return false;
        ++cursor_;
        return true;
    }

    [[nodiscard]] bool takeWord(QByteArrayView expected)
    {
        if (!rest().startsWith(expected))
            return false;
        cursor_ += expected.size();
        return true;
    }

    /** An integer as the writer spells it, short enough for 64 bits. */
    [[nodiscard]] bool takeInteger()
    {
        constexpr int SafeDigits = 18;
        const bool isNegative = take('-');
        const char* const digits = cursor_;
        while (cursor_ != end_ && *cursor_ >= '0' && *cursor_ <= '9')
            ++cursor_;
        const auto count = cursor_ - digits;
        return count > 0 && count <= SafeDigits && (*digits != '0' || (count == 1 && !isNegative));
    }

    /** True, false, null or an integer as above. Not at the end. */
    [[nodiscard]] bool takeScalar()
    {
        switch (next()) {
        case 't':
            return takeWord("true");
        case 'f':
            return takeWord("false");
        case 'n':
            return takeWord("null");
        default:
            return takeInteger();
        }
    }

    /** A string of plain ASCII; `content` is the text between its quotes. */
    [[nodiscard]] bool takePlainString(QByteArrayView* content)
    {
        if (cursor_ == end_ || *cursor_ != '"')
            return false;
        const char* const begin = cursor_ + 1;
        const char* const end = begin + Plain::count<Plain::Bytes::Plain>(begin, end_);
        if (end == end_ || *end != '"')
            return false;
        *content = {begin, end};
        cursor_ = end + 1;
        return true;
    }

    /** A string without escapes, which need not be UTF-8. */
    [[nodiscard]] bool takeLiteralString(QByteArrayView* content)
    {
        if (!take('"'))
            return false;
        const char* const begin = cursor_;
        skipAll<Plain::Bytes::Literal>();
        *content = {begin, cursor_};
        return take('"');
    }

private:
    const char* cursor_;
    const char* const end_;
};

} // namespace Json

#endif
