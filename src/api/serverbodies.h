#ifndef QUORVA_API_SERVERBODIES_H
#define QUORVA_API_SERVERBODIES_H

#include "api/replyjson.h"

#include <string>
#include <string_view>

/** The bodies of requests to the server. */
namespace Api::RequestBodies {

/** An object with one member: a table's real name, or a directory. */
inline std::string of(std::string_view name, std::string_view value)
{
    Items::JsonText text;
    JsonWriter writer(text);
    writer.StartObject();
    put(name, value, &writer);
    writer.EndObject();
    return {text.GetString(), text.GetSize()};
}

} // namespace Api::RequestBodies

#endif
