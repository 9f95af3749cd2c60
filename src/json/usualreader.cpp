#include "json/usualreader.h"

#include "json/canonicaltext.h"
#include "json/jsoncharacters.h"
#include "json/jsonreader.h"
#include "json/stringdecoder.h"

#include <algorithm>
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
    /** `text` is a part of `owner`. */
    UsualReader(const QByteArray& owner, QByteArrayView text) : owner_(owner), cursor_(text.begin()), end_(text.end())
    {}

    bool read(MemberPath splitPath, QVariant* value) { return readValue(0, splitPath, value) && isAtEnd(); }

    bool readMembers(MemberPath splitPath, UsualMembers* members, QVariant* onPath)
    {
        skipBlanks();
        return cursor_ != end_ && *cursor_ == '{' &&
               forEach('}',
                       [&] {
                           UsualMember member;
                           if (!readPlainName(&member.name) || !takeColon())
                               return false;
                           skipBlanks();
                           const char* const begin = cursor_;
                           if (isOnPath(splitPath, member.name) ? !readOnPath(0, splitPath, onPath) : !pass(1))
                               return false;
                           member.value = {begin, cursor_};
                           members->append(member);
                           return true;
                       }) &&
               isAtEnd();
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
        default:
            return readScalar(value);
        }
    }

    /** Passes a value that readValue would read. */
    bool pass(int depth)
    {
        skipBlanks();
        if (cursor_ == end_)
            return false;
        switch (*cursor_) {
        case '"':
            return passString();
        case '{':
            return depth < DepthLimit && forEach('}', [&] { return passString() && takeColon() && pass(depth + 1); });
        case '[':
            return depth < DepthLimit && forEach(']', [&] { return pass(depth + 1); });
        default: {
            QVariant ignored;
            return readScalar(&ignored);
        }
        }
    }

    /** Reads what is between the brackets of an object or array, of which `read` reads one element or member. */
    template <typename Read> bool forEach(char closing, Read&& read)
    {
        ++cursor_;
        skipBlanks();
        if (take(closing))
            return true;
        do {
            skipBlanks();
            if (!read())
                return false;
            skipBlanks();
        } while (take(','));
        return take(closing);
    }

    bool readObject(int depth, MemberPath splitPath, QVariant* value)
    {
        std::map<QString, QVariant> members;
        const bool isRead = forEach('}', [&] {
            QString name;
            QVariant member;
            if (!readString(&name) || !takeColon())
                return false;
            if (isOnPath(splitPath, name) ? !readOnPath(depth, splitPath, &member) : !readValue(depth + 1, {}, &member))
                return false;
            // The last of two equal names wins. Most texts have their names in ascending order.
            members.insert_or_assign(members.cend(), std::move(name), std::move(member));
            return true;
        });
        *value = QVariantMap(std::move(members));
        return isRead;
    }

    template <typename Name> static bool isOnPath(MemberPath splitPath, const Name& name)
    {
        return !splitPath.empty() && (splitPath.front() == nullptr || name == QLatin1StringView(splitPath.front()));
    }

    /** The value of a member of an object at this depth whose name begins the path. */
    bool readOnPath(int depth, MemberPath splitPath, QVariant* value)
    {
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
        object->owner = owner_;
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
        const bool isRead = forEach(']', [&] {
            QVariant element;
            if (!readValue(depth + 1, ofElements, &element))
                return false;
            elements.append(std::move(element));
            return true;
        });
        *value = elements;
        return isRead;
    }

    bool readString(QString* text)
    {
        QByteArrayView content;
        if (takePlainString(&content)) {
            *text = StringDecoder::decodeAscii(content);
            return true;
        }
        return takeString(&content) && decode(content, text);
    }

    bool passString()
    {
        QByteArrayView content;
        QString ignored;
        return takePlainString(&content) || (takeString(&content) && decode(content, &ignored));
    }

    bool readPlainName(QLatin1StringView* name)
    {
        QByteArrayView content;
        if (!takePlainString(&content))
            return false;
        *name = QLatin1StringView(content);
        return true;
    }

    /** A string of plain ASCII; if there is anything else, the cursor stays. */
    bool takePlainString(QByteArrayView* content)
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
    bool takeString(QByteArrayView* content)
    {
        if (!take('"'))
            return false;
        const char* const begin = cursor_;
        cursor_ += Plain::count<Plain::Bytes::Literal>(cursor_, end_);
        *content = {begin, cursor_};
        return take('"');
    }

    bool decode(QByteArrayView content, QString* text)
    {
        bool isBroken = false;
        *text = decoder_.decode(content, &isBroken);
        return !isBroken;
    }

    bool readScalar(QVariant* value)
    {
        switch (*cursor_) {
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

    bool takeColon()
    {
        skipBlanks();
        return take(':');
    }

    bool isAtEnd()
    {
        skipBlanks();
        return cursor_ == end_;
    }

    void skipBlanks()
    {
        while (cursor_ != end_ && (*cursor_ == ' ' || *cursor_ == '\n' || *cursor_ == '\r' || *cursor_ == '\t'))
            ++cursor_;
    }

    const QByteArray& owner_;
    const char* cursor_;
    const char* const end_;
    StringDecoder decoder_;
};

} // namespace

bool parseUsual(const QByteArray& text, QVariant* value, MemberPath splitPath)
{
    QVariant read;
    if (!UsualReader(text, text).read(splitPath, &read))
        return parse(text, value);
    *value = std::move(read);
    return true;
}

bool findUsualMembers(const QByteArray& owner, QByteArrayView text, UsualMembers* members, MemberPath splitPath,
                      QVariant* onPath)
{
    members->clear();
    return UsualReader(owner, text).readMembers(splitPath, members, onPath);
}

const UsualMember* findMember(const UsualMembers& members, QLatin1StringView name)
{
    const auto found =
        std::find_if(members.rbegin(), members.rend(), [&](const UsualMember& member) { return member.name == name; });
    return found != members.rend() ? &*found : nullptr;
}

QVariant usualValue(const QByteArray& owner, QByteArrayView value)
{
    QVariant read;
    (void)UsualReader(owner, value).read({}, &read); // cannot fail: it has been passed
    return read;
}

bool isPlainString(QByteArrayView value, QByteArrayView* content)
{
    if (value.size() < 2 || value.front() != '"')
        return false;
    *content = value.sliced(1).chopped(1);
    return isPlain(*content);
}

} // namespace Json
