#include "protocol/framing.h"

#include <QtEndian>

#include <algorithm>
#include <limits>

namespace Framing {

namespace {

/** Writes the part and returns the place behind it. */
char* writeWithLength(const QByteArray& part, char* to)
{
    writeLength(static_cast<std::uint32_t>(part.size()), to);
    return std::copy(part.begin(), part.end(), to + LengthSize);
}

} // namespace

QByteArray frameRequest(const QByteArray& operation, const QByteArray& body)
{
    QByteArray frame(static_cast<qsizetype>(2 * LengthSize) + operation.size() + body.size(), Qt::Uninitialized);
    writeWithLength(body, writeWithLength(operation, frame.data()));
    return frame;
}

int parseHeader(std::string_view bytes, RequestHeader* header)
{
    if (bytes.size() < LengthSize)
        return -1;
    const std::size_t nameLength = readLength(bytes.data());
    if (nameLength > MaxOperationNameLength || bytes.size() < nameLength + 2 * LengthSize)
        return -1;
    header->operation = bytes.substr(LengthSize, nameLength);
    header->bodyLength = readLength(bytes.data() + LengthSize + nameLength);
    header->consumed = nameLength + 2 * LengthSize;
    return 0;
}

QByteArray beginReply()
{
    return QByteArray(LengthSize, '\0');
}

bool finishReply(QByteArray* frame)
{
    const auto length = static_cast<std::size_t>(frame->size()) - LengthSize;
    if (length > std::numeric_limits<std::uint32_t>::max())
        return false;
    writeLength(static_cast<std::uint32_t>(length), frame->data());
    return true;
}

std::uint32_t readLength(const char* bytes)
{
    return qFromBigEndian<quint32>(bytes);
}

void writeLength(std::uint32_t length, char* bytes)
{
    qToBigEndian<quint32>(length, bytes);
}

} // namespace Framing
