#include "tools/partition.h"

#include <QCryptographicHash>

namespace Ctl {

int partitionOf(const QString& hash)
{
    constexpr int DeterminingByte = 3;
    const QByteArray digest = QCryptographicHash::hash(hash.toLatin1(), QCryptographicHash::Md5);
    return static_cast<unsigned char>(digest[DeterminingByte]);
}

} // namespace Ctl
