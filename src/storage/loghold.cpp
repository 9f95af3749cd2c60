#include "storage/loghold.h"

#include "base/fileio.h"
#include "base/filesync.h"
#include "format/backupnames.h"
#include "log/log.h"
#include "storage/settings.h"

#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

namespace fs = std::filesystem;

int LogHold::open(const fs::path& home, bool removesUnneeded)
{
    home_ = home;
    removesUnneeded_ = removesUnneeded;
    if (!removesUnneeded_)
        return 0;
    std::string target;
    const int rc = Base::readFile(home_ / BackupNames::HoldFile, &target);
    if (rc == ENOENT)
        return 0;
    if (target.ends_with('\n'))
        target.pop_back();
    holder_ = QByteArray::fromStdString(target);
    return rc;
}

int LogHold::take(const QByteArray& target, Beginning beginning)
{
    const std::lock_guard lock(mutex_);
    if (const int rc = write(target))
        return rc;
    previous_ = std::exchange(holder_, target);
    if (beginning == Copy && previous_ == holder_)
        previous_.reset(); // if the copy fails, its target holds nothing that could be continued
    return 0;
}

void LogHold::settle()
{
    const std::lock_guard lock(mutex_);
    previous_.reset();
}

void LogHold::fail()
{
    const std::lock_guard lock(mutex_);
    if (write(previous_) == 0)
        holder_ = std::exchange(previous_, {});
}

void LogHold::release()
{
    const std::lock_guard lock(mutex_);
    previous_.reset();
    if (write({}) == 0)
        holder_.reset();
}

std::optional<QByteArray> LogHold::holder() const
{
    const std::lock_guard lock(mutex_);
    return holder_;
}

bool LogHold::Removal::isAllowed() const
{
    return hold_.removesUnneeded_ ? !hold_.holder_ : Settings::backupDisabled() != 0;
}

/** Records on disk who holds the log. */
int LogHold::write(const std::optional<QByteArray>& holder)
{
    if (!removesUnneeded_)
        return 0;
    const fs::path file = home_ / BackupNames::HoldFile;
    const fs::path draft = home_ / BackupNames::HoldDraft;
    std::error_code error;
    int rc = 0;
    if (holder) {
        rc = Base::writeToDisk(draft, holder->toStdString() + '\n');
        if (rc == 0) {
            fs::rename(draft, file, error);
            rc = error.value();
        }
    } else {
        fs::remove(file, error);
        rc = error.value();
    }
    if (rc == 0)
        rc = Base::syncToDisk(home_);
    if (rc != 0)
        LOG_WARN << "DB Backup cannot record in " << file.string() << " who needs the log files rc " << rc;
    return rc;
}
