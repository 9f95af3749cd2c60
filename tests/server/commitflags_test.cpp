#include "startsupport.h"

#include <string>
#include <vector>

namespace {

using testing::HasSubstr;
using testing::Not;

constexpr const char* Marker = "a value that is found in the log file";

QVariantMap text(const char* value)
{
    return {{"S", value}};
}

enum class Write { Put, Batch };

/** Puts one small item with the marker, by itself or in a batch. Returns Berkeley DB's log file as it is on disk when
 * the reply arrives. */
std::string logAfter(Write kind, const std::vector<std::string>& options)
{
    const TempDir directory;
    const std::string home = directory.makeDirectory("home");
    ServerProcess::Setup setup;
    setup.arguments = options;
    ServerProcess server(setup);
    if (!server.start())
        return {};

    const QString table = QString::fromStdString(home + "|t");
    const QVariantMap schema{{"HashKeyElement", QVariantMap{{"AttributeName", "h"}, {"AttributeType", "S"}}},
                             {"RangeKeyElement", QVariantMap{{"AttributeName", "r"}, {"AttributeType", "S"}}}};
    EXPECT_EQ(server.request("CreateTable", {{"TableName", table}, {"KeySchema", schema}})["__rc"], 200);
    // The first item of a partition creates its files, which is flushed regardless of the option.
    for (const char* value : {"first", Marker}) {
        const QVariantMap item{{"h", text("hash")}, {"r", text(value)}, {"v", text(value)}};
        const QVariantMap put{{"PutRequest", QVariantMap{{"Item", item}}}};
        const QVariantMap reply =
            kind == Write::Put
                ? server.request("PutItem", {{"TableName", table}, {"Item", item}})
                : server.request("BatchWriteItem", {{"RequestItems", QVariantMap{{table, QVariantList{put}}}}});
        EXPECT_EQ(reply["__rc"], 200);
    }
    std::string log = ProcFs::read(home + "/log.0000000001");
    EXPECT_THAT(log, HasSubstr("tableschema")) << "CreateTable flushes with any option";
    return log;
}

} // namespace

TEST(CommitOption, CommitsAreOnDiskBeforeTheReplyByDefault)
{
    EXPECT_THAT(logAfter(Write::Put, {}), HasSubstr(Marker));
}

TEST(CommitOption, CommitsWaitInMemoryWithN)
{
    EXPECT_THAT(logAfter(Write::Put, {"-n"}), Not(HasSubstr(Marker)));
}

TEST(CommitOption, BatchesAreOnDiskBeforeTheReplyByDefault)
{
    EXPECT_THAT(logAfter(Write::Batch, {}), HasSubstr(Marker));
}

TEST(CommitOption, BatchesWaitInMemoryWithN)
{
    EXPECT_THAT(logAfter(Write::Batch, {"-n"}), Not(HasSubstr(Marker)));
}
