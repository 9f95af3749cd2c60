#ifndef QUORVA_API_NEWTABLE_H
#define QUORVA_API_NEWTABLE_H

#include "api/error.h"
#include "api/tabledescription.h"

#include <rapidjson/document.h>

#include <chrono>

/** What a CreateTable asks for. */
namespace Api::NewTable {

/** Reads everything but the name. Fails for what contradicts itself, and for what is not available here. */
[[nodiscard]] Failure read(const rapidjson::Value& request, Table* table);

/** Sets what a new table gets in addition: an id, and the time of its making. */
void complete(std::chrono::system_clock::time_point now, Table* table);

} // namespace Api::NewTable

#endif
