#ifndef QUORVA_ITEMS_JSONWRITER_H
#define QUORVA_ITEMS_JSONWRITER_H

#include "items/json.h"

#include <rapidjson/writer.h>

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace Items {

/** Writes JSON like the library's writer, but strings that need no escape, which most are, in one piece. */
class JsonWriter : public rapidjson::Writer<JsonText, rapidjson::UTF8<>, rapidjson::UTF8<>, Base::JsonMemory> {
public:
    explicit JsonWriter(JsonText& buffer) : Writer(buffer) {}

    bool String(const char* text, rapidjson::SizeType length, bool copy = false)
    {
        if (needsEscape({text, length}))
            return Writer::String(text, length, copy);
        Prefix(rapidjson::kStringType);
        char* const to = os_->Push(length + 2);
        to[0] = '"';
        std::string_view(text, length).copy(to + 1, length);
        to[length + 1] = '"';
        return EndValue(true);
    }

    using Writer::Key;
    bool Key(const char* text, rapidjson::SizeType length, bool copy = false) { return String(text, length, copy); }

    /** Whether it has a control character, a quote or a backslash. */
    static bool needsEscape(std::string_view text)
    {
        Block found{};
        for (; text.size() >= found.size(); text.remove_prefix(found.size()))
            mark(text.data(), &found);
        Block rest;
        rest.fill(' ');
        text.copy(rest.data(), text.size());
        mark(rest.data(), &found);
        return found != Block{};
    }

private:
    using Block = std::array<char, 16>;

    /** Sets `found` where a byte needs an escape. Has no branches, so that the compiler compares all bytes at once. */
    static void mark(const char* bytes, Block* found)
    {
        for (std::size_t i = 0; i < found->size(); ++i) {
            const auto byte = static_cast<unsigned char>(bytes[i]);
            // Other ways to write it are not compiled like that. NOLINTNEXTLINE(bugprone-narrowing-conversions)
            (*found)[i] |= static_cast<char>(byte < ' ' || byte == '"' || byte == '\\');
        }
    }
};

/** Appends a string as JsonWriter writes it, to JSON that is composed without one. */
inline void appendString(std::string_view text, std::string* json)
{
    if (JsonWriter::needsEscape(text)) {
        JsonText written;
        JsonWriter(written).String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
        json->append(written.GetString(), written.GetSize());
    } else {
        *json += '"';
        *json += text;
        *json += '"';
    }
}

} // namespace Items

#endif
