#include "storage/databaserecord.h"

#include "support/files.h"
#include "support/tempdir.h"

#include <db_cxx.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <fstream>
#include <functional>
#include <optional>
#include <string>

#include <sys/stat.h>

namespace {

constexpr std::size_t Most = 0x80000;

/** A database file outside of any environment. */
class DatabaseRecordTest : public testing::Test {
protected:
    using Setting = std::function<void(Db&)>;

    /** Puts records into a sub-database of the file; `set` configures a new file. */
    void put(
        const std::string& key, const std::string& value, const char* subDatabase = "meta",
        const Setting& set = [](Db&) {})
    {
        Db db(nullptr, DB_CXX_NO_EXCEPTIONS);
        ASSERT_EQ(db.set_pagesize(2048), 0);
        set(db);
        ASSERT_EQ(db.open(nullptr, file_.c_str(), subDatabase, DB_BTREE, DB_CREATE, 0600), 0);
        Dbt keyBytes(const_cast<char*>(key.data()), static_cast<u_int32_t>(key.size()));
        Dbt valueBytes(const_cast<char*>(value.data()), static_cast<u_int32_t>(value.size()));
        ASSERT_EQ(db.put(nullptr, &keyBytes, &valueBytes, 0), 0);
        ASSERT_EQ(db.close(0), 0);
    }

    DatabaseRecord::Found find(const std::string& key, const char* subDatabase = "meta", std::size_t most = Most) const
    {
        return DatabaseRecord::read(file_, subDatabase, key, most);
    }
    std::optional<std::string> valueOf(const std::string& key, const char* subDatabase = "meta") const
    {
        return find(key, subDatabase).value;
    }

    void write(const std::string& bytes) const { std::ofstream(file_, std::ios::binary) << bytes; }

    TempDir directory_;
    const std::string file_ = directory_.file("t");
};

TEST_F(DatabaseRecordTest, ARecordIsFoundByItsKeyAndSubDatabase)
{
    put("key", "value");
    put("key", "other", "second");
    EXPECT_EQ(valueOf("key"), "value");
    EXPECT_EQ(valueOf("key", "second"), "other");
    EXPECT_TRUE(find("ke").hasSubDatabase);
    EXPECT_EQ(valueOf("ke"), std::nullopt);
    EXPECT_FALSE(find("key", "third").hasSubDatabase);
}

TEST_F(DatabaseRecordTest, AReplacedRecordIsFoundAndADeletedOneIsNot)
{
    put("key", "value");
    put("key", "longer value");
    EXPECT_EQ(valueOf("key"), "longer value");
    Db db(nullptr, DB_CXX_NO_EXCEPTIONS);
    ASSERT_EQ(db.open(nullptr, file_.c_str(), "meta", DB_BTREE, 0, 0), 0);
    Dbt key(const_cast<char*>("key"), 3);
    ASSERT_EQ(db.del(nullptr, &key, 0), 0);
    ASSERT_EQ(db.close(0), 0);
    EXPECT_TRUE(find("key").hasSubDatabase);
    EXPECT_EQ(valueOf("key"), std::nullopt);
}

TEST_F(DatabaseRecordTest, AValueOfManyPagesIsFoundUpToTheLimit)
{
    for (const std::size_t size : {400UL, 500UL, 600UL, 2022UL, 2023UL, 100000UL}) {
        const std::string value(size, 'v');
        put("key", value);
        EXPECT_EQ(valueOf("key"), value) << size;
        EXPECT_EQ(find("key", "meta", size - 1).value, std::nullopt) << size;
    }
}

TEST_F(DatabaseRecordTest, RecordsOnSeveralLeavesAreFound)
{
    for (int i = 0; i < 100; ++i)
        put("key" + std::to_string(i), std::string(100, 'v') + std::to_string(i));
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(valueOf("key" + std::to_string(i)), std::string(100, 'v') + std::to_string(i));
}

TEST_F(DatabaseRecordTest, AFileInTheOtherByteOrderIsRead)
{
    const std::string value(5000, 'v');
    for (const int order : {1234, 4321}) {
        put("key", value, "meta", [order](Db& db) { ASSERT_EQ(db.set_lorder(order), 0); });
        EXPECT_EQ(valueOf("key"), value) << order;
        ASSERT_EQ(std::remove(file_.c_str()), 0);
    }
}

TEST_F(DatabaseRecordTest, DatabasesOfOtherKindsAreNotRead)
{
    put("key", "value", "meta", [](Db& db) { ASSERT_EQ(db.set_flags(DB_CHKSUM), 0); });
    EXPECT_FALSE(find("key").hasSubDatabase);
    ASSERT_EQ(std::remove(file_.c_str()), 0);
    put("key", "value", nullptr);
    EXPECT_FALSE(find("key").hasSubDatabase);
    write(std::string(8192, 'x'));
    EXPECT_FALSE(find("key").hasSubDatabase);
    write("");
    EXPECT_FALSE(find("key").hasSubDatabase);
    ASSERT_EQ(std::remove(file_.c_str()), 0);
    EXPECT_FALSE(find("key").hasSubDatabase);
    ASSERT_EQ(::mkfifo(file_.c_str(), 0600), 0);
    EXPECT_FALSE(find("key").hasSubDatabase);
}

TEST_F(DatabaseRecordTest, AFileThatEndsTooSoonIsRead)
{
    const std::string value(5000, 'v');
    put("key", value);
    const std::string whole = readFile(file_);
    for (std::size_t size = 0; size < whole.size(); size += 64) {
        write(whole.substr(0, size));
        EXPECT_EQ(valueOf("key"), std::nullopt) << size;
    }
    write(whole);
    EXPECT_EQ(valueOf("key"), value);
}

TEST_F(DatabaseRecordTest, WhateverIsDamagedTheReadEndsWithTheValueOrWithout)
{
    const std::string value(5000, 'v');
    put("key", value);
    const std::string whole = readFile(file_);
    constexpr std::size_t Page = 2048;
    constexpr std::size_t Header = 100; // of the first pages; that of the others is shorter
    for (std::size_t at = 0; at < whole.size(); ++at) {
        if (whole[at] == 'v' || (whole[at] == 0 && at % Page >= Header))
            continue;
        for (const int damaged : {0x00, 0x01, 0xff}) {
            std::string bytes = whole;
            bytes[at] = static_cast<char>(damaged);
            write(bytes);
            const auto found = valueOf("key");
            EXPECT_LE(found ? found->size() : 0, Most) << at;
        }
    }
}

TEST_F(DatabaseRecordTest, PagesThatLeadInCirclesEndTheRead)
{
    for (int i = 0; i < 100; ++i)
        put("key" + std::to_string(i), std::string(100, 'v'));
    std::string bytes = readFile(file_);
    for (std::size_t page = 2048; page < bytes.size(); page += 2048) {
        if (bytes[page + 25] == 5)
            bytes.replace(page + 16, 4, bytes.substr(page + 8, 4)); // its next page is itself
    }
    write(bytes);
    EXPECT_TRUE(find("none").hasSubDatabase);
    EXPECT_EQ(valueOf("none"), std::nullopt);
}

} // namespace
