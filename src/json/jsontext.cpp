#include "json/jsontext.h"

#include "json/jsonadapter.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

/** Integers of so many digits fit into 64 bits whatever the digits are. */
constexpr int SafeDigits = 18;

/** Attribute values take four levels; what is nested deeper is left to the parser. */
constexpr int MaxScanDepth = 16;

#if defined(__SSE2__)

/** How many of the bytes from `bytes` on, at most 16, stand for themselves in a string; all 16 are read. */
int plainBytes(const char* bytes)
{
    const __m128i text = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
    // Signed, so that what is not ASCII counts as below a blank, as control characters do.
    const __m128i special =
        _mm_or_si128(_mm_cmplt_epi8(text, _mm_set1_epi8(' ')),
                     _mm_or_si128(_mm_cmpeq_epi8(text, _mm_set1_epi8('"')), _mm_cmpeq_epi8(text, _mm_set1_epi8('\\'))));
    return std::countr_zero(static_cast<std::uint16_t>(_mm_movemask_epi8(special)));
}

#endif

/**
 * Walks over JSON in the form in which the writer leaves it. Each function starts at the cursor, leaves it behind what
 * it recognised, and is false when the text is anything else.
 */
class CanonicalScanner {
public:
    explicit CanonicalScanner(QByteArrayView text) : cursor_(text.begin()), end_(text.end()) {}

    bool atEnd() const { return cursor_ == end_; }

    /** An object; `member` is called with each name and value. */
    template <typename Member> bool object(int depth, Member&& member)
    {
        if (!take('{'))
            return false;
        if (take('}'))
            return true;
        QByteArrayView previous;
        for (bool first = true;; first = false) {
            QByteArrayView name;
            if (!plainName(&name) || !take(':'))
                return false;
            // Strictly ascending, so there are no equal names. Bytes of ASCII compare as the characters do.
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
    bool value(int depth)
    {
        if (atEnd())
            return false;
        switch (*cursor_) {
        case '"':
            return string();
        case '{':
            return depth < MaxScanDepth && object(depth + 1, [](QByteArrayView, QByteArrayView) {});
        case '[':
            return depth < MaxScanDepth && array(depth + 1);
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

    bool plainName(QByteArrayView* name)
    {
        if (!take('"'))
            return false;
        const char* begin = cursor_;
        skipPlain();
        *name = QByteArrayView(begin, cursor_);
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

    /** An escape of a character that needs one, in the spelling of the writer. */
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

    /** Passes the characters that stand for themselves: ASCII, no control character, quote or backslash. */
    void skipPlain()
    {
#if defined(__SSE2__)
        while (end_ - cursor_ >= 16) {
            const int plain = plainBytes(cursor_);
            cursor_ += plain;
            if (plain < 16)
                return;
        }
#endif
        while (cursor_ != end_ && static_cast<signed char>(*cursor_) >= 0x20 && *cursor_ != '"' && *cursor_ != '\\')
            ++cursor_;
    }

    const char* cursor_;
    const char* const end_;
};

} // namespace

namespace Json {

bool splitObject(QByteArrayView text, std::vector<MemberText>* members)
{
    members->clear();
    CanonicalScanner scanner(text);
    const bool isCanonical = scanner.object(0, [members](QByteArrayView name, QByteArrayView value) {
        members->push_back({QLatin1StringView(name.data(), name.size()), value});
    });
    return isCanonical && scanner.atEnd();
}

void appendLatin1(QByteArrayView bytes, QByteArray* out)
{
    const bool isPlain = std::all_of(bytes.begin(), bytes.end(), [](char c) {
        return static_cast<signed char>(c) >= 0x20 && c != '"' && c != '\\';
    });
    if (isPlain)
        out->append('"').append(bytes).append('"');
    else
        append(bytes.toByteArray(), out);
}

} // namespace Json
