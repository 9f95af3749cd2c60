#include "server/lockfile.h"

#include "base/fileio.h"
#include "base/standarddescriptors.h"

#include <QDir>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <thread>

namespace {

// Short enough not to delay a start or the reaction to the parent's exit, long enough to cost nothing.
constexpr std::chrono::milliseconds AcquireInterval(10);
constexpr std::chrono::milliseconds WatchInterval(50);

QByteArray temporaryDirectory()
{
    const QByteArray directory = qgetenv("TMPDIR");
    return directory.isEmpty() ? QByteArray("/tmp") : directory;
}

} // namespace

LockFile::LockFile(const QByteArray& name)
    : path_(name.isEmpty() || name.contains('/') ? name : temporaryDirectory() + '/' + name)
{}

void LockFile::closeInherited() const
{
    struct stat file {};
    if (!isNamed() || stat(path_.constData(), &file) != 0)
        return;
    const QStringList numbers = QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::AllEntries | QDir::System);
    for (const QString& number : numbers) {
        const int descriptor = number.toInt();
        struct stat status {};
        if (fstat(descriptor, &status) == 0 && status.st_dev == file.st_dev && status.st_ino == file.st_ino)
            Base::closeOrReplace(descriptor);
    }
}

bool LockFile::create()
{
    return open(O_RDWR | O_CREAT);
}

bool LockFile::openExisting()
{
    return open(O_RDONLY);
}

bool LockFile::open(int flags)
{
    // Non-blocking, in case the path is a FIFO.
    descriptor_ = Base::Descriptor(::open(path_.constData(), flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0644));
    if (!descriptor_.isOpen())
        error_ = errno;
    return descriptor_.isOpen();
}

LockFile::Wait LockFile::acquire(std::chrono::milliseconds limit)
{
    const auto end = std::chrono::steady_clock::now() + limit;
    bool waited = false;
    for (;;) {
        const Try answer = tryLock();
        if (answer == Try::Failed)
            return Wait::Failed;
        if (answer == Try::Taken)
            break;
        const auto left = end - std::chrono::steady_clock::now();
        if (left <= std::chrono::nanoseconds::zero()) {
            error_ = ETIMEDOUT;
            return Wait::TimedOut;
        }
        std::this_thread::sleep_for(std::min<std::chrono::nanoseconds>(left, AcquireInterval));
        waited = true;
    }
    // Kept: a server that had to wait does not take over from a holder that died, and every server ends that way. So a
    // server started while its predecessor is being killed gives up; parents restart it, and then it need not wait.
    if (waited && holdsProcessId()) {
        unlock();
        error_ = EOWNERDEAD;
        return Wait::Abandoned;
    }
    writeProcessId();
    return Wait::Acquired;
}

bool LockFile::waitUntilFree()
{
    for (;; std::this_thread::sleep_for(WatchInterval)) {
        // Querying record locks has no side effect, so it comes first. A flock can be detected only by trying to take
        // it, which is done only if no record lock is in the way.
        Try answer = recordLock(F_OFD_GETLK);
        if (answer == Try::Taken) {
            answer = fileLock();
            if (answer == Try::Taken)
                unlock();
        }
        if (answer != Try::Held)
            return answer == Try::Taken;
    }
}

/** Takes both locks or neither. All servers take them in the same order, so two of them never hold one each. */
LockFile::Try LockFile::tryLock()
{
    const Try answer = fileLock();
    if (answer != Try::Taken)
        return answer;
    const Try records = recordLock(F_OFD_SETLK);
    if (records != Try::Taken)
        unlock();
    return records;
}

/** F_OFD_SETLK takes the record lock on the whole file; F_OFD_GETLK only queries whether it could be taken. */
LockFile::Try LockFile::recordLock(int command)
{
    struct flock whole {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET; // start 0, length 0: the whole file, even if it grows
    if (fcntl(descriptor_.number(), command, &whole) == 0)
        return command == F_OFD_SETLK || whole.l_type == F_UNLCK ? Try::Taken : Try::Held;
    error_ = errno;
    return error_ == EAGAIN || error_ == EACCES ? Try::Held : Try::Failed;
}

LockFile::Try LockFile::fileLock()
{
    if (flock(descriptor_.number(), LOCK_EX | LOCK_NB) == 0)
        return Try::Taken;
    error_ = errno;
    return error_ == EWOULDBLOCK ? Try::Held : Try::Failed;
}

// Not const, as it changes the state that the object represents. NOLINTNEXTLINE(readability-make-member-function-const)
void LockFile::unlock()
{
    struct flock whole {};
    whole.l_type = F_UNLCK;
    whole.l_whence = SEEK_SET;
    (void)fcntl(descriptor_.number(), F_OFD_SETLK, &whole); // ignored: releasing a lock that is not held is no error
    (void)flock(descriptor_.number(), LOCK_UN);
}

bool LockFile::holdsProcessId() const
{
    char text[64];
    std::size_t size = 0;
    if (Base::readAt(descriptor_.number(), 0, text, sizeof text, &size) != 0)
        return false;
    bool isNumber = false;
    const qlonglong id = QByteArray(text, static_cast<qsizetype>(size)).trimmed().toLongLong(&isNumber);
    return isNumber && id > 0;
}

/**
 * A full disk must not keep the server from starting: the lock is held, and an empty file only looks like a clean
 * release.
 */
void LockFile::writeProcessId() const
{
    const QByteArray text = QByteArray::number(static_cast<qlonglong>(getpid()));
    if (ftruncate(descriptor_.number(), 0) == 0)
        (void)Base::writeAllAt(descriptor_.number(), 0, {text.cbegin(), text.cend()});
}
