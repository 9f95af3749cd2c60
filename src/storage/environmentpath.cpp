#include "storage/environmentpath.h"

#include "format/tablename.h"

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace {

constexpr char KeyPrefix[] = "env::";
constexpr qsizetype KeyPrefixLength = sizeof KeyPrefix - 1;

} // namespace

QByteArray environmentDirectory(const QByteArray& tableName)
{
    const std::string_view directory = TableNames::directory({tableName.cbegin(), tableName.cend()});
    return tableName.left(static_cast<qsizetype>(directory.size()));
}

QString environmentKey(const QByteArray& directory)
{
    return QString::fromUtf8(KeyPrefix + directory);
}

QString canonicalEnvironmentKey(const QString& key)
{
    const QByteArray directory = directoryOfKey(key);
    if (directory.isEmpty() || directory.contains('\0'))
        return key;
    QByteArray canonical;
    return canonicalPath(directory, &canonical) == 0 ? canonicalEnvironmentKey(canonical, key) : key;
}

QString canonicalEnvironmentKey(const QByteArray& canonical, const QString& key)
{
    // A link may lead to a directory whose path is not valid UTF-8. Such a path cannot be represented as a name.
    const QString name = environmentKey(canonical);
    return directoryOfKey(name) == canonical ? name : key;
}

int canonicalPath(const QByteArray& path, QByteArray* canonical)
{
    const std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(path.constData(), nullptr), &std::free);
    if (!resolved)
        return errno;
    *canonical = resolved.get();
    return 0;
}

QByteArray directoryOfKey(const QString& key)
{
    return key.sliced(KeyPrefixLength).toUtf8();
}
