#include "request/replyenvelope.h"

#include "records/requeststatus.h"

namespace ReplyEnvelope {

namespace {

struct Row {
    int status;
    const Envelope& envelope;
};

constexpr Row Rows[] = {
    {StatusSuccess, Envelopes::Success},
    {StatusConditionFailed, Envelopes::ConditionFailed},
    {StatusNotFound, Envelopes::NotFound},
    {StatusInvalidRequest, Envelopes::InvalidRequest},
};

const Row* findRow(int status)
{
    for (const Row& row : Rows) {
        if (row.status == status)
            return &row;
    }
    return nullptr;
}

} // namespace

const Envelope& of(int status)
{
    const Row* const row = findRow(status);
    return row != nullptr ? row->envelope : Envelopes::InternalError;
}

QString outcomeName(int status)
{
    const char* const type = of(status).type;
    return type != nullptr ? QString::fromLatin1(type) : QStringLiteral("Success");
}

bool isOrdinary(int status)
{
    return findRow(status) != nullptr;
}

} // namespace ReplyEnvelope
