#include "storage/environmentpath.h"

#include "format/tablename.h"

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace EnvironmentPath {

QByteArray ofTable(const QByteArray& tableName)
{
    const std::string_view directory = TableNames::directory({tableName.cbegin(), tableName.cend()});
    return tableName.left(static_cast<qsizetype>(directory.size()));
}

int canonical(const QByteArray& path, QByteArray* canonical)
{
    const std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(path.constData(), nullptr), &std::free);
    if (!resolved)
        return errno;
    *canonical = resolved.get();
    return 0;
}

} // namespace EnvironmentPath
