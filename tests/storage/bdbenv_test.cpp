#include "storage/bdbenv.h"

#include "childprocess.h"
#include "descriptorlimit.h"
#include "loglines.h"
#include "rows.h"
#include "storage/bdbindex.h"
#include "storage/bdbtxn.h"
#include "support/tempenv.h"
#include "support/waituntil.h"

#include <gmock/gmock.h>

#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <memory>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

namespace fs = std::filesystem;

/** The result of opening a new environment in `home`; it is closed at once. */
int openResult(const QByteArray& home)
{
    BDBEnv env(16, DB_CXX_NO_EXCEPTIONS);
    return env.open(home);
}

std::vector<std::string> filesIn(const std::string& directory)
{
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(directory))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

/** True when nobody holds the directory. */
bool isDirectoryFree(const std::string& path)
{
    const int descriptor = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool got = flock(descriptor, LOCK_EX | LOCK_NB) == 0;
    close(descriptor);
    return got;
}

TEST(BDBEnvOpen, UsesTheFlagsOfARecoveringPrivateTransactionalEnvironment)
{
    TempEnv env;
    u_int32_t flags = 0;
    EXPECT_EQ(env->get_open_flags(&flags), 0);
    EXPECT_EQ(flags, 0x16723U);
    EXPECT_EQ(env->get_flags(&flags), 0);
    EXPECT_EQ(flags, static_cast<u_int32_t>(DB_AUTO_COMMIT)); // no time-outs, no automatic log removal, nothing else
    int on = 0;
    EXPECT_EQ(env->log_get_config(DB_LOG_DSYNC, &on), 0);
    EXPECT_EQ(on, 1);
    EXPECT_EQ(env->log_get_config(DB_LOG_AUTO_REMOVE, &on), 0);
    EXPECT_EQ(on, 0);
}

TEST(BDBEnvOpen, CacheIsSixteenMebibytesInOneRegion)
{
    TempEnv env;
    u_int32_t gigabytes = 1;
    u_int32_t bytes = 0;
    int regions = 0;
    EXPECT_EQ(env->get_cachesize(&gigabytes, &bytes, &regions), 0);
    EXPECT_EQ(gigabytes, 0U);
    EXPECT_EQ(regions, 1);
    // The library adds a quarter and a few pages for its own housekeeping.
    constexpr u_int32_t Asked = 16 * 1024 * 1024;
    EXPECT_GE(bytes, Asked);
    EXPECT_LT(bytes, Asked + Asked / 2);
}

TEST(BDBEnvOpen, LeavesOtherSizesAtTheDefaultsOfTheLibrary)
{
    TempEnv env;
    const TempDir temp;
    DbEnv plain(DB_CXX_NO_EXCEPTIONS);
    ASSERT_EQ(plain.open(temp.path().c_str(),
                         DB_CREATE | DB_THREAD | DB_INIT_LOCK | DB_INIT_LOG | DB_INIT_MPOOL | DB_INIT_TXN | DB_PRIVATE,
                         0),
              0);
    using Getter = int (DbEnv::*)(u_int32_t*);
    for (const Getter getter : {&DbEnv::get_lg_max, &DbEnv::get_lg_bsize, &DbEnv::get_lk_max_locks,
                                &DbEnv::get_lk_max_lockers, &DbEnv::get_lk_max_objects, &DbEnv::get_tx_max}) {
        u_int32_t ours = 1;
        u_int32_t theirs = 2;
        EXPECT_EQ((env.get()->*getter)(&ours), 0);
        EXPECT_EQ((plain.*getter)(&theirs), 0);
        EXPECT_EQ(ours, theirs);
    }
    for (const u_int32_t kind : {DB_SET_LOCK_TIMEOUT, DB_SET_TXN_TIMEOUT}) {
        db_timeout_t timeout = 1;
        EXPECT_EQ(env->get_timeout(&timeout, kind), 0);
        EXPECT_EQ(timeout, 0U);
    }
    EXPECT_EQ(plain.close(0), 0);
}

TEST(BDBEnvOpen, MakesNoFilesButTheLog)
{
    TempEnv env;
    (void)env.index("orders");
    EXPECT_THAT(filesIn(env.path()), ElementsAre("log.0000000001", "orders"));
}

TEST(BDBEnvOpen, DirectoriesBelowHomeAreForTheOwnerOnly)
{
    TempEnv env;
    const char* mode = nullptr;
    EXPECT_EQ(env->get_intermediate_dir_mode(&mode), 0);
    EXPECT_STREQ(mode, "rwx------");
    (void)env.index("below/home/orders");
    for (const char* name : {"below", "below/home"}) {
        struct stat status {};
        ASSERT_EQ(stat(env.file(name).c_str(), &status), 0) << name;
        EXPECT_EQ(status.st_mode & 07777U, 0700U) << name;
    }
}

TEST(BDBEnvOpen, ListsThatComeBackAreFreedWithFree)
{
    TempEnv env;
    void* (*allocate)(size_t) = nullptr;
    void* (*reallocate)(void*, size_t) = nullptr;
    void (*release)(void*) = nullptr;
    EXPECT_EQ(env->get_alloc(&allocate, &reallocate, &release), 0);
    EXPECT_EQ(allocate, &std::malloc);
    EXPECT_EQ(reallocate, &std::realloc);
    EXPECT_EQ(release, &std::free);
}

TEST(BDBEnvOpen, BreaksADeadlockWhenALockMustWaitAndTheYoungestLoses)
{
    TempEnv env;
    u_int32_t policy = 0;
    EXPECT_EQ(env->get_lk_detect(&policy), 0);
    EXPECT_EQ(policy, static_cast<u_int32_t>(DB_LOCK_YOUNGEST));

    BDBIndex* orders = env.index("orders");
    BDBIndex* stock = env.index("stock");
    BDBTxn older;
    BDBTxn younger;
    ASSERT_EQ(older.begin(env.get(), 0), 0);
    ASSERT_EQ(younger.begin(env.get(), 0), 0);
    ASSERT_EQ(putRow(orders, &older, "row", "older"), 0);
    ASSERT_EQ(putRow(stock, &younger, "row", "younger"), 0);
    const auto statistics = [&] {
        DB_LOCK_STAT* all = nullptr;
        EXPECT_EQ(env->lock_stat(&all, 0), 0);
        const std::unique_ptr<DB_LOCK_STAT, decltype(&std::free)> owned(all, &std::free);
        return *owned;
    };
    const auto waitsBefore = statistics().st_lock_wait;
    auto blocked = std::async(std::launch::async, [&] {
        const int rc = putRow(stock, &older, "row", "older");
        if (rc != 0)
            (void)older.abort(); // else a wrong loser would make the other wait for good
        return rc;
    });
    ASSERT_TRUE(waitUntil([&] { return statistics().st_lock_wait > waitsBefore; }));
    EXPECT_EQ(putRow(orders, &younger, "row", "younger"), DB_LOCK_DEADLOCK);
    EXPECT_EQ(statistics().st_ndeadlocks, 1U);
    EXPECT_EQ(younger.abort(), 0);
    EXPECT_EQ(blocked.get(), 0);
    EXPECT_EQ(older.commit(0), 0);
    EXPECT_EQ(rowOf(orders, nullptr, "row"), "older");
    EXPECT_EQ(rowOf(stock, nullptr, "row"), "older");
}

TEST(BDBEnvOpen, FailsWithoutADirectory)
{
    const TempDir temp;
    std::ofstream(temp.file("file")) << "text";
    EXPECT_EQ(openResult(temp.bytes() + "/missing"), ENOENT);
    EXPECT_EQ(openResult(temp.bytes() + "/file"), ENOTDIR);
    EXPECT_EQ(openResult(""), ENOENT);                                     // not the working directory
    EXPECT_EQ(openResult(temp.bytes() + QByteArray("\0tail", 5)), ENOENT); // not the part before the zero byte
    EXPECT_EQ(openResult(QByteArray("\0", 1)), ENOENT);
    EXPECT_THAT(filesIn(temp.path()), ElementsAre("file")); // nothing was made
    EXPECT_FALSE(fs::exists("log.0000000001"));
}

TEST(BDBEnvOpen, FailsWithTheResultOfTheLibraryAndLetsGoOfTheDirectory)
{
    // In a process of its own, as the library leaves some memory behind when it cannot read its log.
    ChildProcess child([](const auto&) {
        const TempDir temp;
        std::ofstream(temp.file("log.0000000001")) << "this is no log of Berkeley DB, although it is named like one";
        LogCapture log;
        EXPECT_EQ(openResult(temp.bytes()), DB_RUNRECOVERY);
        EXPECT_TRUE(log.contains("[ERROR] bdb ")) << log.text(); // the library says what it does not like
        EXPECT_TRUE(isDirectoryFree(temp.path()));
        fs::remove(temp.file("log.0000000001"));
        EXPECT_EQ(openResult(temp.bytes()), 0);
    });
    EXPECT_EQ(child.waitForExit(), 0);
}

// What Berkeley DB gets no memory for is like what it is given wrong flags for: there is nothing behind the object.
constexpr u_int32_t UnknownFlag = 0x1;

TEST(BDBEnvOpen, FailsWhenTheObjectCouldNotBeMadeWhole)
{
    const TempDir directory;
    BDBEnv env(16, DB_CXX_NO_EXCEPTIONS | UnknownFlag);
    EXPECT_EQ(env.open(QByteArray::fromStdString(directory.path())), ENOMEM);
    EXPECT_THAT(filesIn(directory.path()), IsEmpty());
    EXPECT_TRUE(isDirectoryFree(directory.path()));
}

TEST(BDBEnvOpenDatabase, FailsWithAHandleThatCouldNotBeMadeWhole)
{
    TempEnv env;
    BDBIndex index(env.get(), DB_CXX_NO_EXCEPTIONS | UnknownFlag << 7);
    EXPECT_EQ(env->openDatabase(&index, "t", "meta", DB_CREATE | DB_THREAD | DB_AUTO_COMMIT), ENOMEM);
    EXPECT_FALSE(fs::exists(env.path() + "/t"));
}

TEST(BDBEnvOpen, HoldsTheDirectoryUntilItIsDestroyed)
{
    TempEnv env;
    EXPECT_FALSE(isDirectoryFree(env.path()));
    EXPECT_EQ(openResult(QByteArray::fromStdString(env.path())), EWOULDBLOCK);
    EXPECT_FALSE(isDirectoryFree(env.path())); // the attempt did not end the hold
    EXPECT_EQ(putRow(env.index("orders"), nullptr, "key", "value"), 0);
    const std::string path = env.path();
    env.close();
    EXPECT_TRUE(isDirectoryFree(path));
    EXPECT_EQ(openResult(QByteArray::fromStdString(path)), 0);
}

TEST(BDBEnvOpen, IsRefusedWithoutDescriptorsToSpare)
{
    const TempDir temp;
    ChildProcess child([&](const auto&) {
        limitDescriptors(16); // one is for the directory
        EXPECT_EQ(openResult(temp.bytes()), EMFILE);
        EXPECT_THAT(filesIn(temp.path()), IsEmpty());
        limitDescriptors(17);
        EXPECT_EQ(openResult(temp.bytes()), 0);
    });
    EXPECT_EQ(child.waitForExit(), 0);
}

TEST(BDBEnv, IsATableOfItsCapacity)
{
    BDBEnv env(3, DB_CXX_NO_EXCEPTIONS);
    EXPECT_EQ(env.type(), 5);
    EXPECT_TRUE(env.names().isEmpty());
    EXPECT_TRUE(env.lockNames().isEmpty());
    EXPECT_EQ(env.env(), nullptr);
    EXPECT_EQ(env.addDesc(new BDBTxn), 1);
    EXPECT_EQ(env.addDesc(new BDBTxn), 2);
    auto third = std::make_unique<BDBTxn>();
    EXPECT_EQ(env.addDesc(third.get()), -1);
}

TEST(BDBEnv, ReportsFailuresByResultAndNotByException)
{
    TempEnv env;
    LogCapture log;
    EXPECT_EQ(env->dbremove(nullptr, "missing", nullptr, DB_AUTO_COMMIT), ENOENT);
    BDBEnv closed(16, DB_CXX_NO_EXCEPTIONS);
    EXPECT_EQ(closed.txn_checkpoint(0, 0, 0), EINVAL); // never opened
}

TEST(BDBEnv, BackupWithoutAHotBackupIs3)
{
    const TempDir target;
    BDBEnv env(16, DB_CXX_NO_EXCEPTIONS); // gets its hot backup when it is opened
    for (const int mode : {0, 1, 2})
        EXPECT_EQ(env.backup(QString::fromStdString(target.path()), mode), 3);
    EXPECT_THAT(filesIn(target.path()), IsEmpty());
}

/** Tells whether the environment was still open when this handle was destroyed. */
class WatchedIndex : public BDBIndex {
public:
    WatchedIndex(BDBEnv* env, bool* environmentWasOpen)
        : BDBIndex(env, DB_CXX_NO_EXCEPTIONS), environment_(env), environmentWasOpen_(environmentWasOpen)
    {}
    ~WatchedIndex() override { *environmentWasOpen_ = environment_->get_DB_ENV() != nullptr; }

private:
    DbEnv* const environment_;
    bool* const environmentWasOpen_;
};

TEST(BDBEnv, DestructorClosesDatabasesBeforeTheEnvironment)
{
    // The library frees handles that are open when an environment closes; closing them afterwards would be too late.
    TempEnv env;
    bool environmentWasOpen = false;
    auto index = std::make_unique<WatchedIndex>(env.get(), &environmentWasOpen);
    ASSERT_EQ(index->open("orders", "data", DB_BTREE, DB_CREATE | DB_THREAD | DB_AUTO_COMMIT), 0);
    ASSERT_EQ(env->addDesc(index.release()), 1);
    env.close();
    EXPECT_TRUE(environmentWasOpen);
}

TEST(BDBEnv, DestructorIsQuietAndLeavesTheDataBehind)
{
    TempEnv env;
    ASSERT_EQ(putRow(env.index("orders"), nullptr, "key", "value"), 0);
    (void)env.index("stock");
    LogCapture log;
    env.close();
    EXPECT_THAT(ownLines(log), IsEmpty());
    env.reopen();
    EXPECT_EQ(rowOf(env.index("orders"), nullptr, "key"), "value");
}

TEST(BDBEnv, DestructorOfOneThatNeverOpenedIsQuiet)
{
    LogCapture log;
    {
        const BDBEnv env(16, DB_CXX_NO_EXCEPTIONS);
    }
    EXPECT_THAT(ownLines(log), IsEmpty());
}

TEST(BDBEnv, ItsUseCountOutlivesIt)
{
    auto env = std::make_unique<BDBEnv>(16, DB_CXX_NO_EXCEPTIONS);
    const std::shared_ptr<EnvironmentUseCount> uses = env->uses();
    EnvironmentUse use(env.get(), uses, nullptr);
    env.reset();
    use.reset();
    uses->waitUnused();
}

} // namespace
