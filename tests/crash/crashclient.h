#ifndef QUORVA_TESTS_CRASH_CRASHCLIENT_H
#define QUORVA_TESTS_CRASH_CRASHCLIENT_H

#include "ledger.h"

#include "client/wireconnection.h"
#include "protocol/endpoint.h"
#include "protocol/operations.h"
#include "support/tablefixture.h"
#include "json/jsonreader.h"
#include "json/jsonwriter.h"

#include <QByteArray>
#include <QString>
#include <QVariantMap>

#include <optional>

/** A connection to a server that may die at any moment: a missing reply does not fail the test. */
class CrashClient : public Reader {
public:
    /** `home` is the directory of the environment that requests refer to. */
    CrashClient(int port, QString home) : home_(std::move(home))
    {
        constexpr int Patience = 60'000; // milliseconds; so a server that hangs fails the test
        connection_.setReceiveTimeout(Patience);
        (void)connection_.open(QString::fromLatin1(Endpoint::Host), port); // ignored: then no request succeeds
    }

    /** Nothing if no reply was received. */
    std::optional<QVariantMap> request(const QByteArray& operation, const QVariantMap& body)
    {
        QByteArray text;
        QVariant reply;
        if (!connection_.isOpen() ||
            !connection_.exchange(Operations::fullName(operation), Json::serialize(body), &text) ||
            !Json::parse(text, &reply))
            return std::nullopt;
        return reply.toMap();
    }

    QString tableName(const QString& table) const { return home_ + '|' + table; }

    std::optional<QVariantMap> item(const ItemAddress& address) override
    {
        const auto reply = request(
            "GetItem", {{"TableName", tableName(address.table)}, {"Key", itemKey(address.hash, address.range)}});
        // A table that was never acknowledged may be missing, with all its items.
        if (reply == notFoundReply())
            return QVariantMap();
        if (!reply ||
            *reply != okReply(reply->contains("Item") ? QVariantMap{{"Item", reply->value("Item")}} : QVariantMap()))
            return std::nullopt;
        return reply->value("Item").toMap();
    }

    std::optional<QVariantMap> description(const QString& table) override
    {
        const auto reply = request("DescribeTable", {{"TableName", tableName(table)}});
        if (reply && reply->value("__rc") == QVariant(200LL))
            return reply->value("Table").toMap();
        if (reply && reply->value("__rcstr") == QVariant("Not Found"))
            return QVariantMap();
        return std::nullopt;
    }

private:
    Client::WireConnection connection_;
    const QString home_;
};

#endif
