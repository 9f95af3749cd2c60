#include "tools/importstate.h"

#include "support/tempdir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include <sys/stat.h>

namespace {

using Ctl::ImportMark;
using Ctl::ImportState;

class ImportStateTest : public testing::Test {
protected:
    ImportState state(const std::string& table = "d|t", const std::string& input = "/in") const
    {
        return {path(), table, input};
    }
    std::string path() const { return directory_.file("state"); }
    void write(const std::string& content) const { std::ofstream(path()) << content; }

    const TempDir directory_;
};

} // namespace

TEST_F(ImportStateTest, WhatWasSavedIsLoaded)
{
    EXPECT_EQ(state().save({12, 10, 2}), "");
    EXPECT_EQ(state().save({25, 22, 3}), "");
    ImportMark mark;
    EXPECT_EQ(state().load(&mark), "");
    EXPECT_EQ(mark.line, 25);
    EXPECT_EQ(mark.stored, 22);
    EXPECT_EQ(mark.refused, 3);
    state().remove();
    EXPECT_TRUE(std::filesystem::is_empty(directory_.path()));
}

TEST_F(ImportStateTest, WithoutAFileTheMarkStays)
{
    ImportMark mark{7, 1, 2};
    EXPECT_EQ(state().load(&mark), "");
    EXPECT_EQ(mark.line, 7);
    const ImportState none("", "d|t", "/in");
    EXPECT_FALSE(none.isKept());
    EXPECT_EQ(none.save({1, 1, 1}), "");
    EXPECT_EQ(none.load(&mark), "");
    EXPECT_EQ(mark.line, 7);
}

TEST_F(ImportStateTest, RefusesTheStateOfAnotherImport)
{
    EXPECT_EQ(state().save({12, 10, 2}), "");
    ImportMark mark;
    const std::string error = path() + " belongs to another import, of /in into d|t";
    EXPECT_EQ(state("d|u").load(&mark), error);
    EXPECT_EQ(state("d|t", "-").load(&mark), error);
    EXPECT_EQ(mark.line, 0);
}

TEST_F(ImportStateTest, RefusesWhatIsNoState)
{
    ImportMark mark;
    for (const char* content : {"", "{", "[]", "{}", "{\"line\":\"7\",\"table\":\"d|t\",\"input\":\"/in\"}"}) {
        write(content);
        EXPECT_EQ(state().load(&mark), path() + " is not the state of an import") << content;
    }
    EXPECT_EQ(mark.line, 0);
}

TEST_F(ImportStateTest, ReadsNothingWithoutAnEnd)
{
    ImportMark mark;
    for (const char* device : {"/dev/zero", "/dev/full"})
        EXPECT_EQ(ImportState(device, "d|t", "/in").load(&mark), std::string(device) + " is not a regular file");
    ASSERT_EQ(mkfifo(path().c_str(), 0600), 0);
    EXPECT_EQ(state().load(&mark), path() + " is not a regular file");
    std::filesystem::remove(path());
    ASSERT_EQ(state().save({12, 10, 2}), "");
    std::filesystem::resize_file(path(), 1ULL << 40);
    EXPECT_EQ(state().load(&mark), path() + " is not the state of an import");
    EXPECT_EQ(mark.line, 0);
}

TEST_F(ImportStateTest, ReportsWhatCannotBeReadOrWritten)
{
    ImportMark mark;
    const ImportState directory(directory_.path(), "d|t", "/in");
    EXPECT_EQ(directory.load(&mark), directory_.path() + " is not a regular file");
    const ImportState nowhere(directory_.file("none/state"), "d|t", "/in");
    EXPECT_EQ(nowhere.save({}), "cannot write " + directory_.file("none/state") + ": No such file or directory");
    const std::string taken = directory_.makeDirectory("taken");
    EXPECT_EQ(ImportState(taken, "d|t", "/in").save({}), "cannot write " + taken + ": Is a directory");
}
