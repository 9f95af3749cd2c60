#include "server/processsetup.h"

#include "support/tempdir.h"

#include <QReadWriteLock>
#include <QtGlobal>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <string>
#include <thread>

namespace {

/** Collects what is written to standard error during its lifetime. */
class StandardErrorCapture {
public:
    StandardErrorCapture() : original_(dup(STDERR_FILENO))
    {
        const int file = open(path().c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
        EXPECT_EQ(dup2(file, STDERR_FILENO), STDERR_FILENO);
        close(file);
    }
    ~StandardErrorCapture()
    {
        dup2(original_, STDERR_FILENO);
        close(original_);
    }
    StandardErrorCapture(const StandardErrorCapture&) = delete;
    StandardErrorCapture& operator=(const StandardErrorCapture&) = delete;

    std::string text() const
    {
        std::ifstream file(path());
        return {std::istreambuf_iterator<char>(file), {}};
    }

private:
    std::string path() const { return directory_.file("stderr"); }

    TempDir directory_;
    int original_;
};

/** Unlocks a recursive lock on a thread that does not hold it. */
void unlockOnAForeignThread()
{
    QReadWriteLock lock(QReadWriteLock::Recursive);
    lock.lockForRead();
    std::thread([&] { lock.unlock(); }).join();
    EXPECT_FALSE(lock.tryLockForWrite()) << "the lock must not notice";
    lock.unlock();
}

} // namespace

TEST(QtMessageHandler, QtStillWarnsOfAForeignUnlockWithTheTextThatIsDropped)
{
    const StandardErrorCapture captured;
    unlockOnAForeignThread();
    EXPECT_EQ(captured.text(), "QReadWriteLock::unlock: unlocking from a thread that did not lock\n");
}

TEST(QtMessageHandler, DropsTheWarningOfAForeignUnlockAndPassesTheRest)
{
    ProcessSetup::installQtMessageHandler();
    const StandardErrorCapture captured;
    unlockOnAForeignThread();
    qWarning("another warning");
    qCritical("QReadWriteLock::unlock: another text");
    qInfo("%s", "\xc3\xa4");
    qInstallMessageHandler(nullptr);
    EXPECT_EQ(captured.text(), "another warning\nQReadWriteLock::unlock: another text\n\xc3\xa4\n");
}
