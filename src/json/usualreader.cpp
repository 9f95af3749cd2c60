#include "json/usualreader.h"

#include "json/canonicaltext.h"
#include "json/jsonreader.h"
#include "json/stringdecoder.h"
#include "json/usualscanner.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <utility>

namespace Json {

namespace {

/** Builds trees of usual text, or leaves it to the parser. Used by one thread, for one text. */
class UsualReader : private UsualScanner {
public:
    /** `text` is a part of `owner`. */
    UsualReader(const QByteArray& owner, QByteArrayView text) : UsualScanner(text), owner_(owner) {}

    bool read(MemberPath splitPath, QVariant* value) { return readValue(0, splitPath, value) && isDone(); }

    bool readMembers(MemberPath splitPath, UsualMembers* members, QVariant* onPath)
    {
        skipBlanks();
        return !isAtEnd() && next() == '{' && forEach('}', [&] {
            UsualMember member;
            if (!readPlainName(&member.name) || !takeColon())
                return false;
            skipBlanks();
            const char* const begin = position();
            if (isOnPath(splitPath, member.name) ? !readOnPath(0, splitPath, onPath) : !passValue(1))
                return false;
            member.value = {begin, position()};
            members->append(member);
            return true;
        }) && isDone();
    }

private:
    bool readValue(int depth, MemberPath splitPath, QVariant* value)
    {
        skipBlanks();
        if (isAtEnd())
            return false;
        switch (next()) {
        case '"': {
            QString text;
            if (!readString(&text))
                return false;
            *value = text;
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

    /** A canonical object. For anything else, the cursor does not move. */
    bool split(QVariant* value)
    {
        skipBlanks();
        QVariant split(QMetaType::fromType<SplitObject>());
        auto* const object = static_cast<SplitObject*>(split.data()); // filled in place: it is not copied
        const qsizetype length = splitLeadingObject(rest(), &object->members);
        if (length == 0)
            return false;
        object->owner = owner_;
        object->text = {position(), length};
        skip(length);
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
        return takeLiteralString(&content) && decode(content, text);
    }

    bool readPlainName(QLatin1StringView* name)
    {
        QByteArrayView content;
        if (!takePlainString(&content))
            return false;
        *name = QLatin1StringView(content);
        return true;
    }

    bool readScalar(QVariant* value)
    {
        const char* const begin = position();
        if (!takeScalar())
            return false;
        switch (*begin) {
        case 't':
        case 'f':
            *value = *begin == 't';
            return true;
        case 'n':
            *value = QVariant();
            return true;
        default:
            qlonglong number = 0;
            std::from_chars(begin, position(), number);
            *value = number;
            return true;
        }
    }

    const QByteArray& owner_;
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
