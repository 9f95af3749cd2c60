#include "storage/environmentpath.h"

#include "format/tablename.h"

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
    const std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(directory.constData(), nullptr), &std::free);
    if (!resolved)
        return key;
    // A link may lead to a directory whose bytes are no UTF-8. Such a path does not survive as a name: two directories
    // could get the same one, and the requests of one would end in the other.
    const QString canonical = environmentKey(resolved.get());
    return directoryOfKey(canonical) == resolved.get() ? canonical : key;
}

QByteArray directoryOfKey(const QString& key)
{
    return key.sliced(KeyPrefixLength).toUtf8();
}
