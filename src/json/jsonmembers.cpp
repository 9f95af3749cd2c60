#include "json/jsonmembers.h"

#include "base/jsonmemory.h"
#include "json/canonicaltext.h"

#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>

namespace Json {

namespace {

/**
 * Records where the members of the outermost object begin and end. When an event reports a scalar or a name, the stream
 * is already past it; for a brace or bracket, it is still at it.
 */
class MemberFinder : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, MemberFinder> {
public:
    MemberFinder(QByteArrayView text, const rapidjson::MemoryStream& stream, std::vector<Member>* members)
        : text_(text), stream_(stream), members_(members)
    {}

    bool Null() { return endValue(here()); }
    bool Bool(bool) { return endValue(here()); }
    bool RawNumber(const char*, rapidjson::SizeType, bool) { return endValue(here()); }
    bool String(const char*, rapidjson::SizeType, bool) { return endValue(here()); }

    bool Key(const char* name, rapidjson::SizeType length, bool)
    {
        if (depth_ > 1)
            return true;
        const char* begin = std::find(valueEnd_, here(), '"');
        members_->push_back({QByteArray(name, static_cast<qsizetype>(length)), QByteArrayView(begin, here()), {}});
        return true;
    }

    bool StartObject() { return start(true); }
    bool StartArray() { return start(false); }
    bool EndObject(rapidjson::SizeType) { return end(); }
    bool EndArray(rapidjson::SizeType) { return end(); }

private:
    const char* here() const { return text_.begin() + stream_.Tell(); }

    bool start(bool isObject)
    {
        if (depth_++ > 0)
            return true;
        valueEnd_ = here();
        return isObject;
    }

    bool end()
    {
        --depth_;
        return depth_ == 0 || endValue(here() + 1);
    }

    bool endValue(const char* behind)
    {
        if (depth_ == 0)
            return false; // the outermost value is not an object
        if (depth_ > 1)
            return true;
        Member& member = members_->back();
        const char* colon = std::find(member.nameText.end(), behind, ':');
        member.value = QByteArrayView(colon + 1, behind).trimmed();
        valueEnd_ = behind;
        return true;
    }

    const QByteArrayView text_;
    const rapidjson::MemoryStream& stream_;
    std::vector<Member>* members_;
    const char* valueEnd_ = nullptr; // of the latest member, or the opening brace before the first
    int depth_ = 0;
};

/** The same for text in the server's own form, by a scan that is several times as fast; false for any other. */
bool findCanonicalMembers(QByteArrayView text, std::vector<Member>* members)
{
    std::vector<MemberText> found;
    if (!splitObject(text, &found))
        return false;
    members->reserve(found.size());
    for (const MemberText& member : found)
        members->push_back({QByteArray::fromRawData(member.name.data(), member.name.size()),
                            {member.name.begin() - 1, member.name.end() + 1},
                            member.value});
    return true;
}

} // namespace

bool findMembers(QByteArrayView text, std::vector<Member>* members)
{
    members->clear();
    if (findCanonicalMembers(text, members))
        return true;
    // Not a string stream: the reader works on a copy of those, and the original does not advance.
    rapidjson::MemoryStream stream(text.data(), static_cast<std::size_t>(text.size()));
    MemberFinder finder(text, stream, members);
    rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, Base::JsonMemory> reader;
    constexpr unsigned flags =
        rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag | rapidjson::kParseValidateEncodingFlag;
    // The reader treats a zero byte as the end of the text; here it is an error.
    return reader.Parse<flags>(stream, finder) && stream.Tell() == static_cast<std::size_t>(text.size());
}

} // namespace Json
