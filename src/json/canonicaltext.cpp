#include "json/canonicaltext.h"

#include "json/textcursor.h"

#include <cstring>
#include <string_view>

namespace Json {

namespace {

/**
 * Scans canonical JSON: text as `append` writes it. Each function starts at the cursor, moves it past what it
 * recognises, and returns false if the text is anything else. Used by one thread.
 */
class CanonicalScanner : private TextCursor {
public:
    explicit CanonicalScanner(QByteArrayView text) : TextCursor(text) {}

    using TextCursor::position;

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
            const char* begin = position();
            if (!value(depth))
                return false;
            member(name, QByteArrayView(begin, position()));
            if (take('}'))
                return true;
            if (!take(','))
                return false;
        }
    }

private:
    static constexpr int DepthLimit = 16; // stored items nest three deep; deeper text is left to the parser

    bool value(int depth)
    {
        if (isAtEnd())
            return false;
        switch (next()) {
        case '"':
            return string();
        case '{':
            return depth < DepthLimit && object(depth + 1, [](std::string_view, QByteArrayView) {});
        case '[':
            return depth < DepthLimit && array(depth + 1);
        default:
            return takeScalar();
        }
    }

    bool array(int depth)
    {
        skip(1);
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
        const char* begin = position();
        skipAll<Plain::Bytes::Plain>();
        *name = {begin, static_cast<std::size_t>(position() - begin)};
        return take('"');
    }

    bool string()
    {
        skip(1);
        const char* begin = position();
        bool ascii = true;
        for (;;) {
            skipAll<Plain::Bytes::Plain>();
            if (isAtEnd())
                return false;
            const auto c = static_cast<unsigned char>(next());
            if (c >= 0x80) {
                ascii = false;
                skip(1);
            } else if (c == '\\') {
                if (!escape())
                    return false;
            } else if (c == '"') {
                const QByteArrayView content(begin, position());
                skip(1);
                return ascii || content.isValidUtf8();
            } else {
                return false; // a control character
            }
        }
    }

    /** An escape that the writer would use, in its spelling. */
    bool escape()
    {
        skip(1);
        if (isAtEnd())
            return false;
        const char kind = next();
        skip(1);
        if (kind != 'u')
            return std::strchr("\"\\bfnrt", kind) != nullptr && kind != '\0';
        const QByteArrayView digits = rest();
        if (digits.size() < 4 || !digits.startsWith("00") || (digits[2] != '0' && digits[2] != '1'))
            return false;
        const char low = digits[3];
        if (!((low >= '0' && low <= '9') || (low >= 'A' && low <= 'F')))
            return false;
        const bool hasShortForm = digits[2] == '0' && std::strchr("89ACD", low) != nullptr;
        skip(4);
        return !hasShortForm;
    }
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
    return isCanonical ? scanner.position() - text.begin() : 0;
}

bool splitObject(QByteArrayView text, std::vector<MemberText>* members)
{
    return !text.isEmpty() && splitLeadingObject(text, members) == text.size();
}

bool isCanonicalObject(QByteArrayView text)
{
    CanonicalScanner scanner(text);
    return scanner.object(0, [](std::string_view, QByteArrayView) {}) && scanner.position() == text.end();
}

} // namespace Json
