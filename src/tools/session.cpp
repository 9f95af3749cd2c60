#include "tools/session.h"

#include "json/jsonadapter.h"

namespace Ctl {

int Session::request(const QByteArray& operation, const QByteArray& body, QVariantMap* reply)
{
    QByteArray text;
    const bool open = connection_.isOpen() || connect(server_, &connection_);
    if (!open || !connection_.exchange(Client::fullOperationName(operation), body, &text)) {
        complainNoReply(server_, connection_);
        return ExitNoReply;
    }
    QVariant parsed;
    if (!Json::parse(text, &parsed)) {
        complain("no reply from " + server_.host + ':' + std::to_string(server_.port) + ": what came is no JSON");
        return ExitNoReply;
    }
    *reply = parsed.toMap();
    return isSuccess(*reply) ? ExitOk : ExitErrorReply;
}

int Session::request(const QByteArray& operation, const QVariantMap& body, QVariantMap* reply)
{
    return request(operation, Json::serialize(body), reply);
}

int Session::describe(const std::string& table, QVariantMap* description)
{
    QVariantMap reply;
    const int code = request("DescribeTable", {{"TableName", QString::fromStdString(table)}}, &reply);
    if (code == ExitErrorReply)
        complainReply(errorType(reply) == "ResourceNotFoundException" ? "there is no table " + table
                                                                      : "cannot describe the table " + table,
                      reply);
    if (code == ExitOk)
        *description = reply.value("Table").toMap();
    return code;
}

int Session::readKeys(const std::string& table, TableKeys* keys)
{
    QVariantMap description;
    const int code = describe(table, &description);
    if (code == ExitOk)
        *keys = keysIn(description);
    return code;
}

TableKeys keysIn(const QVariantMap& description)
{
    const QVariantMap schema = description.value("KeySchema").toMap();
    const auto nameOf = [&](const char* element) {
        return schema.value(element).toMap().value("AttributeName").toString();
    };
    return {nameOf("HashKeyElement"), nameOf("RangeKeyElement")};
}

QVariantMap itemKey(const QString& hash, const QString& range)
{
    return {{"HashKeyElement", QVariantMap{{"S", hash}}}, {"RangeKeyElement", QVariantMap{{"S", range}}}};
}

} // namespace Ctl
