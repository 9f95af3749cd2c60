#include "protocol/operations.h"

#include <algorithm>

namespace Operations {

QByteArray Operation::fullName() const
{
    QByteArray bytes(static_cast<qsizetype>(prefix.size() + name.size()), Qt::Uninitialized);
    std::copy(name.begin(), name.end(), std::copy(prefix.begin(), prefix.end(), bytes.begin()));
    return bytes;
}

QByteArray fullName(const QByteArray& name)
{
    return name.contains('.') ? name : Operation{ApiPrefix, {name.constData(), std::size_t(name.size())}}.fullName();
}

} // namespace Operations
