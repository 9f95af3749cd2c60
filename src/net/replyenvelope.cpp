#include "net/replyenvelope.h"

#include "records/requeststatus.h"

#include <QLatin1String>

#include <array>

namespace {

struct Row {
    int status;
    ReplyEnvelope envelope;
};

// Kept: a missing table or item has the code 400 and not 404. Clients tell it from other failures by "Not Found" and by
// "__type"; the code alone only says success or failure.
constexpr std::array rows{
    Row{StatusSuccess, {200, "OK", nullptr, nullptr}},
    Row{StatusConditionFailed,
        {400, "Bad Request", "ConditionalCheckFailedException", "The conditional request failed."}},
    Row{StatusNotFound, {400, "Not Found", "ResourceNotFoundException", "Specified item does not exist."}},
    Row{StatusInvalidRequest, {400, "Bad Request", "ValidationException", "A parameter is missing"}},
};

constexpr ReplyEnvelope internalError{400, "Bad Request", "InternalServerError",
                                      "The server encountered an internal error."};

const Row* findRow(int status)
{
    for (const Row& row : rows) {
        if (row.status == status)
            return &row;
    }
    return nullptr;
}

} // namespace

const ReplyEnvelope& ReplyEnvelope::of(int status)
{
    const Row* row = findRow(status);
    return row != nullptr ? row->envelope : internalError;
}

bool ReplyEnvelope::isOrdinary(int status)
{
    return findRow(status) != nullptr;
}

void ReplyEnvelope::addTo(QVariantMap* reply) const
{
    reply->insert(QStringLiteral("__rc"), rc);
    reply->insert(QStringLiteral("__rcstr"), QLatin1String(rcText));
    if (type != nullptr) {
        reply->insert(QStringLiteral("__type"), QLatin1String(type));
        reply->insert(QStringLiteral("message"), QLatin1String(message));
    }
}
