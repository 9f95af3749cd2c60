#include "json/jsonreader.h"

#include "base/jsonmemory.h"
#include "json/jsoncharacters.h"
#include "json/jsonnumber.h"
#include "json/treebuilder.h"

#include <rapidjson/error/en.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <optional>

namespace Json {

namespace {

QByteArray reasonOf(rapidjson::ParseErrorCode code)
{
    if (code == rapidjson::kParseErrorTermination) // by the builder
        return "Nested too deep, or a number that is too large";
    QByteArray reason = rapidjson::GetParseError_En(code);
    if (reason.endsWith('.'))
        reason.chop(1);
    return reason;
}

/** The reader's input stream; the reader unescapes strings in place. */
class InSituStream {
public:
    using Ch = char;

    /** The text is followed by a zero byte. */
    explicit InSituStream(QByteArray* text)
        : begin_(text->data()), end_(begin_ + text->size()), cursor_(begin_), target_(begin_)
    {}

    char Peek() const { return *cursor_; }
    char Take() { return *cursor_++; }
    std::size_t Tell() const { return static_cast<std::size_t>(cursor_ - begin_); }

    char* PutBegin() { return target_ = cursor_; }
    void Put(char c) { *target_++ = c; }
    std::size_t PutEnd(const char* begin) const { return static_cast<std::size_t>(target_ - begin); }

    /** Copies all characters up to the next quote, backslash or control character. */
    void passLiterals()
    {
        const qsizetype length = Plain::count<Plain::Bytes::Literal>(cursor_, end_);
        if (target_ != cursor_)
            std::copy(cursor_, cursor_ + length, target_);
        cursor_ += length;
        target_ += length;
    }

private:
    char* begin_;
    const char* end_;
    char* cursor_;
    char* target_; // never past the cursor
};

/**
 * The encoding of the text. The reader calls `Validate` for each character that is not escaped; this one consumes the
 * whole run of them. The library's own vectorised scanning, which is not compiled in, lets control characters pass.
 * The TreeBuilder checks that the run is UTF-8.
 */
struct LiteralRuns : rapidjson::UTF8<> {
    template <typename Output> static bool Validate(InSituStream& in, Output&)
    {
        in.passLiterals();
        return true;
    }
};

} // namespace

} // namespace Json

/** Lets the reader work on a copy of its stream, which the compiler keeps in registers. */
template <> struct rapidjson::StreamTraits<Json::InSituStream> {
    enum { copyOptimization = 1 };
};

namespace Json {

namespace {

struct Reading {
    rapidjson::ParseResult result;
    qsizetype end; // where the reader stopped
};

/** Parses a text, whose strings it unescapes in place. */
Reading read(QByteArray* text, TreeBuilder* builder)
{
    InSituStream stream(text);
    rapidjson::GenericReader<LiteralRuns, LiteralRuns, Base::JsonMemory> reader;
    // Numbers are taken as text because the library's own conversion is wrong for extreme exponents. The iterative
    // parser is as fast and leaves the stack to the writer and the destructor of the tree.
    constexpr unsigned flags = rapidjson::kParseIterativeFlag | rapidjson::kParseInsituFlag |
                               rapidjson::kParseNumbersAsStringsFlag | rapidjson::kParseValidateEncodingFlag;
    const rapidjson::ParseResult result = reader.Parse<flags>(stream, *builder);
    return {result, static_cast<qsizetype>(stream.Tell())};
}

} // namespace

bool parse(const QByteArray& text, QVariant* value, ParseError* error)
{
    const auto fail = [error](qsizetype offset, const QByteArray& reason) {
        if (error != nullptr)
            *error = {offset, reason};
        return false;
    };
    // In place, on a copy: cheaper than collecting each string one character at a time. The zero byte after the end of
    // a QByteArray ends the text for the reader.
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
    // The reader treats a zero byte as the end of the text; here it is an error.
    if (reading.end != text.size())
        return fail(reading.end, "A zero byte");
    if (!builder->stringsAreValid())
        return fail(builder->firstBrokenString() - buffer.constData(),
                    "A string is not UTF-8, or escapes half of a surrogate pair");
    *value = builder->takeRoot();
    return true;
}

} // namespace Json
