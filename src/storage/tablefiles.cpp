#include "storage/tablefiles.h"

#include "format/tablename.h"
#include "storage/bdbenv.h"
#include "storage/databasefiles.h"
#include "storage/opentables.h"

#include <cerrno>
#include <filesystem>
#include <string_view>

#include <sys/stat.h>

namespace TableFiles {

namespace {

/** Where the environment would find a file: in the first of its directories that has it. */
int look(const std::vector<std::filesystem::path>& directories, const QByteArray& name, bool* isThere,
         std::uint64_t* bytes)
{
    *isThere = false;
    for (const std::filesystem::path& directory : directories) {
        struct stat status {};
        if (::stat((directory / name.toStdString()).c_str(), &status) == 0) {
            *isThere = true;
            *bytes = static_cast<std::uint64_t>(status.st_size);
            return 0;
        }
        if (errno != ENOENT && errno != ENOTDIR)
            return errno;
    }
    return 0;
}

} // namespace

int find(BDBEnv* env, const QByteArray& filePart, bool description, std::vector<File>* files)
{
    if (TableNames::refusal({filePart.cbegin(), filePart.cend()}) != nullptr)
        return 0;
    std::vector<std::filesystem::path> directories;
    if (const int rc = DatabaseFiles::findDirectories(env, &directories))
        return rc;
    const auto add = [&](File file) {
        bool isThere = false;
        const int rc = look(directories, file.name, &isThere, &file.bytes);
        if (rc == 0 && isThere)
            files->push_back(std::move(file));
        return rc;
    };
    if (description) {
        if (const int rc = add({filePart, TableNames::MetaSubDatabase, 0, 0}))
            return rc;
    }
    for (unsigned partition = 0; partition < OpenTables::Partitions; ++partition) {
        const QByteArray name = filePart + TableNames::partitionSuffix(partition).c_str();
        if (const int rc = add({name, TableNames::DataSubDatabase, partition, 0}))
            return rc;
    }
    return 0;
}

int size(BDBEnv* env, const QByteArray& name, std::uint64_t* bytes)
{
    std::vector<std::filesystem::path> directories;
    if (const int rc = DatabaseFiles::findDirectories(env, &directories))
        return rc;
    bool isThere = false;
    *bytes = 0;
    return look(directories, name, &isThere, bytes);
}

} // namespace TableFiles
