#include "itemcommandsfixture.h"

TEST_F(ItemCommands, GetPrintsTheItemWithItsKeys)
{
    put("k", "r", {{"a", textValue("x")}, {"z", numberValue("7")}});
    expectOutput({"get", table(), "k", "r"},
                 "{\"a\":{\"S\":\"x\"},\"h\":{\"S\":\"k\"},\"r\":{\"S\":\"r\"},\"z\":{\"N\":\"7\"}}\n");
    expectOutput({"get", table(), "k", "r", "--attributes", "z"},
                 "{\"h\":{\"S\":\"k\"},\"r\":{\"S\":\"r\"},\"z\":{\"N\":\"7\"}}\n");
    expectOutput({"get", "--attributes", "a,z", table(), "k", "r"},
                 "{\"a\":{\"S\":\"x\"},\"h\":{\"S\":\"k\"},\"r\":{\"S\":\"r\"},\"z\":{\"N\":\"7\"}}\n");
    expectFailure({"get", table(), "k", "s"}, ErrorReply,
                  "quorvactl: there is no item \"k\" \"s\" in " + table() + '\n');
    const ProgramRun unprinted = quorvactl({"get", table(), "k", "r"}, {.output = "/dev/full"});
    EXPECT_EQ(unprinted.status, NoReply);
    EXPECT_EQ(unprinted.error, "quorvactl: cannot write standard output\n");
}

TEST_F(ItemCommands, KeysMayBeAnyWords)
{
    for (const auto& [hash, range] : std::vector<std::pair<QString, QString>>{
             {"get", "put"}, {"scan", ""}, {"-5", "--help"}, {"", "r"}, {"[a]", "{b}"}, {QChar(0xe9), "a b"}}) {
        put(hash, range, {{"a", textValue(hash)}});
        const ProgramRun run =
            quorvactl({"get", "--attributes=a", "--", table(), hash.toStdString(), range.toStdString()});
        EXPECT_EQ(run.status, Ok) << hash.toStdString() << ' ' << run.error;
        const QVariantMap whole{{"h", textValue(hash)}, {"r", textValue(range)}, {"a", textValue(hash)}};
        EXPECT_EQ(run.output, Json::serialize(whole).toStdString() + '\n');
        expectOutput({"delete", "--", table(), hash.toStdString(), range.toStdString()}, "");
        EXPECT_FALSE(isThere(hash, range));
    }
}

TEST_F(ItemCommands, DeleteDeletes)
{
    put("k", "r", {{"n", numberValue("1")}});
    expectFailure({"delete", table(), "k", "r", "--if", "n=N:2"}, ErrorReply,
                  conditionFailed("cannot delete " + item()));
    EXPECT_TRUE(isThere("k", "r"));
    expectOutput({"delete", table(), "k", "r", "--if", "n=N:1", "--return", "old"},
                 "{\"h\":{\"S\":\"k\"},\"n\":{\"N\":\"1\"},\"r\":{\"S\":\"r\"}}\n");
    EXPECT_FALSE(isThere("k", "r"));
    expectOutput({"delete", table(), "k", "r", "--return", "old"}, "");
    expectOutput({"delete", table(), "k", "r"}, "");
}

TEST_F(ItemCommands, BinaryThatIsNoBase64IsRefused)
{
    const std::string why = "attribute \"b\": \"abc\" is not base64\n";
    expectFailure({"put", table(), "h=S:k", "r=S:r", "b=B:abc"}, Usage, "quorvactl: " + why);
    expectFailure({"put", table(), R"({"h":{"S":"k"},"r":{"S":"r"},"b":{"BS":["abc"]}})"}, Usage, "quorvactl: " + why);
    expectFailure({"update", table(), "k", "r", "--set", "b=B:abc"}, Usage, "quorvactl: " + why);
    expectFailure({"update", table(), "k", "r", "--set", "a=S:1", "--if", "b=B:abc"}, Usage, "quorvactl: --if: " + why);
    EXPECT_FALSE(isThere("k", "r"));
    expectOutput({"put", table(), "h=S:k", "r=S:r", "b=BS:YWI=,YQ=="}, "");
}

TEST_F(ItemCommands, KeysOutsideLatin1AreRefused)
{
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"get"}, {"delete"}, {"update", "--set", "a=S:1"}}) {
        std::vector<std::string> hash = words;
        hash.insert(hash.end(), {table(), "✓", "r"});
        expectFailure(hash, Usage, "quorvactl: the hash key has a character outside Latin-1: \"✓\"\n");
        std::vector<std::string> range = words;
        range.insert(range.end(), {table(), "k", "\xff"});
        expectFailure(range, Usage, "quorvactl: the range key is not UTF-8\n");
    }
}

TEST_F(ItemCommands, AMissingTableIsReportedByName)
{
    const std::vector<std::pair<std::string, std::string>> cases{
        {table("none"), Complaints::notFound("there is no table " + table("none"))},
        {"/nowhere|t", Complaints::noDirectory("cannot find the table /nowhere|t", "/nowhere")}};
    for (const auto& [name, complaint] : cases) {
        for (const std::vector<std::string>& words :
             std::vector<std::vector<std::string>>{{"get", name, "k", "r"},
                                                   {"delete", name, "k", "r"},
                                                   {"update", name, "k", "r", "--set", "a=S:1"},
                                                   {"put", name, "h=S:k", "r=S:r"}})
            expectFailure(words, ErrorReply, complaint);
    }
}

TEST_F(ItemCommands, AFailureInsideTheServerIsReported)
{
    breakHashKey("k");
    expectFailure({"get", table(), "k", "r"}, ErrorReply, Complaints::internalError("cannot read " + item()));
    expectFailure({"delete", table(), "k", "r"}, ErrorReply, Complaints::internalError("cannot delete " + item()));
    expectFailure({"update", table(), "k", "r", "--set", "a=S:1"}, ErrorReply,
                  Complaints::internalError("cannot update " + item()));
    expectFailure({"put", table(), "h=S:k", "r=S:r"}, ErrorReply,
                  Complaints::internalError("cannot store the item in " + table()));
}

TEST_F(ItemCommands, WithoutAServerNothingIsDone)
{
    killServer();
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"get", table(), "k", "r"},
                                               {"delete", table(), "k", "r"},
                                               {"update", table(), "k", "r", "--set", "a=S:1"},
                                               {"put", table(), "h=S:k", "r=S:r"}})
        expectFailure(words, NoReply, Complaints::noServer(server_.port()));
}
