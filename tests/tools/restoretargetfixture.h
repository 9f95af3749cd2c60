#ifndef QUORVA_TESTS_TOOLS_RESTORETARGETFIXTURE_H
#define QUORVA_TESTS_TOOLS_RESTORETARGETFIXTURE_H

#include "support/backupfixture.h"

/** What a restore leaves behind when it is interrupted. */
class RestoreTarget : public BackupTest {
protected:
    void SetUp() override
    {
        BackupTest::SetUp();
        for (int i = 0; i < 30; ++i)
            put(QString::number(i), "r", {{"a", textValue(QString(3000, 'x'))}}); // in many files
        backUpTo(makeDirectory("backup"));
        makeDirectory("place");
    }

    std::string backup() const { return pathOf("backup"); }
    std::string target() const { return pathOf("place/restored"); }

    /** The directories next to the target that are named like an unfinished restore. */
    std::vector<std::string> workDirectories() const
    {
        std::vector<std::string> paths;
        for (const std::string& name : namesIn(pathOf("place"))) {
            if (name.find(".restoring-") != std::string::npos)
                paths.push_back(pathOf("place/" + name));
        }
        return paths;
    }

    /** A restore that is stopped once `place` has at least that many files. */
    class Stopped {
    public:
        Stopped(const std::string& from, const std::string& to, const std::string& place, std::size_t files)
            : run_(QUORVACTL_BINARY, restoreArguments(from, to))
        {
            EXPECT_TRUE(waitUntil([&] { return filesBelow(place) >= files; }));
            run_.signal(SIGSTOP);
        }

        /** Sends the signal and lets the process continue with it. */
        ProgramRun endBy(int signal)
        {
            run_.signal(signal);
            run_.signal(SIGCONT);
            return run_.wait();
        }

    private:
        static std::size_t filesBelow(const std::string& place)
        {
            std::size_t count = 0;
            std::error_code vanished;
            for (std::filesystem::recursive_directory_iterator entry(place, vanished);
                 !vanished && entry != std::filesystem::recursive_directory_iterator(); entry.increment(vanished))
                count += entry->is_regular_file(vanished) ? 1 : 0;
            return count;
        }

        RunningProgram run_;
    };

    /** Expects the server to refuse a table in the directory because of the guard file, and to change nothing there. */
    void expectNotOpened(const std::string& directory)
    {
        expectNotOpened(directory, testing::Contains(testing::HasSubstr("unfinished_quorvactl_restore")));
    }

    /** Likewise at any instant: while there are databases but no log yet, that is the reason. */
    void expectNotOpenedAtAnyInstant(const std::string& directory)
    {
        expectNotOpened(directory, testing::Contains(testing::AnyOf(
                                       testing::HasSubstr("unfinished_quorvactl_restore"),
                                       testing::AllOf(testing::HasSubstr("Failed to open env path: " + directory),
                                                      testing::EndsWith(" rc 16")))));
    }

    void expectNotOpened(const std::string& directory,
                         const testing::Matcher<const std::vector<std::string>&>& complaints)
    {
        const auto before = contentsOf(directory);
        EXPECT_NE(request("PutItem", {{"TableName", tableIn(directory)},
                                      {"Item", QVariantMap{{"h", textValue("k")}, {"r", textValue("r")}}}})
                      .value("__rc"),
                  QVariant(200LL));
        EXPECT_NE(request("CreateTable", createBody(tableIn(directory))).value("__rc"), QVariant(200LL));
        EXPECT_EQ(contentsOf(directory), before);
        EXPECT_THAT(takeComplaints(), complaints);
    }

    static QVariantMap createBody(const QString& table)
    {
        const auto key = [](const char* name) { return QVariantMap{{"AttributeName", name}, {"AttributeType", "S"}}; };
        return {{"TableName", table},
                {"KeySchema", QVariantMap{{"HashKeyElement", key("h")}, {"RangeKeyElement", key("r")}}}};
    }

    void expectWhole(const std::string& directory)
    {
        QStringList hashes;
        for (int i = 0; i < 30; ++i)
            hashes.append(QString::number(i));
        EXPECT_EQ(itemsOf(tableIn(directory), hashes).size(), 30U);
        EXPECT_EQ(request("DeleteTable", {{"TableName", tableIn(directory)}}), okReply());
    }
};

#endif
