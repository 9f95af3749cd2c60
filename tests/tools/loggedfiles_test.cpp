#include "tools/loggedfiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using Ctl::LoggedFiles;
using testing::ElementsAre;
using testing::IsEmpty;

void append(std::string* record, std::uint32_t number)
{
    record->append(reinterpret_cast<const char*>(&number), sizeof number);
}

/** The beginning of a record: its type, its transaction, and the transaction's previous record. */
std::string recordOf(std::uint32_t type, std::uint32_t transaction, bool isFirst = false)
{
    std::string record;
    append(&record, type);
    append(&record, transaction);
    append(&record, isFirst ? 0 : 1);
    append(&record, isFirst ? 0 : 28);
    return record;
}

std::string withName(std::string record, const std::string& name)
{
    append(&record, static_cast<std::uint32_t>(name.size() + 1));
    return record + name + '\0' + std::string(8, '\0'); // more follows
}

std::string used(std::uint32_t transaction, const std::string& name)
{
    std::string record = recordOf(2, transaction);
    append(&record, 3);
    return withName(record, name);
}

std::string renamed(std::uint32_t transaction, const std::string& name, bool isFirst = false)
{
    return withName(recordOf(146, transaction, isFirst), name);
}

std::string committed(std::uint32_t transaction)
{
    std::string record = recordOf(10, transaction);
    append(&record, 1);
    append(&record, 1'700'000'000);
    return record;
}

std::string childCommitted(std::uint32_t parent, std::uint32_t child)
{
    std::string record = recordOf(12, parent);
    append(&record, child);
    append(&record, 1);
    append(&record, 28);
    return record;
}

} // namespace

TEST(LoggedFiles, CountImmediatelyOutsideTransactions)
{
    LoggedFiles files;
    files.take(used(0, "t"));
    EXPECT_THAT(files.names(), ElementsAre("t"));
    files.take(renamed(0, "t"));
    EXPECT_THAT(files.names(), IsEmpty());
}

TEST(LoggedFiles, ARemovalCountsFromTheCommitOn)
{
    LoggedFiles files;
    files.take(used(0, "t"));
    files.take(renamed(7, "t", true));
    EXPECT_THAT(files.names(), ElementsAre("t")) << "a crash here undoes it";
    files.take(committed(8));
    EXPECT_THAT(files.names(), ElementsAre("t"));
    files.take(committed(7));
    EXPECT_THAT(files.names(), IsEmpty());
}

TEST(LoggedFiles, WhatAnInnerTransactionDidCountsWithTheOuterOne)
{
    LoggedFiles files;
    files.take(used(0, "t"));
    files.take(renamed(12, "t", true));
    files.take(childCommitted(11, 12));
    EXPECT_THAT(files.names(), ElementsAre("t"));
    files.take(committed(11));
    EXPECT_THAT(files.names(), IsEmpty());
}

TEST(LoggedFiles, KeepTheOrderInsideATransaction)
{
    LoggedFiles files;
    files.take(used(0, "t"));
    files.take(renamed(7, "t", true));
    files.take(used(7, "t"));
    files.take(committed(7));
    EXPECT_THAT(files.names(), ElementsAre("t")) << "removed and created again";
}

TEST(LoggedFiles, ANumberThatIsUsedAgainIsAnotherTransaction)
{
    LoggedFiles files;
    files.take(used(0, "t"));
    files.take(renamed(7, "t", true)); // undone by a recovery
    files.take(renamed(7, "u", true));
    files.take(committed(7));
    EXPECT_THAT(files.names(), ElementsAre("t"));
}
