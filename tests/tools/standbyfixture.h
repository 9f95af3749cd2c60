#ifndef QUORVA_TESTS_TOOLS_STANDBYFIXTURE_H
#define QUORVA_TESTS_TOOLS_STANDBYFIXTURE_H

#include "keepfixture.h"

/** A standby of a backup to which log files are shipped. */
class StandbyTest : public KeepTest {
protected:
    void SetUp() override
    {
        KeepTest::SetUp();
        put("k", "in the copy", {{"a", textValue("x")}});
        backUpTo(makeDirectory("backup"));
        endShipping();
    }

    std::string standby() const { return pathOf("standby"); }

    static ProgramRun standby(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), "standby");
        return ::quorvactl(arguments);
    }
    ProgramRun catchUp() const { return standby({backup(), standby()}); }

    /** Writes an item "k" and so much after it that it is in a log file that is shipped. */
    void putAndShip(const QString& key)
    {
        put("k", key, {{"a", textValue("x")}});
        fillMore(3);
        ship(backup());
    }

    void expectSuccess(const ProgramRun& run, const std::string& output)
    {
        EXPECT_EQ(run.status, 0);
        EXPECT_THAT(run.output, testing::MatchesRegex(output));
        EXPECT_EQ(run.error, "");
    }

    /** Lets servers open the standby, and expects it to hold exactly what a restore of the backup holds. */
    void switchAndCompare(const std::vector<std::string>& switchArguments)
    {
        const ProgramRun run = standby(switchArguments);
        EXPECT_EQ(run.status, 0) << run.error;
        const ProgramRun restored = restore(backup(), target());
        EXPECT_EQ(restored.status, 0) << restored.error;
        const Items items = itemsOf(tableIn(target()), {"k", "fill"});
        EXPECT_GT(items.size(), 1U);
        EXPECT_EQ(itemsOf(tableIn(standby()), {"k", "fill"}), items);
        EXPECT_EQ(request("DeleteTable", {{"TableName", tableIn(target())}}), okReply());
        EXPECT_EQ(request("DeleteTable", {{"TableName", tableIn(standby())}}), okReply());
        std::filesystem::remove_all(target());
    }

    std::uint32_t lastShipped() const { return *LogFiles::numbersIn(backup() + "/__log__").rbegin(); }
    std::string shippedLog(std::uint32_t number) const { return backup() + "/__log__/" + LogFiles::name(number); }

    /** Expects the server to refuse the standby, and to leave it as it is. */
    void expectNotOpened()
    {
        (void)takeComplaints();
        const auto before = contentsOf(standby());
        EXPECT_NE(request("PutItem", {{"TableName", tableIn(standby())},
                                      {"Item", QVariantMap{{"h", textValue("k")}, {"r", textValue("r")}}}})
                      .value("__rc"),
                  QVariant(200LL));
        EXPECT_EQ(contentsOf(standby()), before);
        EXPECT_THAT(takeComplaints(), testing::Contains(testing::HasSubstr("Failed to open env path: " + standby())));
    }
};

#endif
