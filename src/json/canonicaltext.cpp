#include "json/canonicaltext.h"

#include "json/jsoncharacters.h"

#include <cstring>
#include <string_view>

namespace Json {

namespace {

/**
 * Scans canonical JSON: text as `append` writes it. Each function starts at the cursor, moves it past what it
 * recognises, and returns false if the text is anything else. Used by one thread.
 */
class CanonicalScanner {
public:
    explicit CanonicalScanner(QByteArrayView text) : cursor_(text.begin()), end_(text.end()) {}

    const char* cursor() const { return cursor_; }

    /** An object; calls `member` with each name and value. */
    template <typename Member> bool object(int depth, Member&& member)
    {
        if (!take('{'))
            return false;
        if (take('}'))
            return true;
        std::string_view previous;
        for (bool first = true;; first = false) {
            std::string_view name;
            if (!plainName(&name) || !take(':'))
                return false;
            // Strictly ascending, so no two are equal. ASCII bytes compare as the characters do.
            if (!first && !(previous < name))
                return false;
            previous = name;
            const char* begin = cursor_;
            if (!value(depth))
                return false;
            member(name, QByteArrayView(begin, cursor_));
            if (take('}'))
                return true;
            if (!take(','))
                return false;
        }
    }

private:
    bool atEnd() const { return cursor_ == end_; }

    static constexpr int SafeDigits = 18; // an integer with this many fits into 64 bits
    static constexpr int DepthLimit = 16; // stored items nest three deep; deeper text is left to the parser

    bool value(int depth)
    {
        if (atEnd())
            return false;
        switch (*cursor_) {
        case '"':
            return string();
        case '{':
            return depth < DepthLimit && object(depth + 1, [](std::string_view, QByteArrayView) {});
        case '[':
            return depth < DepthLimit && array(depth + 1);
        case 't':
            return word("true");
        case 'f':
            return word("false");
        case 'n':
            return word("null");
        default:
            return integer();
        }
    }

    bool array(int depth)
    {
        ++cursor_;
        if (take(']'))
            return true;
        for (;;) {
            if (!value(depth))
                return false;
            if (take(']'))
                return true;
            if (!take(','))
                return false;
        }
    }

    bool plainName(std::string_view* name)
    {
        if (!take('"'))
            return false;
        const char* begin = cursor_;
        skipPlain();
        *name = {begin, static_cast<std::size_t>(cursor_ - begin)};
        return take('"');
    }

    bool string()
    {
        ++cursor_;
        const char* begin = cursor_;
        bool ascii = true;
        for (;;) {
            skipPlain();
            if (atEnd())
                return false;
            const auto c = static_cast<unsigned char>(*cursor_);
            if (c >= 0x80) {
                ascii = false;
                ++cursor_;
            } else if (c == '\\') {
                if (!escape())
                    return false;
            } else if (c == '"') {
                const QByteArrayView content(begin, cursor_);
                ++cursor_;
                return ascii || content.isValidUtf8();
            } else {
                return false; // a control character
            }
        }
    }

    /** An escape that the writer would use, in its spelling. */
    bool escape()
    {
        ++cursor_;
        if (atEnd())
            return false;
        const char kind = *cursor_++;
        if (kind != 'u')
            return std::strchr("\"\\bfnrt", kind) != nullptr && kind != '\0';
        if (end_ - cursor_ < 4 || cursor_[0] != '0' || cursor_[1] != '0' || (cursor_[2] != '0' && cursor_[2] != '1'))
            return false;
        const char low = cursor_[3];
        if (!((low >= '0' && low <= '9') || (low >= 'A' && low <= 'F')))
            return false;
        const bool hasShortForm = cursor_[2] == '0' && std::strchr("89ACD", low) != nullptr;
        cursor_ += 4;
        return !hasShortForm;
    }

    bool integer()
    {
        const bool negative = take('-');
        const char* begin = cursor_;
        while (!atEnd() && *cursor_ >= '0' && *cursor_ <= '9')
            ++cursor_;
        const auto digits = cursor_ - begin;
        if (digits == 0 || digits > SafeDigits)
            return false;
        return *begin != '0' || (digits == 1 && !negative);
    }

    bool word(QByteArrayView expected)
    {
        if (!QByteArrayView(cursor_, end_).startsWith(expected))
            return false;
        cursor_ += expected.size();
        return true;
    }

    bool take(char c)
    {
        if (atEnd() || *cursor_ != c)
            return false;
        ++cursor_;
        return true;
    }

    void skipPlain() { cursor_ += Plain::count<Plain::Bytes::Plain>(cursor_, end_); }

    const char* cursor_;
    const char* const end_;
};

} // namespace

qsizetype splitLeadingObject(QByteArrayView text, std::vector<MemberText>* members)
{
    constexpr std::size_t UsualMembers = 16;
    members->clear();
    members->reserve(UsualMembers);
    CanonicalScanner scanner(text);
    const bool isCanonical = scanner.object(0, [members](std::string_view name, QByteArrayView value) {
        members->push_back({QLatin1StringView(name.data(), static_cast<qsizetype>(name.size())), value});
    });
    return isCanonical ? scanner.cursor() - text.begin() : 0;
}

bool splitObject(QByteArrayView text, std::vector<MemberText>* members)
{
    return !text.isEmpty() && splitLeadingObject(text, members) == text.size();
}

bool isCanonicalObject(QByteArrayView text)
{
    CanonicalScanner scanner(text);
    return scanner.object(0, [](std::string_view, QByteArrayView) {}) && scanner.cursor() == text.end();
}

} // namespace Json
