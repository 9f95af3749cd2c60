#include "base/standarddescriptors.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

namespace {

bool isNull(int descriptor)
{
    struct stat file {};
    struct stat null {};
    return ::fstat(descriptor, &file) == 0 && ::stat("/dev/null", &null) == 0 && S_ISCHR(file.st_mode) &&
           file.st_rdev == null.st_rdev;
}

/** In a child process, whose standard descriptors may be closed. */
template <typename Claim> void expectInChild(Claim claim)
{
    EXPECT_EXIT(std::_Exit(claim() ? 0 : 1), testing::ExitedWithCode(0), "");
}

int openZero()
{
    return ::open("/dev/zero", O_RDWR | O_CLOEXEC);
}

TEST(StandardDescriptorsDeathTest, ClosedOnesAreOpenedAndOthersStay)
{
    expectInChild([] {
        const int zero = openZero();
        ::dup2(zero, STDOUT_FILENO);
        ::close(STDIN_FILENO);
        ::close(STDERR_FILENO);
        Base::openStandardDescriptors();
        return isNull(STDIN_FILENO) && ::fcntl(STDOUT_FILENO, F_GETFD) >= 0 && !isNull(STDOUT_FILENO) &&
               isNull(STDERR_FILENO);
    });
}

TEST(StandardDescriptorsDeathTest, AStandardOneIsReplaced)
{
    expectInChild([] {
        const int next = ::dup(STDERR_FILENO);
        ::close(next);
        ::dup2(openZero(), STDIN_FILENO);
        ::close(next);
        Base::closeOrReplace(STDIN_FILENO);
        return isNull(STDIN_FILENO) && ::fcntl(next, F_GETFD) < 0;
    });
}

TEST(StandardDescriptorsDeathTest, AnyOtherOneIsClosed)
{
    expectInChild([] {
        const int zero = openZero();
        Base::closeOrReplace(zero);
        return zero > STDERR_FILENO && ::fcntl(zero, F_GETFD) < 0;
    });
}

} // namespace
