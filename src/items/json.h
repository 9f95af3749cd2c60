#ifndef QUORVA_ITEMS_JSON_H
#define QUORVA_ITEMS_JSON_H

#include "base/jsonmemory.h"

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>

/** The JSON library's types, with memory that throws. */
namespace Items {

using JsonPool = rapidjson::MemoryPoolAllocator<Base::JsonMemory>;
using JsonValue = rapidjson::GenericValue<rapidjson::UTF8<>, JsonPool>;
using JsonDocument = rapidjson::GenericDocument<rapidjson::UTF8<>, JsonPool, Base::JsonMemory>;
using JsonText = rapidjson::GenericStringBuffer<rapidjson::UTF8<>, Base::JsonMemory>;

} // namespace Items

#endif
