#include "json/usualreader.h"

#include "json/canonicaltext.h"
#include "json/jsoncharacters.h"
#include "json/jsonreader.h"
#include "json/stringdecoder.h"

#include <charconv>
#include <map>
#include <utility>

namespace Json {

namespace {

/**
 * Reads usual text. Each function starts at the cursor, moves it past what it has read, and returns false if it leaves
 * the text to the parser. Used by one thread, for one text.
 */
class UsualReader {
public:
    explicit UsualReader(const QByteArray& text) : text_(text), cursor_(text.cbegin()), end_(text.cend()) {}

    bool read(MemberPath splitPath, QVariant* value)
    {
        if (!readValue(0, splitPath, value))
            return false;
        skipBlanks();
        return cursor_ == end_;
    }

private:
    static constexpr int SafeDigits = 18; // an integer with this many fits into 64 bits
    static constexpr int DepthLimit = 16; // it recurses

    bool readValue(int depth, MemberPath splitPath, QVariant* value)
    {
        skipBlanks();
        if (cursor_ == end_)
            return false;
        switch (*cursor_) {
        case '"': {
            QString text;
            if (!readString(&text))
                return false;
            *value = std::move(text);
            return true;
        }
        case '{':
            return depth < DepthLimit && readObject(depth, splitPath, value);
        case '[':
            return depth < DepthLimit && readArray(depth, splitPath, value);
        case 't':
            *value = true;
            return readWord("true");
        case 'f':
            *value = false;
            return readWord("false");
        case 'n':
            *value = QVariant();
            return readWord("null");
        default:
            return readInteger(value);
        }
    }

    bool readObject(int depth, MemberPath splitPath, QVariant* value)
    {
        std::map<QString, QVariant> members;
        ++cursor_;
        skipBlanks();
        if (!take('}')) {
            do {
                skipBlanks();
                QString name;
                if (cursor_ == end_ || *cursor_ != '"' || !readString(&name))
                    return false;
                skipBlanks();
                if (!take(':'))
                    return false;
                QVariant member;
                if (!readMember(depth, splitPath, name, &member))
                    return false;
                // The last of two equal names wins. Most texts have their names in ascending order.
                members.insert_or_assign(members.cend(), std::move(name), std::move(member));
                skipBlanks();
            } while (take(','));
            if (!take('}'))
                return false;
        }
        *value = QVariantMap(std::move(members));
        return true;
    }

    bool readMember(int depth, MemberPath splitPath, const QString& name, QVariant* value)
    {
        const bool isOnPath =
            !splitPath.empty() && (splitPath.front() == nullptr || name == QLatin1StringView(splitPath.front()));
        if (!isOnPath)
            return readValue(depth + 1, {}, value);
        return (splitPath.size() == 1 && split(value)) || readValue(depth + 1, splitPath.subspan(1), value);
    }

    /** A canonical object. When it is anything else, the cursor stays. */
    bool split(QVariant* value)
    {
        skipBlanks();
        QVariant split(QMetaType::fromType<SplitObject>());
        auto* const object = static_cast<SplitObject*>(split.data()); // filled in place: it is not copied
        const qsizetype length = splitLeadingObject({cursor_, end_}, &object->members);
        if (length == 0)
            return false;
        object->owner = text_;
        object->text = {cursor_, length};
        cursor_ += length;
        *value = std::move(split);
        return true;
    }

    bool readArray(int depth, MemberPath splitPath, QVariant* value)
    {
        const MemberPath ofElements =
            !splitPath.empty() && splitPath.front() == nullptr ? splitPath.subspan(1) : MemberPath();
        QVariantList elements;
        ++cursor_;
        skipBlanks();
        if (!take(']')) {
            do {
                QVariant element;
                if (!readValue(depth + 1, ofElements, &element))
                    return false;
                elements.append(std::move(element));
                skipBlanks();
            } while (take(','));
            if (!take(']'))
                return false;
        }
        *value = elements;
        return true;
    }

    bool readString(QString* text)
    {
        const char* const begin = ++cursor_;
        cursor_ += Plain::count<Plain::Bytes::Plain>(cursor_, end_);
        if (take('"')) {
            *text = StringDecoder::decodeAscii({begin, cursor_ - 1});
            return true;
        }
        cursor_ += Plain::count<Plain::Bytes::Literal>(cursor_, end_);
        if (!take('"'))
            return false;
        bool isBroken = false;
        *text = decoder_.decode({begin, cursor_ - 1}, &isBroken);
        return !isBroken;
    }

    bool readInteger(QVariant* value)
    {
        const char* const begin = cursor_;
        const bool isNegative = take('-');
        const char* const digits = cursor_;
        while (cursor_ != end_ && *cursor_ >= '0' && *cursor_ <= '9')
            ++cursor_;
        const auto count = cursor_ - digits;
        if (count == 0 || count > SafeDigits || (*digits == '0' && (count > 1 || isNegative)))
            return false;
        qlonglong number = 0;
        std::from_chars(begin, cursor_, number);
        *value = number;
        return true;
    }

    bool readWord(QByteArrayView expected)
    {
        if (!QByteArrayView(cursor_, end_).startsWith(expected))
            return false;
        cursor_ += expected.size();
        return true;
    }

    bool take(char c)
    {
        if (cursor_ == end_ || *cursor_ != c)
            return false;
        ++cursor_;
        return true;
    }

    void skipBlanks()
    {
        while (cursor_ != end_ && (*cursor_ == ' ' || *cursor_ == '\n' || *cursor_ == '\r' || *cursor_ == '\t'))
            ++cursor_;
    }

    const QByteArray& text_;
    const char* cursor_;
    const char* const end_;
    StringDecoder decoder_;
};

} // namespace

bool parseUsual(const QByteArray& text, QVariant* value, MemberPath splitPath)
{
    QVariant read;
    if (!UsualReader(text).read(splitPath, &read))
        return parse(text, value);
    *value = std::move(read);
    return true;
}

} // namespace Json
