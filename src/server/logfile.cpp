#include "server/logfile.h"

#include "base/streamfile.h"
#include "log/log.h"

#include <cerrno>

void LogFile::open()
{
    if (path_ != nullptr)
        file_ = std::fopen(path_, "ae"); // e: close-on-exec
    Log::setDestination(file_ == nullptr ? stderr : file_);
}

void LogFile::reopen()
{
    if (path_ == nullptr)
        return;
    if (file_ == nullptr)
        file_ = std::fopen("/dev/null", "ae"); // becomes the file, which could not be opened before
    if (const int rc = file_ == nullptr ? errno : Base::continueIn(file_, path_)) {
        LOG_ERROR(LogOrigin::Server, __LINE__) << "Failed to reopen log file " << path_ << " error " << rc;
        return;
    }
    Log::setDestination(file_);
    LOG_INFO << "Log file reopened";
}
