#include "json/jsonadapter.h"

#include "json/jsonnumber.h"
#include "json/jsontext.h"
#include "json/plaincharacters.h"

#include <rapidjson/error/en.h>
#include <rapidjson/reader.h>
#include <rapidjson/writer.h>

#include <QList>
#include <QString>
#include <QStringConverter>
#include <QStringList>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <map>
#include <optional>
#include <utility>
#include <vector>

namespace {

bool isAscii(QByteArrayView bytes)
{
    constexpr quint64 HighBits = 0x8080808080808080;
    quint64 block = 0;
    while (bytes.size() >= qsizetype(sizeof block)) {
        std::memcpy(&block, bytes.data(), sizeof block);
        if ((block & HighBits) != 0)
            return false;
        bytes = bytes.sliced(sizeof block);
    }
    return std::none_of(bytes.begin(), bytes.end(), [](char c) { return (c & 0x80) != 0; });
}

/** Text of one ASCII character, as the names of types are: all share one, and no memory is asked for. */
QString letter(char c)
{
    static constexpr auto Letters = [] {
        std::array<char16_t, 256> units{}; // each letter with a terminator
        for (std::size_t i = 0; i < units.size(); i += 2)
            units[i] = static_cast<char16_t>(i / 2);
        return units;
    }();
    return QString::fromRawData(reinterpret_cast<const QChar*>(&Letters[2 * static_cast<std::size_t>(c)]), 1);
}

/**
 * Builds the tree from the reader's events. Each open container is a frame of its own and moves into its parent when
 * it is complete: a container that is already inside a variant would be shared, and copied at the next insert.
 */
class TreeBuilder : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, TreeBuilder> {
public:
    TreeBuilder() { open_.reserve(UsualDepth); }

    bool Null() { return add(QVariant()); }
    bool Bool(bool value) { return add(value); }

    bool RawNumber(const char* text, rapidjson::SizeType length, bool)
    {
        QVariant number = Json::numberFromText({text, length});
        return number.isValid() && add(std::move(number));
    }

    bool String(const char* text, rapidjson::SizeType length, bool) { return add(decode(text, length)); }

    bool Key(const char* text, rapidjson::SizeType length, bool)
    {
        open_.back().name = decode(text, length);
        return true;
    }

    bool StartObject() { return start(true); }
    bool StartArray() { return start(false); }

    bool EndObject(rapidjson::SizeType)
    {
        const QVariantMap map(std::move(open_.back().members));
        open_.pop_back();
        return add(map);
    }

    bool EndArray(rapidjson::SizeType)
    {
        const QVariantList list(std::move(open_.back().elements));
        open_.pop_back();
        return add(list);
    }

    /** True when every string so far was UTF-8. An escape for one half of a surrogate pair counts as broken too. */
    bool stringsAreValid() const { return firstBroken_ == nullptr; }

    /** Where the first string begins that is not. */
    const char* firstBrokenString() const { return firstBroken_; }

    QVariant takeRoot() { return std::move(root_); }

private:
    struct Container {
        bool isObject;
        QString name; // of the member whose value comes next
        std::map<QString, QVariant> members;
        QVariantList elements;
    };

    static constexpr std::size_t UsualDepth = 8;

    bool start(bool isObject)
    {
        if (open_.size() == Json::MaxDepth)
            return false;
        open_.push_back({isObject, {}, {}, {}});
        return true;
    }

    bool add(QVariant&& value)
    {
        if (open_.empty())
            root_ = std::move(value);
        else if (Container& parent = open_.back(); parent.isObject)
            parent.members.insert_or_assign(std::move(parent.name), std::move(value));
        else
            parent.elements.append(std::move(value));
        return true;
    }

    QString decode(const char* text, rapidjson::SizeType length)
    {
        const QByteArrayView bytes(text, static_cast<qsizetype>(length));
        // The decoder goes from byte to byte; most strings do not need it.
        if (isAscii(bytes))
            return length == 1 ? letter(*text) : QString::fromLatin1(bytes);
        QString decoded = decoder_.decode(bytes);
        if (firstBroken_ == nullptr && decoder_.hasError())
            firstBroken_ = text;
        return decoded;
    }

    // Stateless, so that a character cut off at the end of one string does not wait for the next string; a byte order
    // mark at the start of a string is text.
    QStringDecoder decoder_{QStringConverter::Utf8,
                            QStringConverter::Flag::Stateless | QStringConverter::Flag::ConvertInitialBom};
    const char* firstBroken_ = nullptr; // in the text that is read
    std::vector<Container> open_;
    QVariant root_;
};

QByteArray reasonOf(rapidjson::ParseErrorCode code)
{
    if (code == rapidjson::kParseErrorTermination) // by the builder
        return "Nested too deep, or a number that is too large";
    QByteArray reason = rapidjson::GetParseError_En(code);
    if (reason.endsWith('.'))
        reason.chop(1);
    return reason;
}

/** The reader's stream over a text in which it leaves the strings, unescaped, where they stand. */
class InSituStream {
public:
    using Ch = char;

    /** A zero byte stands behind the text. */
    explicit InSituStream(QByteArray* text)
        : begin_(text->data()), end_(begin_ + text->size()), cursor_(begin_), target_(begin_)
    {}

    char Peek() const { return *cursor_; }
    char Take() { return *cursor_++; }
    std::size_t Tell() const { return static_cast<std::size_t>(cursor_ - begin_); }

    char* PutBegin() { return target_ = cursor_; }
    void Put(char c) { *target_++ = c; }
    std::size_t PutEnd(const char* begin) const { return static_cast<std::size_t>(target_ - begin); }

    /** Takes and puts what stands for itself. */
    void passLiterals()
    {
        const qsizetype length = Json::Plain::count<Json::Plain::Bytes::Literal>(cursor_, end_);
        if (target_ != cursor_)
            std::copy(cursor_, cursor_ + length, target_);
        cursor_ += length;
        target_ += length;
    }

private:
    char* begin_;
    const char* end_;
    char* cursor_;
    char* target_; // not behind the cursor
};

} // namespace

/** Lets the reader work on a copy of its stream, which stays in registers. */
template <> struct rapidjson::StreamTraits<InSituStream> {
    enum { copyOptimization = 1 };
};

/**
 * The reader calls this, which is private to it, for each piece of a string. Its own ways of taking many bytes at once,
 * other overloads that are not compiled in, let control characters pass.
 */
template <> template <> inline void rapidjson::Reader::ScanCopyUnescapedString(InSituStream& in, InSituStream&)
{
    in.passLiterals();
}

namespace {

struct Reading {
    rapidjson::ParseResult result;
    qsizetype end; // where the reader stopped
};

/** Has the reader take a text apart, whose strings it changes where they stand. */
Reading read(QByteArray* text, TreeBuilder* builder)
{
    InSituStream stream(text);
    rapidjson::Reader reader;
    // Numbers are taken as text because the library's own conversion is wrong for extreme exponents. The iterative form
    // costs the same and leaves the stack to the writer and the destructor of the tree.
    constexpr unsigned flags =
        rapidjson::kParseIterativeFlag | rapidjson::kParseInsituFlag | rapidjson::kParseNumbersAsStringsFlag;
    const rapidjson::ParseResult result = reader.Parse<flags>(stream, *builder);
    return {result, static_cast<qsizetype>(stream.Tell())};
}

/** Appends the writer's bytes to an array, with room ahead; the array has its size again once `Flush` was called. */
class ArrayStream {
public:
    using Ch = char;

    explicit ArrayStream(QByteArray* out) : out_(out)
    {
        const qsizetype used = out->size();
        out->resize(std::max(out->capacity(), used + InitialRoom));
        begin_ = out->data();
        cursor_ = begin_ + used;
        end_ = begin_ + out->size();
    }

    void Put(char c)
    {
        if (cursor_ == end_)
            grow(1);
        *cursor_++ = c;
    }

    void put(QByteArrayView text)
    {
        if (end_ - cursor_ < text.size())
            grow(text.size() + InitialRoom);
        cursor_ = std::copy(text.begin(), text.end(), cursor_);
    }

    /** Puts a string with its quotes when all of it is ASCII that stands for itself. False, nothing put, else. */
    bool putPlainString(QStringView text)
    {
        if (end_ - cursor_ < text.size() + 2)
            grow(text.size() + 2 + InitialRoom);
        if (!Json::Plain::copyPlain(text, cursor_ + 1))
            return false;
        *cursor_ = '"';
        cursor_ += text.size() + 1;
        *cursor_++ = '"';
        return true;
    }

    void Flush() { out_->resize(cursor_ - begin_); }

private:
    static constexpr qsizetype InitialRoom = 512; // most replies, so that they need one allocation

    /** Makes room for at least `needed` more bytes. */
    void grow(qsizetype needed)
    {
        const qsizetype used = cursor_ - begin_;
        out_->resize(std::max(2 * used, used + needed));
        begin_ = out_->data();
        cursor_ = begin_ + used;
        end_ = begin_ + out_->size();
    }

    QByteArray* out_;
    char* begin_;
    char* cursor_;
    char* end_;
};

// The writer calls these by argument-dependent lookup.
void PutReserve(ArrayStream&, std::size_t) {}

void PutUnsafe(ArrayStream& out, char c)
{
    out.Put(c);
}

/** UTF-16 as strings hold it: half a surrogate pair, which UTF-8 cannot express, reads as the replacement character. */
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

/** Writes trees. It recurses, as the destructor of a tree does: a tree that could exist at all can be written. */
class TreeWriter : private rapidjson::Writer<ArrayStream, LenientUtf16> {
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
        std::array<char, 32> text; // the longest shortest form has 24 characters
        char* end = std::to_chars(text.data(), text.data() + text.size(), number).ptr;
        const bool looksIntegral = std::none_of(text.data(), end, [](char c) { return c == '.' || c == 'e'; });
        if (looksIntegral) { // as it stands it would be read back as an integer
            *end++ = '.';
            *end++ = '0';
        }
        Prefix(rapidjson::kNumberType);
        std::for_each(text.data(), end, [this](char c) { os_->Put(c); });
        EndValue(true);
    }

    void writeString(const QString& text)
    {
        Prefix(rapidjson::kStringType);
        if (!os_->putPlainString(text)) {
            // The decoder looks one unit ahead of a high surrogate, and only a copy is sure to have a terminator there.
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

    void writeRaw(QByteArrayView before, const QByteArray& text, QByteArrayView behind)
    {
        Prefix(rapidjson::kObjectType); // of no consequence: no name is written this way
        os_->put(before);
        os_->put(text);
        os_->put(behind);
        EndValue(true);
    }

    void writeOther(const QVariant& value)
    {
        if (value.metaType() == QMetaType::fromType<Json::RawText>())
            writeRaw("", held<Json::RawText>(value).text, "");
        else if (value.metaType() == QMetaType::fromType<Json::RawElements>())
            writeRaw("[", held<Json::RawElements>(value).text, "]");
        else if (value.canConvert<QString>())
            writeString(value.toString());
        else
            Null();
    }
};

} // namespace

namespace Json {

bool parse(const QByteArray& text, QVariant* value)
{
    return parse(text, value, nullptr);
}

bool parse(const QByteArray& text, QVariant* value, ParseError* error)
{
    const auto fail = [error](qsizetype offset, const QByteArray& reason) {
        if (error != nullptr)
            *error = {offset, reason};
        return false;
    };
    // In place, on a copy: the reader leaves the strings where they stand, which is cheaper than collecting them one
    // character at a time. A QByteArray has a zero byte behind its end, which ends the text for the reader.
    QByteArray buffer(text.constData(), text.size());
    std::optional<TreeBuilder> builder(std::in_place);
    Reading reading = read(&buffer, &*builder);
    if (reading.result.Code() == rapidjson::kParseErrorNumberTooBig) {
        buffer = QByteArray(text.constData(), text.size());
        rewriteExtremeNumbers(&buffer);
        reading = read(&buffer, &builder.emplace());
    }
    if (!reading.result)
        return fail(static_cast<qsizetype>(reading.result.Offset()),
                    error != nullptr ? reasonOf(reading.result.Code()) : QByteArray());
    // A zero byte in the text ends it for the reader, but not for us.
    if (reading.end != text.size())
        return fail(reading.end, "A zero byte");
    if (!builder->stringsAreValid())
        return fail(builder->firstBrokenString() - buffer.constData(),
                    "A string is not UTF-8, or escapes half of a surrogate pair");
    *value = builder->takeRoot();
    return true;
}

void append(const QVariant& value, QByteArray* out)
{
    ArrayStream stream(out);
    TreeWriter(stream).write(value);
    stream.Flush();
}

QByteArray serialize(const QVariant& value)
{
    QByteArray text;
    append(value, &text);
    return text;
}

} // namespace Json
