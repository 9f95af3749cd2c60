#ifndef QUORVA_API_PAGEPARAMETERS_H
#define QUORVA_API_PAGEPARAMETERS_H

#include "api/error.h"
#include "api/itempage.h"
#include "api/itemwalk.h"
#include "api/keyrange.h"
#include "api/operation.h"
#include "api/replyjson.h"
#include "api/tabledescription.h"
#include "expressions/parameters.h"
#include "items/json.h"

#include <memory>
#include <optional>

/** What Query and Scan have in common. */
namespace Api::PageRequests {

/**
 * Reads the expressions or older parameters, "Limit", "Select" and "ExclusiveStartKey"; moves filter and projection to
 * the page.
 */
[[nodiscard]] Failure read(Expressions::RequestKind kind, const Items::JsonValue& request,
                           Expressions::Parameters* parameters, ItemPage* page);

/** Finds the table; fails for an index, as no table has any. */
[[nodiscard]] Failure findTable(const Items::JsonValue& request, Context& context, std::shared_ptr<const Table>* table);

/** The start key as the server stores it; empty if there is none. */
[[nodiscard]] Failure storedStartKey(const Table& table, const ItemPage& page, std::optional<StoredKey>* start);

/** Reads the page and writes the reply. */
[[nodiscard]] Failure answer(const Items::JsonValue& request, const Table& table, const ItemPage& page, ItemWalk* walk,
                             JsonWriter* reply);

} // namespace Api::PageRequests

#endif
