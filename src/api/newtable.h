#ifndef QUORVA_API_NEWTABLE_H
#define QUORVA_API_NEWTABLE_H

#include "api/error.h"
#include "api/tabledescription.h"
#include "items/json.h"

#include <chrono>

/** The table that a CreateTable asks for. */
namespace Api::NewTable {

/** Reads everything but the name. Fails for contradictions, and for what is not available here. */
[[nodiscard]] Failure read(const Items::JsonValue& request, Table* table);

/** Sets what the request does not say: an id, and the creation time. */
void complete(std::chrono::system_clock::time_point now, Table* table);

} // namespace Api::NewTable

#endif
