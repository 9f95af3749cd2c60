#include "records/descriptionfile.h"

#include "format/tablename.h"
#include "protocol/limits.h"
#include "records/schema.h"
#include "storage/bdbenv.h"
#include "storage/databasefiles.h"

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
    for (const std::filesystem::path& directory : directories) {
        if (readDescriptionFile(directory / filePart.toStdString()).value)
            return true;
    }
    return false;
}
