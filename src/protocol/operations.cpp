#include "protocol/operations.h"

namespace Operations {

QByteArray Operation::fullName() const
{
    QByteArray bytes;
    bytes.reserve(qsizetype(prefix.size()) + qsizetype(name.size()));
    return bytes.append(prefix).append(name);
}

QByteArray fullName(const QByteArray& name)
{
    return name.contains('.') ? name : Operation{ApiPrefix, {name.constData(), std::size_t(name.size())}}.fullName();
}

} // namespace Operations
