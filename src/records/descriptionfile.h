#ifndef QUORVA_RECORDS_DESCRIPTIONFILE_H
#define QUORVA_RECORDS_DESCRIPTIONFILE_H

#include "storage/databaserecord.h"

#include <QByteArray>

#include <filesystem>

class BDBEnv;

/** Descriptions of tables whose files are not open. Opens no database and locks nothing; any thread. */
namespace Records {

/** The description in a file, as far as it has been written there. */
[[nodiscard]] DatabaseRecord::Found readDescriptionFile(const std::filesystem::path& file);

/**
 * Whether the table with this file part has a description in the files of an open environment, which has not opened
 * that file since recovery. False also for a file that cannot be read.
 */
[[nodiscard]] bool hasDescriptionFile(BDBEnv* env, const QByteArray& filePart);

} // namespace Records

#endif
