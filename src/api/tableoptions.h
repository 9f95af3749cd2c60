#ifndef QUORVA_API_TABLEOPTIONS_H
#define QUORVA_API_TABLEOPTIONS_H

#include "api/error.h"
#include "api/tabledescription.h"
#include "items/json.h"

#include <chrono>

/** What CreateTable and UpdateTable have in common, and tags. */
namespace Api::TableOptions {

/** How many tags a table can have. */
inline constexpr std::size_t MostTags = 50;

/** Fails when a request asks for something that is not available here. */
[[nodiscard]] Failure refuseUnavailable(const Items::JsonValue& request);

/** Reads "BillingMode" and "ProvisionedThroughput", which must agree. */
[[nodiscard]] Failure readCapacity(const Items::JsonValue& request, Table* table);

/** Reads "TableClass" and "DeletionProtectionEnabled", if they are present. */
void readOthers(const Items::JsonValue& request, Table* table);

/** Adds tags, and replaces the values of existing ones. */
[[nodiscard]] Failure addTags(const Items::JsonValue& tags, Table* table);

/** Seconds since 1970, to the millisecond. */
double secondsOf(std::chrono::system_clock::time_point time);

} // namespace Api::TableOptions

#endif
