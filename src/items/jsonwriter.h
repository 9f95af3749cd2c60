#ifndef QUORVA_ITEMS_JSONWRITER_H
#define QUORVA_ITEMS_JSONWRITER_H

#include "items/json.h"

#include <rapidjson/writer.h>

#include <cstdint>
#include <cstring>
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
        std::uint64_t word = 0;
        for (; text.size() >= sizeof word; text.remove_prefix(sizeof word)) {
            std::memcpy(&word, text.data(), sizeof word);
            if (needsEscape(word))
                return true;
        }
        char rest[sizeof word];
        std::memset(rest, ' ', sizeof rest);
        text.copy(rest, text.size());
        std::memcpy(&word, rest, sizeof word);
        return needsEscape(word);
    }

private:
    static constexpr std::uint64_t Ones = 0x0101010101010101;
    static constexpr std::uint64_t HighBits = 0x8080808080808080;

    /** Whether a byte of the word is below a limit, which is at most 128. */
    static bool hasBelow(std::uint64_t word, std::uint64_t limit)
    {
        return ((word - Ones * limit) & ~word & HighBits) != 0;
    }

    static bool needsEscape(std::uint64_t word)
    {
        return hasBelow(word, ' ') || hasBelow(word ^ (Ones * '"'), 1) || hasBelow(word ^ (Ones * '\\'), 1);
    }
};

} // namespace Items

#endif
