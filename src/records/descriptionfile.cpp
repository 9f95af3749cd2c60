#include "records/descriptionfile.h"

#include "format/tablename.h"
#include "protocol/limits.h"
#include "records/schema.h"
#include "storage/bdbenv.h"
#include "storage/databasefiles.h"

#include <algorithm>
#include <vector>

DatabaseRecord::Found Records::readDescriptionFile(const std::filesystem::path& file)
{
    const QByteArray key = schemaRecordKey();
    return DatabaseRecord::read(file, TableNames::MetaSubDatabase, {key.cbegin(), key.cend()}, Limits::ItemBytes);
}

bool Records::hasDescriptionFile(BDBEnv* env, const QByteArray& filePart)
{
    std::vector<std::filesystem::path> directories;
    if (DatabaseFiles::findDirectories(env, &directories) != 0)
        return false;
    return std::any_of(directories.begin(), directories.end(), [&](const std::filesystem::path& directory) {
        return readDescriptionFile(directory / filePart.toStdString()).value.has_value();
    });
}
