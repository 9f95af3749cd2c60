#include "storage/openindex.h"

#include "loglines.h"
#include "rows.h"
#include "support/files.h"
#include "support/tempenv.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

using testing::IsEmpty;

std::uint32_t numberAt(const std::string& bytes, std::size_t offset)
{
    std::uint32_t number = 0;
    if (bytes.size() >= offset + sizeof number)
        std::memcpy(&number, bytes.data() + offset, sizeof number);
    return number;
}

TEST(OpenIndex, OpensADatabaseOnceForAllConnections)
{
    TempEnv env;
    LogCapture log;
    BDBIndex* first = nullptr;
    ASSERT_EQ(Registry::openIndex(env.table(), "db::orders:data", "orders", "data", &first), 0);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->isOpen(), 1);
    EXPECT_EQ(env->names(), (QHash<QString, int>{{"db::orders:data", 1 | ENV_DESC_FLAG}}));
    EXPECT_TRUE(env.table()->names().isEmpty());

    BDBObjTable otherConnection(256);
    otherConnection.setEnv(env.get());
    BDBIndex* second = nullptr;
    EXPECT_EQ(Registry::openIndex(&otherConnection, "db::orders:data", "orders", "data", &second), 0);
    EXPECT_EQ(second, first);
    EXPECT_EQ(env->names().size(), 1);
    EXPECT_EQ(env->getObject(1, BDBIndexType), static_cast<BDBObject*>(first));
    EXPECT_THAT(ownLines(log), IsEmpty());
}

TEST(OpenIndex, SubDatabasesOfOneFileAreDatabasesOfTheirOwn)
{
    TempEnv env;
    BDBIndex* meta = env.index("orders", "meta");
    BDBIndex* data = env.index("orders", "data");
    EXPECT_NE(meta, data);
    ASSERT_EQ(putRow(meta, nullptr, "key", "of meta"), 0);
    EXPECT_EQ(rowOf(data, nullptr, "key"), NoRow);
    EXPECT_EQ(env->names(),
              (QHash<QString, int>{{"db::orders:meta", 1 | ENV_DESC_FLAG}, {"db::orders:data", 2 | ENV_DESC_FLAG}}));
}

TEST(OpenIndex, FilesAreBTreesWithPagesOf2048Bytes)
{
    TempEnv env;
    BDBIndex* index = env.index("orders");
    ASSERT_EQ(putRow(index, nullptr, "key", "value"), 0);
    u_int32_t pageSize = 0;
    DBTYPE type = DB_UNKNOWN;
    u_int32_t flags = 0;
    EXPECT_EQ(index->get_pagesize(&pageSize), 0);
    EXPECT_EQ(index->get_type(&type), 0);
    EXPECT_EQ(index->get_open_flags(&flags), 0);
    EXPECT_EQ(pageSize, 2048U);
    EXPECT_EQ(type, DB_BTREE);
    EXPECT_EQ(flags, 0x121U);
    EXPECT_EQ(index->get_transactional(), 1);

    env.close();
    const std::string bytes = readFile(env.file("orders"));
    EXPECT_EQ(numberAt(bytes, 12), 0x053162U); // a B-tree holds the names of the file's databases
    EXPECT_EQ(numberAt(bytes, 20), 2048U);
    EXPECT_EQ(bytes.size() % 2048, 0U);
    EXPECT_NE(bytes.find("data"), std::string::npos);
}

TEST(OpenIndex, ManyThreadsOpenOneDatabaseOnce)
{
    constexpr int Threads = 8;
    constexpr int Files = 5;
    TempEnv env;
    std::vector<std::vector<BDBIndex*>> found(Threads);
    std::vector<std::thread> threads;
    for (auto& indexes : found)
        threads.emplace_back([&env, &indexes] {
            BDBObjTable connection(256);
            connection.setEnv(env.get());
            for (int i = 0; i < Files; ++i) {
                const QByteArray file = "orders_" + QByteArray::number(i);
                BDBIndex* index = nullptr;
                EXPECT_EQ(Registry::openIndex(&connection, "db::" + file + ":data", file, "data", &index), 0);
                indexes.push_back(index);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_THAT(found, testing::Each(found.front()));
    EXPECT_EQ((std::set<BDBIndex*>(found.front().begin(), found.front().end())).size(),
              static_cast<std::size_t>(Files));
    EXPECT_EQ(env->names().size(), Files);
}

TEST(OpenIndex, HandlesStayOpenAsLongAsTheEnvironment)
{
    TempEnv env;
    BDBIndex* index = nullptr;
    {
        BDBObjTable connection(256);
        connection.setEnv(env.get());
        ASSERT_EQ(Registry::openIndex(&connection, "db::orders:data", "orders", "data", &index), 0);
    }
    EXPECT_EQ(putRow(index, nullptr, "key", "value"), 0); // the connection is gone
    EXPECT_EQ(env.index("orders"), index);
}

} // namespace
