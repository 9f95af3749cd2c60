#ifndef QUORVA_TESTS_SUPPORT_EXPECTEDREPLIES_H
#define QUORVA_TESTS_SUPPORT_EXPECTEDREPLIES_H

#include "json/jsonwriter.h"

#include <QVariantMap>

#include <ostream>

/** Makes failed comparisons of replies readable. */
inline void PrintTo(const QVariantMap& map, std::ostream* out)
{
    *out << Json::serialize(map).toStdString();
}

/** The fields of both maps; those of the second take precedence. */
inline QVariantMap merged(QVariantMap fields, const QVariantMap& over)
{
    fields.insert(over);
    return fields;
}

// Complete replies: the fields of an operation and the envelope.
inline QVariantMap okReply(const QVariantMap& fields = {})
{
    return merged(fields, {{"__rc", 200LL}, {"__rcstr", "OK"}});
}
inline QVariantMap failureReply(const char* rcText, const char* type, const char* message, const QVariantMap& fields)
{
    return merged(fields, {{"__rc", 400LL}, {"__rcstr", rcText}, {"__type", type}, {"message", message}});
}
inline QVariantMap conditionFailedReply(const QVariantMap& fields = {})
{
    return failureReply("Bad Request", "ConditionalCheckFailedException", "The conditional request failed.", fields);
}
inline QVariantMap notFoundReply(const QVariantMap& fields = {})
{
    return failureReply("Not Found", "ResourceNotFoundException", "Specified item does not exist.", fields);
}
inline QVariantMap invalidRequestReply(const QVariantMap& fields = {})
{
    return failureReply("Bad Request", "ValidationException", "A parameter is missing", fields);
}
inline QVariantMap internalErrorReply(const QVariantMap& fields = {})
{
    return failureReply("Bad Request", "InternalServerError", "The server encountered an internal error.", fields);
}

#endif
