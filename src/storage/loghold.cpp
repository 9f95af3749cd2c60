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

namespace {

using SystemTime = std::chrono::system_clock::time_point;

SystemTime systemTime(fs::file_time_type time)
{
    return std::chrono::time_point_cast<SystemTime::duration>(fs::file_time_type::clock::to_sys(time));
}

fs::file_time_type fileTime(SystemTime time)
{
    return fs::file_time_type::clock::from_sys(time);
}

} // namespace

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
    if (rc != 0)
        return rc;
    std::error_code error;
    const fs::file_time_type written = fs::last_write_time(home_ / BackupNames::HoldFile, error);
    holder_ = Holder{QByteArray::fromStdString(target), systemTime(written)};
    return error.value();
}

int LogHold::take(const QByteArray& target, Beginning beginning)
{
    const std::lock_guard lock(mutex_);
    const bool isSame = holder_ && holder_->target == target;
    const Holder next{target, isSame && beginning == Shipping ? holder_->since : std::chrono::system_clock::now()};
    if (const int rc = write(next))
        return rc;
    previous_ = holder_;
    setHolder(next);
    if (beginning == Copy && isSame)
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
        setHolder(std::exchange(previous_, {}));
}

void LogHold::release()
{
    const std::lock_guard lock(mutex_);
    previous_.reset();
    if (write({}) == 0)
        setHolder({});
}

std::optional<LogHold::Holder> LogHold::holder() const
{
    const std::lock_guard lock(holderMutex_);
    return removesUnneeded_ ? holder_ : std::nullopt;
}

void LogHold::setHolder(const std::optional<Holder>& holder)
{
    const std::lock_guard lock(holderMutex_);
    holder_ = holder;
}

bool LogHold::Removal::isAllowed() const
{
    return hold_.removesUnneeded_ ? !hold_.holder_ : Settings::backupDisabled() != 0;
}

/** Records on disk which backup holds the log. */
int LogHold::write(const std::optional<Holder>& holder)
{
    if (!removesUnneeded_)
        return 0;
    const fs::path file = home_ / BackupNames::HoldFile;
    const fs::path draft = home_ / BackupNames::HoldDraft;
    std::error_code error;
    int rc = 0;
    if (holder) {
        rc = Base::writeToDisk(draft, holder->target.toStdString() + '\n');
        if (rc == 0) {
            fs::last_write_time(draft, fileTime(holder->since), error); // ignored: then it is when this was written
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
