#include "json/jsonwriter.h"

#include "base/jsonmemory.h"
#include "json/byteappender.h"
#include "json/canonicaltext.h"
#include "json/jsoncharacters.h"
#include "json/jsonnumber.h"
#include "json/jsontext.h"

#include <rapidjson/writer.h>

#include <QList>
#include <QString>
#include <QStringList>

#include <algorithm>
#include <cmath>
#include <string_view>

namespace Json {

namespace {

/** The output stream of the library's writer. */
class ArrayStream : public ByteAppender {
public:
    using Ch = char;
    using ByteAppender::ByteAppender;

    void Put(char c) { put(c); }
    void Flush() {}

    /** Writes a string with its quotes if all of it is plain. Otherwise writes nothing and returns false. */
    bool putPlainString(QStringView text)
    {
        char* const to = room(text.size() + 2);
        if (!Plain::copyPlain(text, to + 1))
            return false;
        *to = '"';
        to[text.size() + 1] = '"';
        advance(text.size() + 2);
        return true;
    }
};

// The library's writer finds these by argument-dependent lookup.
void PutReserve(ArrayStream&, std::size_t) {}

void PutUnsafe(ArrayStream& out, char c)
{
    out.Put(c);
}

/** UTF-16 as in a QString: a lone surrogate, which UTF-8 cannot express, becomes the replacement character. */
struct LenientUtf16 : rapidjson::UTF16<char16_t> {
    template <typename InputStream> static bool Decode(InputStream& in, unsigned* codepoint)
    {
        const char16_t unit = in.Take();
        *codepoint = unit;
        if (!QChar::isSurrogate(unit))
            return true;
        if (QChar::isHighSurrogate(unit) && QChar::isLowSurrogate(in.Peek()))
            *codepoint = QChar::surrogateToUcs4(unit, in.Take());
        else
            *codepoint = QChar::ReplacementCharacter;
        return true;
    }
};

template <typename T> const T& held(const QVariant& value)
{
    return *static_cast<const T*>(value.constData());
}

/** Writes trees. It recurses, as the destructor of a tree does, so it handles any tree that can exist. */
class TreeWriter : private rapidjson::Writer<ArrayStream, LenientUtf16, rapidjson::UTF8<>, Base::JsonMemory> {
public:
    explicit TreeWriter(ArrayStream& out) : Writer(out) {}

    void write(const QVariant& value)
    {
        switch (value.typeId()) {
        case QMetaType::UnknownType:
        case QMetaType::Nullptr:
            Null();
            return;
        case QMetaType::Bool:
            Bool(value.toBool());
            return;
        case QMetaType::Char:
        case QMetaType::SChar:
        case QMetaType::Short:
        case QMetaType::Int:
        case QMetaType::Long:
        case QMetaType::LongLong:
            Int64(value.toLongLong());
            return;
        case QMetaType::UChar:
        case QMetaType::UShort:
        case QMetaType::UInt:
        case QMetaType::ULong:
        case QMetaType::ULongLong:
            Uint64(value.toULongLong());
            return;
        case QMetaType::Float:
        case QMetaType::Double:
            writeDouble(value.toDouble());
            return;
        case QMetaType::QString:
            writeString(held<QString>(value));
            return;
        case QMetaType::QByteArray:
            writeBytes(held<QByteArray>(value));
            return;
        case QMetaType::QStringList:
            writeList(held<QStringList>(value), [this](const QString& text) { writeString(text); });
            return;
        case QMetaType::QVariantList:
            writeList(held<QVariantList>(value), [this](const QVariant& element) { write(element); });
            return;
        case QMetaType::QVariantMap:
            writeMap(held<QVariantMap>(value));
            return;
        case QMetaType::QVariantHash:
            writeMap(sorted(held<QVariantHash>(value)));
            return;
        default:
            writeOther(value);
        }
    }

private:
    void writeDouble(double number)
    {
        if (!std::isfinite(number)) {
            Null();
            return;
        }
        DoubleText buffer;
        writeText(shortestText(number, &buffer), rapidjson::kNumberType);
    }

    void writeString(const QString& text)
    {
        Prefix(rapidjson::kStringType);
        if (!os_->putPlainString(text)) {
            // The decoder looks one unit past a high surrogate, and only a copy is sure to have a terminator there.
            writeUnits(text.back().isHighSurrogate() ? QString(text.constData(), text.size()) : text);
        }
        EndValue(true);
    }

    void writeUnits(QStringView text) { WriteString(text.utf16(), static_cast<rapidjson::SizeType>(text.size())); }

    void writeBytes(const QByteArray& bytes)
    {
        // Kept: a byte array ends before its first zero byte. Key bytes and sums carry a terminator that clients must
        // not see.
        const auto length = static_cast<qsizetype>(qstrnlen(bytes.constData(), bytes.size()));
        writeString(QString::fromLatin1(bytes.constData(), length));
    }

    template <typename List, typename WriteElement> void writeList(const List& list, WriteElement writeElement)
    {
        StartArray();
        for (const auto& element : list)
            writeElement(element);
        EndArray();
    }

    void writeMap(const QVariantMap& map)
    {
        StartObject();
        for (auto member = map.cbegin(); member != map.cend(); ++member) {
            writeString(member.key());
            write(member.value());
        }
        EndObject();
    }

    static QVariantMap sorted(const QVariantHash& hash)
    {
        QVariantMap map;
        for (auto member = hash.cbegin(); member != hash.cend(); ++member)
            map.insert(member.key(), member.value());
        return map;
    }

    void writeText(QByteArrayView text, rapidjson::Type type)
    {
        Prefix(type);
        os_->put(text);
        EndValue(true);
    }

    void writeElements(QByteArrayView elements)
    {
        StartArray();
        os_->put(elements);
        EndArray();
    }

    void writeOther(const QVariant& value)
    {
        if (value.metaType() == QMetaType::fromType<RawText>())
            writeText(held<RawText>(value).text, rapidjson::kObjectType); // any type other than a name
        else if (value.metaType() == QMetaType::fromType<SplitObject>())
            writeText(held<SplitObject>(value).text, rapidjson::kObjectType);
        else if (value.metaType() == QMetaType::fromType<RawElements>())
            writeElements(held<RawElements>(value).text);
        else if (value.canConvert<QString>())
            writeString(value.toString());
        else
            Null();
    }
};

/** Enough for most trees: for the members that are already text, and a little more. */
qsizetype usualRoom(const QVariant& value)
{
    qsizetype room = ByteAppender::UsualRoom;
    if (value.typeId() != QMetaType::QVariantMap)
        return room;
    for (const QVariant& member : held<QVariantMap>(value)) {
        if (member.metaType() == QMetaType::fromType<RawText>())
            room += held<RawText>(member).text.size();
        else if (member.metaType() == QMetaType::fromType<RawElements>())
            room += held<RawElements>(member).text.size();
    }
    return room;
}

} // namespace

void append(const QVariant& value, QByteArray* out)
{
    ArrayStream stream(std::move(*out), usualRoom(value));
    TreeWriter(stream).write(value);
    *out = stream.take();
}

QByteArray serialize(const QVariant& value)
{
    QByteArray text;
    append(value, &text);
    return text;
}

} // namespace Json
