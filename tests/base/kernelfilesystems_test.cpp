#include "base/kernelfilesystems.h"

#include "support/tempdir.h"

#include <gtest/gtest.h>

TEST(KernelFileSystems, AreDistinguishedFromThoseThatHoldFiles)
{
    const TempDir directory;
    std::filesystem::create_directory_symlink("/proc/self", directory.file("link"));
    for (const std::string& path :
         {std::string("/proc"), std::string("/proc/self/fd"), std::string("/sys"), directory.file("link")})
        EXPECT_TRUE(Base::isOfKernel(path)) << path;
    for (const std::string& path : {std::string("/"), std::string("/dev/shm"), directory.path(),
                                    directory.file("missing"), directory.file("missing/proc")})
        EXPECT_FALSE(Base::isOfKernel(path)) << path;
}
