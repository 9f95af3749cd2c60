#ifndef QUORVA_API_CAPACITY_H
#define QUORVA_API_CAPACITY_H

#include "api/replyjson.h"
#include "api/tabledescription.h"
#include "items/json.h"

#include <cstddef>

/** "ConsumedCapacity": what requests would consume, computed from the sizes of items. It limits nothing. */
namespace Api::Capacity {

/** Of reading this many bytes, which may be 0: a unit for every 4 KB begun, half of that if not consistent. */
double ofRead(std::size_t bytes, bool isConsistent);

/** Of writing an item; `bytes` is its size before or after the write, whichever is larger. */
double ofWrite(std::size_t bytes);

/** True if a request asks for it. */
bool isWanted(const Items::JsonValue& request);

/** Writes the object, for a request that wants it. */
void write(const Items::JsonValue& request, const Table& table, double units, JsonWriter* writer);

/** Writes the member "ConsumedCapacity" if the request wants it. */
void writeMember(const Items::JsonValue& request, const Table& table, double units, JsonWriter* writer);

} // namespace Api::Capacity

#endif
