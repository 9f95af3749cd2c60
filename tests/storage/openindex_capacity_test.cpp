// In an executable with its own label, as it creates a thousand files and syncs each.
#include "storage/openindex.h"

#include "childprocess.h"
#include "descriptorlimit.h"
#include "loglines.h"
#include "rows.h"
#include "support/tempenv.h"

namespace {

TEST(OpenIndex, EnvironmentOfTheServerHolds1023OpenDatabases)
{
    ChildProcess child([](const auto&) {
        limitDescriptors(1100);
        TempEnv env(1024);
        for (int i = 0; i < 1023; ++i) {
            const QByteArray file = "table_" + QByteArray::number(i) + ".db";
            ASSERT_EQ(putRow(env.index(file), nullptr, "key", "value"), 0) << i;
        }
        LogCapture log;
        BDBIndex* index = nullptr;
        EXPECT_EQ(Registry::openIndex(env.table(), "db::one too many:data", "one too many", "data", &index), 12);
        EXPECT_EQ(log.count(" addDesc objType 1 fname table_"), 1023U);
        const std::vector<std::string> lines = ownLines(log);
        EXPECT_EQ(lines.at(lines.size() - 2), "[CRIT] bdb # Failed to open DB with id: db::one too many:data");
        EXPECT_EQ(rowOf(env.index("table_0.db"), nullptr, "key"), "value");
        EXPECT_EQ(env->txn_checkpoint(0, 0, DB_FORCE), 0);
    });
    EXPECT_EQ(child.waitForExit(), 0);
}

} // namespace
