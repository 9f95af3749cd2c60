#include "storage/registrykeys.h"

#include "storage/environmentpath.h"

namespace RegistryKeys {

namespace {

constexpr char EnvironmentPrefix[] = "env::";
constexpr qsizetype EnvironmentPrefixLength = sizeof EnvironmentPrefix - 1;

} // namespace

QString environment(const QByteArray& directory)
{
    return QString::fromUtf8(EnvironmentPrefix + directory);
}

QString canonical(const QString& key)
{
    const QByteArray directory = directoryOf(key);
    if (directory.isEmpty() || directory.contains('\0'))
        return key;
    QByteArray resolved;
    return EnvironmentPath::canonical(directory, &resolved) == 0 ? canonical(resolved, key) : key;
}

QString canonical(const QByteArray& canonical, const QString& key)
{
    // A link may lead to a directory whose path is not valid UTF-8. Such a path cannot be represented as a key.
    const QString canonicalKey = environment(canonical);
    return directoryOf(canonicalKey) == canonical ? canonicalKey : key;
}

QByteArray directoryOf(const QString& key)
{
    return key.sliced(EnvironmentPrefixLength).toUtf8();
}

QString database(const QByteArray& file, const char* subDatabase)
{
    return QString::fromUtf8("db::" + file + ":" + subDatabase);
}

} // namespace RegistryKeys
