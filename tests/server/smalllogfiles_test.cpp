/* Log files that are smaller than the log's buffer, which the server makes larger than Berkeley DB's default. */
#include "support/tablefixture.h"

#include <filesystem>
#include <fstream>
#include <string>

namespace {

class SmallLogFiles : public TableTest, public testing::WithParamInterface<int> {};

TEST_P(SmallLogFiles, AreWrittenAndRecovered)
{
    std::ofstream(home() + "/DB_CONFIG") << "set_lg_max " << GetParam() << '\n';
    createTable(tableName());
    constexpr int Items = 60;
    const QVariantMap value{{"v", textValue(QString(30'000, 'v'))}};
    for (int i = 0; i < Items; ++i)
        EXPECT_EQ(put("k", QString::number(i), value), okReply({{"Attributes", value}}));
    EXPECT_TRUE(std::filesystem::exists(home() + "/log.0000000002"));
    EXPECT_LE(std::filesystem::file_size(home() + "/log.0000000001"), static_cast<std::uintmax_t>(GetParam()));
    restartServer();
    for (int i = 0; i < Items; ++i)
        EXPECT_EQ(get("k", QString::number(i)), okReply({{"Item", value}})) << i;
    EXPECT_EQ(put("k", "after", value), okReply({{"Attributes", value}}));
    EXPECT_THAT(takeComplaints(), testing::IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Bytes, SmallLogFiles, testing::Values(262'144, 1'048'576));

} // namespace
