#include "server/lockfile.h"

#include "lockholder.h"
#include "support/procfs.h"
#include "support/systemcallfilter.h"
#include "support/tempdir.h"
#include "support/waituntil.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

namespace {

using namespace std::chrono_literals;
using Wait = LockFile::Wait;

constexpr auto LongEnough = std::chrono::milliseconds(60s); // for waits that are meant to end before

void writeFile(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

const std::string OwnId = std::to_string(getpid());

/** Sets an environment variable, or unsets it when `value` is null, and puts it back at the end. */
class ScopedVariable {
public:
    ScopedVariable(const char* name, const char* value) : name_(name), wasSet_(qEnvironmentVariableIsSet(name))
    {
        before_ = qgetenv(name);
        value == nullptr ? qunsetenv(name) : qputenv(name, value);
    }
    ~ScopedVariable() { wasSet_ ? qputenv(name_, before_) : qunsetenv(name_); }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

private:
    const char* name_;
    bool wasSet_;
    QByteArray before_;
};

/** Runs `work` on a thread and tells when it has begun to wait. */
class Waiter {
public:
    template <typename Work> explicit Waiter(Work work)
    {
        thread_ = std::thread([this, work = std::move(work)] {
            id_ = gettid();
            work();
        });
    }
    ~Waiter() { join(); }
    Waiter(const Waiter&) = delete;
    Waiter& operator=(const Waiter&) = delete;

    /** Whatever it could do without waiting is certainly behind it once it has gone to sleep several times more. */
    bool hasWaited()
    {
        if (!waitUntil([this] { return id_ != 0; }))
            return false;
        const long before = ProcFs::sleeps(id_);
        return waitUntil([&] { return ProcFs::sleeps(id_) >= before + 3; });
    }
    void join()
    {
        if (thread_.joinable())
            thread_.join();
    }

private:
    std::atomic<pid_t> id_ = 0;
    std::thread thread_;
};

/** The result of an acquire() that waits until `release` has run. */
template <typename Release> Wait acquireOnce(LockFile* lock, Release release)
{
    Wait result = Wait::Failed;
    Waiter waiter([&] { result = lock->acquire(LongEnough); });
    EXPECT_TRUE(waiter.hasWaited());
    release();
    waiter.join();
    return result;
}

class LockFileOfEitherKind : public testing::TestWithParam<LockKind> {
protected:
    const TempDir directory_;
    const std::string path_ = directory_.file("lock");
};

std::string kindName(const testing::TestParamInfo<LockKind>& info)
{
    return info.param == LockKind::File ? "FileLock" : "RecordLock";
}

INSTANTIATE_TEST_SUITE_P(Kinds, LockFileOfEitherKind, testing::Values(LockKind::File, LockKind::Record), kindName);

} // namespace

TEST(LockFileName, WithASlashIsThePath)
{
    const ScopedVariable temporary("TMPDIR", "/elsewhere");
    EXPECT_EQ(LockFile("/a/lock").path(), "/a/lock");
    EXPECT_EQ(LockFile("./lock").path(), "./lock");
    EXPECT_EQ(LockFile("lock/").path(), "lock/");
}

TEST(LockFileName, WithoutASlashIsInsideTheTemporaryDirectory)
{
    const ScopedVariable temporary("TMPDIR", "/elsewhere");
    EXPECT_EQ(LockFile("lock").path(), "/elsewhere/lock");
    EXPECT_EQ(LockFile("Global\\lock name").path(), "/elsewhere/Global\\lock name");
}

TEST(LockFileName, TemporaryDirectoryIsSlashTmpWhenUnsetOrEmpty)
{
    for (const char* value : {static_cast<const char*>(nullptr), ""}) {
        const ScopedVariable temporary("TMPDIR", value);
        EXPECT_EQ(LockFile("lock").path(), "/tmp/lock");
    }
}

TEST(LockFileName, EmptyIsNoName)
{
    LockFile lock("");
    EXPECT_FALSE(lock.isNamed());
    EXPECT_EQ(lock.path(), "");
    EXPECT_FALSE(lock.openExisting());
    EXPECT_EQ(lock.error(), ENOENT);
    EXPECT_TRUE(LockFile("x").isNamed());
}

TEST(LockFileCreate, MakesAnEmptyFileAndLocksNothing)
{
    const TempDir directory;
    const std::string path = directory.file("lock");
    LockFile lock(QByteArray::fromStdString(path));
    ASSERT_TRUE(lock.create());
    EXPECT_TRUE(std::filesystem::is_regular_file(path));
    EXPECT_EQ(std::filesystem::file_size(path), 0u);
    EXPECT_TRUE(isFree(path));
}

TEST(LockFileCreate, KeepsTheContentOfAFileThatExists)
{
    const TempDir directory;
    const std::string path = directory.file("lock");
    writeFile(path, "content");
    LockFile lock(QByteArray::fromStdString(path));
    ASSERT_TRUE(lock.create());
    EXPECT_EQ(ProcFs::read(path), "content");
}

TEST(LockFileCreate, TellsWhyItFails)
{
    const TempDir directory;
    LockFile missing(QByteArray::fromStdString(directory.file("no/lock")));
    EXPECT_FALSE(missing.create());
    EXPECT_EQ(missing.error(), ENOENT);
    LockFile isDirectory(directory.bytes());
    EXPECT_FALSE(isDirectory.create());
    EXPECT_EQ(isDirectory.error(), EISDIR);
}

TEST(LockFileAcquire, WritesTheProcessIdAndNothingElse)
{
    const TempDir directory;
    const std::string path = directory.file("lock");
    LockFile lock(QByteArray::fromStdString(path));
    ASSERT_TRUE(lock.create());
    EXPECT_EQ(lock.acquire(0ms), Wait::Acquired);
    EXPECT_EQ(ProcFs::read(path), OwnId);
}

TEST(LockFileAcquire, HoldsTheFileInBothWaysForLife)
{
    const TempDir directory;
    const std::string path = directory.file("lock");
    {
        LockFile lock(QByteArray::fromStdString(path));
        ASSERT_TRUE(lock.create());
        ASSERT_EQ(lock.acquire(0ms), Wait::Acquired);
        EXPECT_TRUE(isHeld(path, LockKind::File));
        EXPECT_TRUE(isHeld(path, LockKind::Record));
    }
    EXPECT_TRUE(isFree(path));
    EXPECT_EQ(ProcFs::read(path), OwnId) << "the file stays, with the last holder's id";
}

TEST(LockFileAcquire, AtTheFirstTryTakesTheFileWhateverItHolds)
{
    const TempDir directory;
    const std::string path = directory.file("lock");
    for (const std::string content : {"1", "123456789012345", "no number", "\0\1"}) {
        writeFile(path, content);
        LockFile lock(QByteArray::fromStdString(path));
        ASSERT_TRUE(lock.create()) << content;
        EXPECT_EQ(lock.acquire(LongEnough), Wait::Acquired) << content;
        EXPECT_EQ(ProcFs::read(path), OwnId) << content;
    }
}

TEST(LockFileAcquire, RecordLockCoversTheWholeFile)
{
    const TempDir directory;
    const std::string path = directory.file("lock");
    LockFile lock(QByteArray::fromStdString(path));
    ASSERT_TRUE(lock.create());
    ASSERT_EQ(lock.acquire(0ms), Wait::Acquired);
    const int descriptor = open(path.c_str(), O_RDWR | O_CLOEXEC);
    for (const off_t start : {0, 1, 1000000}) {
        struct flock one {};
        one.l_type = F_RDLCK;
        one.l_whence = SEEK_SET;
        one.l_start = start;
        one.l_len = 1;
        EXPECT_EQ(fcntl(descriptor, F_OFD_SETLK, &one), -1) << start;
    }
    close(descriptor);
}

TEST_P(LockFileOfEitherKind, HeldFileIsWaitedForUntilTheLimit)
{
    LockHolder holder(path_, GetParam());
    holder.write("content");
    LockFile lock(QByteArray::fromStdString(path_));
    ASSERT_TRUE(lock.create());
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(lock.acquire(50ms), Wait::TimedOut);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 50ms);
    EXPECT_EQ(lock.error(), ETIMEDOUT);
    EXPECT_EQ(ProcFs::read(path_), "content");
    holder.die();
    EXPECT_TRUE(isFree(path_)) << "one that gave up must not hold half of it";
}

TEST_P(LockFileOfEitherKind, HolderThatEmptiesTheFileHandsItOver)
{
    LockHolder holder(path_, GetParam());
    holder.write("1");
    LockFile lock(QByteArray::fromStdString(path_));
    ASSERT_TRUE(lock.create());
    EXPECT_EQ(acquireOnce(&lock, [&] { holder.letGo(); }), Wait::Acquired);
    EXPECT_EQ(ProcFs::read(path_), OwnId);
    EXPECT_TRUE(isHeld(path_, LockKind::File));
    EXPECT_TRUE(isHeld(path_, LockKind::Record));
}

TEST_P(LockFileOfEitherKind, HolderThatLeavesItsIdWasAbandoned)
{
    for (const std::string content : {"1", "4194304", "77\n"}) {
        LockHolder holder(path_, GetParam());
        holder.write(content);
        LockFile lock(QByteArray::fromStdString(path_));
        ASSERT_TRUE(lock.create());
        EXPECT_EQ(acquireOnce(&lock, [&] { holder.die(); }), Wait::Abandoned) << content;
        EXPECT_EQ(lock.error(), EOWNERDEAD) << content;
        EXPECT_EQ(ProcFs::read(path_), content) << "what the holder left is not touched";
        EXPECT_TRUE(isFree(path_)) << content;
    }
}

TEST_P(LockFileOfEitherKind, TextThatIsNoIdIsNobodysDeath)
{
    for (const std::string content : {"", " \n", "owner", "12 monkeys", "-1", "0"}) {
        LockHolder holder(path_, GetParam());
        holder.write(content);
        LockFile lock(QByteArray::fromStdString(path_));
        ASSERT_TRUE(lock.create());
        EXPECT_EQ(acquireOnce(&lock, [&] { holder.die(); }), Wait::Acquired) << content;
        EXPECT_EQ(ProcFs::read(path_), OwnId) << content;
    }
}

TEST(LockFileAcquire, ProcessWithAnOrdinaryRecordLockKeepsItOut)
{
    const TempDir directory;
    const std::string path = directory.file("lock");
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        const int descriptor = open(path.c_str(), O_RDWR | O_CREAT, 0600);
        struct flock whole {};
        whole.l_type = F_WRLCK;
        whole.l_whence = SEEK_SET;
        const char answer = fcntl(descriptor, F_SETLK, &whole) == 0 ? 'y' : 'n';
        (void)!write(ready[1], &answer, 1);
        pause();
        _exit(0);
    }
    char answer = '\0';
    ASSERT_EQ(read(ready[0], &answer, 1), 1);
    ASSERT_EQ(answer, 'y');

    LockFile lock(QByteArray::fromStdString(path));
    ASSERT_TRUE(lock.create());
    EXPECT_EQ(lock.acquire(30ms), Wait::TimedOut);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    EXPECT_EQ(lock.acquire(0ms), Wait::Acquired);
    close(ready[0]);
    close(ready[1]);
}

TEST(LockFileAcquire, TellsWhenTheSystemRefusesAndHoldsNothing)
{
    const TempDir directory;
    const std::string path = directory.file("lock");
    for (const unsigned call : {unsigned{SYS_flock}, unsigned{SYS_fcntl}}) {
        LockFile lock(QByteArray::fromStdString(path));
        ASSERT_TRUE(lock.create());
        Wait result = Wait::Acquired;
        if (!runWithFailingCalls({call}, ENOLCK, [&] { result = lock.acquire(LongEnough); }))
            GTEST_SKIP() << "no system call filters here";
        EXPECT_EQ(result, Wait::Failed);
        EXPECT_EQ(lock.error(), ENOLCK);
        EXPECT_TRUE(isFree(path));
        EXPECT_EQ(ProcFs::read(path), "");
    }
}

TEST(LockFileWaitUntilFree, TellsWhenTheSystemRefuses)
{
    const TempDir directory;
    const std::string path = directory.file("lock");
    writeFile(path, "");
    for (const unsigned call : {unsigned{SYS_flock}, unsigned{SYS_fcntl}}) {
        LockFile lock(QByteArray::fromStdString(path));
        ASSERT_TRUE(lock.openExisting());
        bool free = true;
        if (!runWithFailingCalls({call}, ENOLCK, [&] { free = lock.waitUntilFree(); }))
            GTEST_SKIP() << "no system call filters here";
        EXPECT_FALSE(free);
        EXPECT_EQ(lock.error(), ENOLCK);
        EXPECT_TRUE(isFree(path));
    }
}

TEST(LockFileOpenExisting, NeedsTheFileAndCreatesNone)
{
    const TempDir directory;
    const std::string path = directory.file("lock");
    LockFile lock(QByteArray::fromStdString(path));
    EXPECT_FALSE(lock.openExisting());
    EXPECT_EQ(lock.error(), ENOENT);
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(LockFileWaitUntilFree, ReturnsAtOnceWhenNobodyHoldsTheFile)
{
    const TempDir directory;
    const std::string path = directory.file("lock");
    writeFile(path, "1");
    LockFile lock(QByteArray::fromStdString(path));
    ASSERT_TRUE(lock.openExisting());
    EXPECT_TRUE(lock.waitUntilFree());
    EXPECT_EQ(ProcFs::read(path), "1");
    EXPECT_TRUE(isFree(path)) << "the one who waited takes nothing";
}

TEST_P(LockFileOfEitherKind, WaitUntilFreeReturnsWhenTheHolderDies)
{
    LockHolder holder(path_, GetParam());
    holder.write("1");
    LockFile lock(QByteArray::fromStdString(path_));
    ASSERT_TRUE(lock.openExisting());
    std::atomic<bool> released = false;
    bool free = false;
    bool early = false;
    Waiter waiter([&] {
        free = lock.waitUntilFree();
        early = !released;
    });
    ASSERT_TRUE(waiter.hasWaited());
    released = true;
    holder.die();
    waiter.join();
    EXPECT_TRUE(free);
    EXPECT_FALSE(early);
    EXPECT_TRUE(isFree(path_));
}

TEST_P(LockFileOfEitherKind, WaitUntilFreeWaitsForBothKinds)
{
    auto first = std::make_unique<LockHolder>(path_, GetParam());
    auto second = std::make_unique<LockHolder>(path_, GetParam() == LockKind::File ? LockKind::Record : LockKind::File);
    LockFile lock(QByteArray::fromStdString(path_));
    ASSERT_TRUE(lock.openExisting());
    std::atomic<bool> released = false;
    bool early = false;
    Waiter waiter([&] {
        EXPECT_TRUE(lock.waitUntilFree());
        early = !released;
    });
    ASSERT_TRUE(waiter.hasWaited());
    first.reset();
    ASSERT_TRUE(waiter.hasWaited());
    released = true;
    second.reset();
    waiter.join();
    EXPECT_FALSE(early);
}

TEST(LockFileCloseInherited, ClosesOurCopiesOfTheFileAndNoOther)
{
    const TempDir directory;
    const std::string path = directory.file("lock");
    const int first = open(path.c_str(), O_RDWR | O_CREAT, 0600);
    ASSERT_TRUE(tryLock(first, LockKind::File));
    ASSERT_TRUE(tryLock(first, LockKind::Record));
    const int second = dup(first);
    const int other = open(directory.file("other").c_str(), O_RDWR | O_CREAT, 0600);

    LockFile(QByteArray::fromStdString(path)).closeInherited();

    EXPECT_EQ(fcntl(first, F_GETFD), -1);
    EXPECT_EQ(fcntl(second, F_GETFD), -1);
    EXPECT_EQ(fcntl(other, F_GETFD), 0);
    EXPECT_TRUE(isFree(path));
    close(other);
}

TEST(LockFileCloseInherited, DoesNothingWithoutAFile)
{
    const TempDir directory;
    const int other = open(directory.file("other").c_str(), O_RDWR | O_CREAT, 0600);
    LockFile("").closeInherited();
    LockFile(QByteArray::fromStdString(directory.file("none"))).closeInherited();
    EXPECT_EQ(fcntl(other, F_GETFD), 0);
    close(other);
}
