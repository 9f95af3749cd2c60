#include "storage/tablefiles.h"

#include "format/tablename.h"
#include "storage/bdbenv.h"
#include "storage/databasefile.h"
#include "storage/databasefiles.h"
#include "storage/opentables.h"

#include <cerrno>
#include <filesystem>
#include <utility>

#include <sys/stat.h>

namespace fs = std::filesystem;

namespace TableFiles {

namespace {

using Paths = std::vector<fs::path>;

/** Where the environment would find a file: in the first of its directories that has it. No path if none has. */
int look(const Paths& directories, const QByteArray& name, fs::path* path, std::uint64_t* bytes)
{
    for (const fs::path& directory : directories) {
        const fs::path here = directory / name.toStdString();
        struct stat status {};
        if (::stat(here.c_str(), &status) == 0) {
            *path = here;
            *bytes = static_cast<std::uint64_t>(status.st_size);
            return 0;
        }
        if (errno != ENOENT && errno != ENOTDIR)
            return errno;
    }
    return 0;
}

/** find() in these directories. */
int findIn(const Paths& directories, const QByteArray& filePart, bool description, std::vector<File>* files)
{
    bool isTable = false;
    const auto add = [&](File file) {
        fs::path path;
        const int rc = look(directories, file.name, &path, &file.bytes);
        if (rc == 0 && !path.empty()) {
            isTable = isTable || DatabaseFile::isDatabase(path);
            files->push_back(std::move(file));
        }
        return rc;
    };
    if (description) {
        if (const int rc = add({filePart, TableNames::MetaSubDatabase, OpenTables::Meta, 0}))
            return rc;
    }
    for (unsigned partition = 0; partition < OpenTables::Partitions; ++partition) {
        const QByteArray name = filePart + TableNames::partitionSuffix(partition).c_str();
        if (const int rc = add({name, TableNames::DataSubDatabase, partition, 0}))
            return rc;
    }
    if (!isTable)
        files->clear();
    return 0;
}

bool isPossible(const QByteArray& filePart)
{
    return TableNames::refusal({filePart.cbegin(), filePart.cend()}) == nullptr;
}

} // namespace

int find(BDBEnv* env, const QByteArray& filePart, bool description, std::vector<File>* files)
{
    if (!isPossible(filePart))
        return 0;
    Paths directories;
    if (const int rc = DatabaseFiles::findDirectories(env, &directories))
        return rc;
    return findIn(directories, filePart, description, files);
}

bool existUnopened(const fs::path& home, const QByteArray& filePart)
{
    std::vector<File> files;
    return isPossible(filePart) && findIn(DatabaseFiles::directoriesOf(home), filePart, true, &files) == 0 &&
           !files.empty();
}

int size(BDBEnv* env, const QByteArray& name, std::uint64_t* bytes)
{
    Paths directories;
    if (const int rc = DatabaseFiles::findDirectories(env, &directories))
        return rc;
    fs::path path;
    *bytes = 0;
    return look(directories, name, &path, bytes);
}

} // namespace TableFiles
