#ifndef QUORVA_API_ITEMPAGE_H
#define QUORVA_API_ITEMPAGE_H

#include "api/error.h"
#include "api/itemwalk.h"
#include "api/replyjson.h"
#include "api/tabledescription.h"
#include "expressions/condition.h"
#include "expressions/pathtree.h"
#include "items/attributevalue.h"

#include <cstddef>
#include <optional>

namespace Api {

/** What a Query or Scan does with the items that it examines. */
struct ItemPage {
    std::optional<std::size_t> limit; // of the items to be examined
    std::optional<Expressions::Condition> filter;
    std::optional<Expressions::PathTree> projection;
    std::optional<Items::Item> startKey; // after which the page begins
    bool isCountOnly = false;
};

/** What was examined for a page. */
struct PageFigures {
    std::size_t bytes = 0;
};

/**
 * Reads a page: up to the limit, or to a megabyte as the API counts items. Writes the members "Items", "Count",
 * "ScannedCount" and, if it did not reach the end, "LastEvaluatedKey".
 */
[[nodiscard]] Failure writePage(ItemWalk* walk, const Table& table, const ItemPage& page, PageFigures* figures,
                                JsonWriter* reply);

} // namespace Api

#endif
