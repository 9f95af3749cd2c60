#include "base/directoryentries.h"

#include "support/tempdir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>
#include <set>
#include <string>

namespace fs = std::filesystem;

namespace {

class ForEachEntry : public testing::Test {
protected:
    ForEachEntry()
    {
        std::ofstream(directory_.file("file")) << "x";
        std::ofstream(directory_.makeDirectory("below") + "/hidden") << "x";
    }

    const TempDir directory_;
};

TEST_F(ForEachEntry, VisitsWhatIsInTheDirectoryAndNotBelow)
{
    std::set<std::string> names;
    EXPECT_EQ(Base::forEachEntry(directory_.path(),
                                 [&](const fs::directory_entry& entry) {
                                     names.insert(entry.path().filename().string());
                                     return 0;
                                 }),
              0);
    EXPECT_EQ(names, (std::set<std::string>{"file", "below"}));
}

TEST_F(ForEachEntry, EndsWithTheFirstResultOfAVisit)
{
    int visits = 0;
    EXPECT_EQ(Base::forEachEntry(directory_.path(),
                                 [&](const fs::directory_entry&) {
                                     ++visits;
                                     return -7;
                                 }),
              -7);
    EXPECT_EQ(visits, 1);
}

TEST_F(ForEachEntry, ReportsWhatCannotBeRead)
{
    const auto visit = [](const fs::directory_entry& entry) {
        ADD_FAILURE() << entry.path();
        return 0;
    };
    EXPECT_EQ(Base::forEachEntry(directory_.file("missing"), visit), ENOENT);
    EXPECT_EQ(Base::forEachEntry(directory_.file("file"), visit), ENOTDIR);
}

} // namespace
