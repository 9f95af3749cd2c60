#include "format/logfiles.h"

#include "support/tempdir.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <set>

namespace fs = std::filesystem;

namespace {

TEST(LogFiles, ANameHasTenDigits)
{
    EXPECT_EQ(LogFiles::name(1), "log.0000000001");
    EXPECT_EQ(LogFiles::name(42), "log.0000000042");
    EXPECT_EQ(LogFiles::name(4294967295), "log.4294967295");
}

TEST(LogFiles, ANumberReadsBackFromItsName)
{
    for (const std::uint32_t number : {0U, 1U, 42U, 1234567890U, 4294967295U})
        EXPECT_EQ(LogFiles::numberOf(LogFiles::name(number)), number);
}

TEST(LogFiles, OtherNamesAreNoLogFiles)
{
    for (const char* name :
         {"", "log.", "log.1", "log.000000001", "log.00000000001", "log.000000000a", "log.+000000001", "log.-000000001",
          "log. 000000001", "log.4294967296", "log.9999999999", "Log.0000000001", "log_0000000001",
          "log.0000000001.del", "xlog.0000000001", "log.0000000001x"})
        EXPECT_EQ(LogFiles::numberOf(name), std::nullopt) << name;
}

TEST(LogFiles, LogAndDigitsCountsAsALogFileWhateverItsNumber)
{
    for (const char* name : {"log.0000000001", "log.0000000000", "log.9999999999", "log.5", "log.00000000050",
                             "log.99999999999", "log.123456789012345678901234567890"})
        EXPECT_TRUE(LogFiles::isTakenForOne(name)) << name;
    for (const char* name : {"", "log", "log.", "log.x", "log.0000000001x", "log.+000000001", "log. 1", "log.1 ",
                             "log.events", "log.0000000001.del", "Log.0000000001", "xlog.0000000001", "log_1"})
        EXPECT_FALSE(LogFiles::isTakenForOne(name)) << name;
}

TEST(LogFiles, TheNumbersInADirectoryAreThoseOfRegularFiles)
{
    const TempDir temporary;
    const fs::path directory = temporary.path();
    for (const char* name : {"log.0000000007", "log.0000000012", "log.5", "log.0000000001.del", "orders"})
        std::ofstream(directory / name) << "x";
    fs::create_directory(directory / "log.0000000003");
    fs::create_directory(directory / "below");
    std::ofstream(directory / "below" / "log.0000000004") << "x";
    EXPECT_EQ(LogFiles::numbersIn(directory), (std::set<std::uint32_t>{7, 12}));
    EXPECT_EQ(LogFiles::numbersIn(directory / "missing"), std::set<std::uint32_t>());
}

} // namespace
