#include "storage/copiedlog.h"

#include "format/logfiles.h"

#include <QByteArray>

#include <system_error>

namespace fs = std::filesystem;

int CopiedLog::catchUp(Files* files)
{
    LogPosition now;
    if (const int rc = LogTail::flushedPosition(env_, &now))
        return rc;
    if (const int rc = LogTail::copyRange(env_, QByteArray::fromStdString(target_.string()), copied_, now))
        return rc;
    copied_ = now;
    return listUpTo(now, files);
}

/** Reads back what was copied: the checksum is that of the file's content. */
int CopiedLog::listUpTo(LogPosition position, Files* files)
{
    for (;;) {
        const std::string name = LogFiles::name(summed_.file);
        const fs::path file = target_ / name;
        const bool isLast = summed_.file == position.file;
        std::error_code error;
        const std::uint64_t size = isLast ? position.offset : fs::file_size(file, error);
        if (error)
            return error.value();
        if (const int rc = checksum_.addFile(file, summed_.offset, size - summed_.offset))
            return rc;
        (*files)[name] = {size, checksum_.value()};
        if (isLast) {
            summed_ = position;
            return 0;
        }
        summed_ = {summed_.file + 1, 0};
        checksum_ = Checksum();
    }
}
