#include "tools/replies.h"

#include "protocol/envelope.h"
#include "tools/messages.h"
#include "json/jsonreader.h"
#include "json/jsonwriter.h"

#include <vector>

namespace Ctl {

namespace {

std::string adviceOn(const QString& type)
{
    if (type == ErrorTypes::ResourceNotFound)
        return "the spelling, or quorvactl create-table";
    if (type == ErrorTypes::InternalServerError)
        return "the server's log, which has the cause";
    if (type == ErrorTypes::Validation)
        return "keys of Latin-1 characters only";
    return {};
}

} // namespace

bool isSuccess(const QByteArray& reply)
{
    QVariant parsed;
    return Json::parse(reply, &parsed) && Envelopes::isSuccess(parsed.toMap());
}

bool isNotFound(const QVariantMap& reply)
{
    return Envelopes::errorType(reply) == ErrorTypes::ResourceNotFound;
}

bool isConditionFailure(const QVariantMap& reply)
{
    return Envelopes::errorType(reply) == ErrorTypes::ConditionalCheckFailed;
}

std::string serverSays(const QVariantMap& reply)
{
    const QString type = Envelopes::errorType(reply);
    if (type.isEmpty())
        return Json::serialize(reply).toStdString();
    return (Envelopes::outcome(reply) + ", " + type + ": " + Envelopes::message(reply)).toStdString();
}

void complainReply(const std::string& failed, const QVariantMap& reply, const std::string& advice)
{
    std::vector<std::string> details{"the server says: " + serverSays(reply)};
    if (const std::string trial = advice.empty() ? adviceOn(Envelopes::errorType(reply)) : advice; !trial.empty())
        details.push_back("try: " + trial);
    complain(failed, details);
}

} // namespace Ctl
