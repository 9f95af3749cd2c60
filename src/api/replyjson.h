#ifndef QUORVA_API_REPLYJSON_H
#define QUORVA_API_REPLYJSON_H

#include "items/jsonwriter.h"

#include <concepts>
#include <string_view>

/** How replies are written. Text is UTF-8. */
namespace Api {

using Items::JsonWriter;

inline void putName(std::string_view name, JsonWriter* writer)
{
    writer->Key(name.data(), static_cast<rapidjson::SizeType>(name.size()));
}

inline void putText(std::string_view text, JsonWriter* writer)
{
    writer->String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

// Members: a name and its value.

inline void put(std::string_view name, std::string_view text, JsonWriter* writer)
{
    putName(name, writer);
    putText(text, writer);
}

/** Only for bool itself: a string literal would otherwise convert to bool rather than to std::string_view. */
template <std::same_as<bool> Bool> void put(std::string_view name, Bool value, JsonWriter* writer)
{
    putName(name, writer);
    writer->Bool(value);
}

inline void put(std::string_view name, long long number, JsonWriter* writer)
{
    putName(name, writer);
    writer->Int64(number);
}

} // namespace Api

#endif
