#include "api/itemoperations.h"
#include "api/itemstore.h"
#include "api/members.h"
#include "api/pageparameters.h"
#include "api/tablecatalog.h"

#include <utility>

namespace Api {

namespace {

/** Each of several segments would need its own share of the keys, and the server's Scan cannot divide them. */
Failure refuseSegments(const Items::JsonValue& request)
{
    const auto segments = numberIn(request, "TotalSegments");
    const auto segment = numberIn(request, "Segment");
    if (segments && !segment)
        return Errors::validation("The Segment parameter is required but was not present in the request when parameter "
                                  "TotalSegments is present");
    if (segment && !segments)
        return Errors::validation("The TotalSegments parameter is required but was not present in the request when "
                                  "Segment parameter is present");
    if (segments && *segment >= *segments)
        return Errors::validation("The Segment parameter is zero-based and must be less than parameter TotalSegments: "
                                  "Segment: " +
                                  std::to_string(*segment) +
                                  " is not less than TotalSegments: " + std::to_string(*segments));
    if (segments && *segments > 1)
        return Errors::validation("Parallel scans are not supported: TotalSegments can only be 1");
    return std::nullopt;
}

} // namespace

Failure scan(const Items::JsonValue& request, Context& context, JsonWriter* reply)
{
    Expressions::Parameters parameters;
    ItemPage page;
    if (Failure failure = PageRequests::read(Expressions::RequestKind::Scan, request, &parameters, &page))
        return failure;
    if (Failure failure = refuseSegments(request))
        return failure;
    std::shared_ptr<const Table> table;
    if (Failure failure = PageRequests::findTable(request, context, &table))
        return failure;
    std::optional<StoredKey> start;
    if (Failure failure = PageRequests::storedStartKey(*table, page, &start))
        return failure;

    const ItemStore store(context, table);
    ItemWalk walk(&store, std::move(start), page.limit);
    return PageRequests::answer(request, *table, page, &walk, reply);
}

} // namespace Api
