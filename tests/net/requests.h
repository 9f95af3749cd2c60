#ifndef QUORVA_TESTS_NET_REQUESTS_H
#define QUORVA_TESTS_NET_REQUESTS_H

#include "net/bdbreqhandler.h"
#include "netsupport.h"
#include "protocol/framing.h"
#include "json/jsonreader.h"

#include <QByteArray>
#include <QVariantMap>

#include <gtest/gtest.h>

#include <cstddef>

#include <sys/socket.h>

/** An operation that every server answers, with internalErrorReply(). */
inline const QByteArray UnknownOperation = "DynamoDB_20111205.Nothing";

inline const QByteArray UnknownRequest = Framing::frameRequest(UnknownOperation, "{}");

inline QVariantMap parseReply(const QByteArray& text)
{
    QVariant value;
    EXPECT_TRUE(Json::parse(text, &value)) << text.toStdString();
    return value.toMap();
}

/** A request up to the beginning of its body. */
inline QByteArray headerFor(const QByteArray& operation, quint32 bodyLength)
{
    QByteArray bytes = Framing::frameRequest(operation, {});
    Framing::writeLength(bodyLength, bytes.data() + bytes.size() - 4);
    return bytes;
}

/** A JSON object whose text is `size` bytes long; at least 7. */
inline QByteArray bodyOfSize(qsizetype size)
{
    return "{\"a\":\"" + QByteArray(size - 8, 'x') + "\"}";
}

/** Sends all of `bytes`; false when the system refuses some of them. */
inline bool sendAll(int socket, const QByteArray& bytes)
{
    for (qsizetype sent = 0; sent < bytes.size();) {
        const ssize_t n = send(socket, bytes.constData() + sent, std::size_t(bytes.size() - sent), MSG_NOSIGNAL);
        if (n < 0)
            return false;
        sent += n;
    }
    return true;
}

/** Reads one reply, which is internalErrorReply() for an unknown operation. */
inline QVariantMap receiveReply(int socket)
{
    const QByteArray prefix = readBytes(socket, 4);
    if (prefix.size() != 4)
        return {};
    return parseReply(readBytes(socket, Framing::readLength(prefix.constData())));
}

/** Passes a piece of a request to its handler. */
inline int append(BDBReqHandler& handler, const QByteArray& piece)
{
    return handler.appendData(piece.constData(), static_cast<unsigned>(piece.size()));
}

#endif
