#include "storage/logpreparation.h"

#include "base/descriptor.h"
#include "base/fileio.h"
#include "base/filesync.h"
#include "base/trythread.h"
#include "format/berkeleydbnames.h"
#include "format/logfiles.h"
#include "format/logrecords.h"
#include "log/log.h"
#include "storage/bdbenv.h"
#include "storage/lognaming.h"
#include "storage/syncfailures.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <system_error>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

// The file is prepared while three quarters of the current one are still to be written.
constexpr std::uint32_t DueAfter = 4;

// So many files of this size must fit into what is left of the file system.
constexpr std::uint64_t RoomFor = 8;

// Zeros are written in pieces, each of which is on its way to the disk before the next one: the flushes of the log wait
// for one of them at most.
constexpr std::size_t PieceBytes = 1024UL * 1024;

// Between two pieces, so that flushes are not kept from the disk all the time. A file of 40 MiB takes 0.2 s.
constexpr std::chrono::milliseconds PieceBreak{2};

// Between two looks at the log's position. 64 clients on a fast disk take 400 ms for a file of 40 MiB.
constexpr std::chrono::milliseconds Pause{10};

// Berkeley DB's default mode of log files.
constexpr mode_t UsualMode = 0660;

bool hasRoomFor(const fs::path& directory, std::uint64_t bytes)
{
    std::error_code error;
    const fs::space_info space = fs::space(directory, error);
    return !error && space.available / RoomFor >= bytes;
}

/** Whether Berkeley DB has not begun to write a log file. */
bool isUnused(const fs::path& file)
{
    const Base::Descriptor log(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    char start[LogRecords::FirstRecord];
    std::size_t got = 0;
    return log.isOpen() && Base::readAt(log.number(), 0, start, sizeof start, &got) == 0 && got == sizeof start &&
           std::all_of(start, start + got, [](char byte) { return byte == 0; });
}

} // namespace

LogPreparation::LogPreparation(BDBEnv* env, fs::path directory) : env_(env), directory_(std::move(directory))
{
    thread_ = Base::tryThread([this] { run(); }); // the caller asks isRunning()
}

LogPreparation::~LogPreparation()
{
    ending_ = true;
    noteFlush();
    if (thread_.joinable())
        thread_.join();
}

void LogPreparation::noteFlush() noexcept
{
    if (!flushed_.exchange(true))
        flushed_.notify_one();
}

void LogPreparation::run()
{
    for (;;) {
        flushed_.wait(false);
        if (ending_)
            return;
        flushed_ = false;
        prepareIfDue();
        std::this_thread::sleep_for(Pause);
    }
}

void LogPreparation::prepareIfDue()
{
    DB_LOG_STAT* statistics = nullptr;
    if (env_->log_stat(&statistics, 0) != 0)
        return;
    const std::uint32_t current = statistics->st_cur_file;
    const std::uint32_t offset = statistics->st_cur_offset;
    const std::uint32_t bytes = statistics->st_lg_size;
    std::free(statistics);
    if (settled_ > current || offset < bytes / DueAfter)
        return;
    settled_ = current + 1; // also after a failure: the next file is a new attempt
    if (!hasRoomFor(directory_, bytes))
        return;
    if (const int rc = prepare(current + 1, bytes))
        LOG_WARN << "Cannot prepare " << LogFiles::name(current + 1).c_str() << " : " << std::strerror(rc);
}

int LogPreparation::prepare(std::uint32_t number, std::uint32_t bytes)
{
    int mode = 0;
    (void)env_->get_lg_filemode(&mode); // 0 means the default, as does a failure
    const fs::path draft = directory_ / BerkeleyDbNames::LogDraft;
    std::error_code ignored;
    fs::remove(draft, ignored);
    const Base::Descriptor file(::open(draft.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC,
                                       mode != 0 ? static_cast<mode_t>(mode) : UsualMode));
    if (!file.isOpen())
        return errno;
    int rc = fill(file.number(), bytes);
    if (rc == 0)
        rc = giveName(draft, directory_ / LogFiles::name(number));
    fs::remove(draft, ignored);                      // it is gone if it has the name
    return rc == ECANCELED || rc == EEXIST ? 0 : rc; // the environment is closed, or Berkeley DB was faster
}

/** ECANCELED when the environment is closed meanwhile. */
int LogPreparation::fill(int descriptor, std::uint32_t bytes) const
{
    const std::vector<char> zeros(PieceBytes);
    for (std::uint32_t done = 0; done < bytes;) {
        if (ending_)
            return ECANCELED;
        const std::size_t size = std::min<std::size_t>(zeros.size(), bytes - done);
        if (const int rc = Base::writeAllAt(descriptor, done, {zeros.data(), size}))
            return rc;
        // Ignored: only begins what the end waits for.
        (void)::sync_file_range(descriptor, done, static_cast<off_t>(size),
                                SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER);
        done += static_cast<std::uint32_t>(size);
        std::this_thread::sleep_for(PieceBreak);
    }
    return Base::syncToDisk(descriptor);
}

int LogPreparation::giveName(const fs::path& draft, const fs::path& name) const
{
    const Base::Descriptor directory(::open(directory_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    struct stat status {};
    if (!directory.isOpen() || ::fstat(directory.number(), &status) != 0)
        return errno;
    const LogNaming naming(status.st_dev);
    if (::renameat2(AT_FDCWD, draft.c_str(), AT_FDCWD, name.c_str(), RENAME_NOREPLACE) != 0)
        return errno;
    const int rc = Base::syncToDisk(directory.number());
    if (rc != 0)
        SyncFailures::note(directory.number(), rc); // Berkeley DB may already write to the file
    return rc;
}

void LogPreparation::removeUnused(const fs::path& directory)
{
    std::error_code ignored;
    fs::remove(directory / BerkeleyDbNames::LogDraft, ignored);
    const std::set<std::uint32_t> numbers = LogFiles::numbersIn(directory);
    if (numbers.size() < 2)
        return;
    const fs::path last = directory / LogFiles::name(*numbers.rbegin());
    if (isUnused(last))
        fs::remove(last, ignored);
}
