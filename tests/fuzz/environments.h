#ifndef QUORVA_TESTS_FUZZ_ENVIRONMENTS_H
#define QUORVA_TESTS_FUZZ_ENVIRONMENTS_H

#include "fuzztarget.h"

#include "client/wireconnection.h"
#include "log/log.h"
#include "net/bdbreqhandler_linux.h"
#include "protocol/framing.h"
#include "protocol/operations.h"
#include "storage/bdbobjtable.h"
#include "storage/settings.h"
#include "support/tablefixture.h"
#include "support/tempdir.h"
#include "json/jsonreader.h"
#include "json/jsonwriter.h"

#include <db_cxx.h>

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <algorithm>
#include <optional>
#include <set>
#include <utility>

/** Two environments, which are closed and removed when the process exits normally. */
class Environments {
public:
    Environments()
    {
        Log::setDestination(nullptr);
        Settings::setTxnCommitFlags(DB_TXN_NOSYNC);
        first_ = QString::fromStdString(directory_.makeDirectory("first"));
        second_ = QString::fromStdString(directory_.makeDirectory("second"));
        backup_ = QString::fromStdString(directory_.makeDirectory("backup"));
        // The first closing constructs what closings need; so it is destroyed after this object.
        reset({});
        close();
    }

    ~Environments() { close(); }
    Environments(const Environments&) = delete;
    Environments& operator=(const Environments&) = delete;

    const QString& first() const { return first_; }
    const QString& second() const { return second_; }
    const QString& backup() const { return backup_; }

    /** Sends a request in pieces, as a client would; returns nothing when the connection would be closed. */
    std::optional<QVariantMap> exchange(const QByteArray& operation, const QByteArray& body)
    {
        BDBReqHandler_linux handler(1024, 256, &registry_, -1);
        const QByteArray frame = Framing::frameRequest(operation, body);
        for (qsizetype at = 0; at < frame.size() && !handler.isReadComplete(); at += 4096) {
            const QByteArray piece = frame.sliced(at, std::min<qsizetype>(4096, frame.size() - at));
            if (handler.appendData(piece.constData(), static_cast<unsigned>(piece.size())) != 0)
                return std::nullopt;
        }
        FUZZ_ASSERT(handler.isReadComplete());
        if (handler.handle() != 0)
            return std::nullopt;
        const TransferBuffer& buffer = handler.sendBuffer();
        FUZZ_ASSERT(buffer.length >= 4 && Framing::readLength(buffer.data) == buffer.length - 4);
        QVariant reply;
        FUZZ_ASSERT(Json::parse(QByteArray(buffer.data + 4, static_cast<qsizetype>(buffer.length - 4)), &reply));
        return reply.toMap();
    }

    QVariantMap request(const char* operation, const QVariantMap& body)
    {
        const auto reply = exchange(Operations::fullName(operation), Json::serialize(body));
        FUZZ_ASSERT(reply);
        FUZZ_ASSERT(isReply(*reply, QByteArray(operation).startsWith("Quorva_1.")));
        return *reply;
    }

    /** True when a reply has one of the envelopes that the server writes, of which some may have another message. */
    static bool isReply(const QVariantMap& reply, bool hasOwnMessage)
    {
        QVariantMap envelope;
        for (const char* name : {"__rc", "__rcstr", "__type", "message"}) {
            if (reply.contains(name))
                envelope.insert(name, reply.value(name));
        }
        for (QVariantMap possible :
             {okReply(), conditionFailedReply(), notFoundReply(), invalidRequestReply(), internalErrorReply()}) {
            if (hasOwnMessage && possible.contains("message") && !envelope.value("message").toString().isEmpty())
                possible.insert("message", envelope.value("message"));
            if (envelope == possible)
                return true;
        }
        return false;
    }

    /** Resets the tables: they are described, and the items of the previous input are deleted. */
    void reset(const std::set<std::pair<QString, QString>>& written)
    {
        for (const QString& table : {first_ + "|t", first_ + "|u", second_ + "|t"}) {
            FUZZ_ASSERT(request("CreateTable", {{"TableName", table}, {"KeySchema", keySchema()}}).value("__rc") ==
                        200);
            for (const auto& [hash, range] : written)
                (void)request("DeleteItem",
                              {{"TableName", table}, {"Key", itemKey(hash, range)}}); // some keys are wrong
        }
    }

private:
    void close()
    {
        for (const QString& directory : {first_, second_})
            (void)request("DeleteTable", {{"TableName", directory + "|t"}}); // ignored: always a success
    }

    TempDir directory_;
    BDBObjTable registry_{8192};
    QString first_;
    QString second_;
    QString backup_;
};

inline Environments& environments()
{
    static Environments instance;
    return instance;
}

#endif
