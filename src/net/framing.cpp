#include "net/framing.h"

#include <QtEndian>

namespace Framing {

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

std::uint32_t readLength(const char* bytes)
{
    return qFromBigEndian<quint32>(bytes);
}

void writeLength(std::uint32_t length, char* bytes)
{
    qToBigEndian<quint32>(length, bytes);
}

} // namespace Framing
