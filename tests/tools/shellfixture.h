#ifndef QUORVA_TESTS_TOOLS_SHELLFIXTURE_H
#define QUORVA_TESTS_TOOLS_SHELLFIXTURE_H

#include "support/scriptedserver.h"
#include "terminalsession.h"

#include "json/jsonwriter.h"

#include <QVariantMap>

#include <optional>
#include <string>
#include <vector>

/** A server for the shell's commands: it has one table, and lists others; a Query is never answered. */
inline std::optional<QByteArray> replyToShell(const QByteArray& operation, const QByteArray& body)
{
    const QByteArray ok = R"("__rc":200,"__rcstr":"OK")";
    if (operation == "DynamoDB_20111205.DescribeTable")
        return '{' + ok + R"(,"Table":{"TableName":"d|t","KeySchema":{"HashKeyElement":{"AttributeName":"h",)" +
               R"("AttributeType":"S"},"RangeKeyElement":{"AttributeName":"r","AttributeType":"S"}}}})";
    if (operation == "DynamoDB_20111205.Scan") {
        QByteArray items;
        const int count = body.contains("long") ? 100 : 2;
        for (int i = 0; i < count; ++i)
            items += (i == 0 ? "" : ",") + QByteArray(R"({"h":{"S":"item)") + QByteArray::number(i) +
                     R"("},"r":{"S":"größer"}})";
        return '{' + ok + R"(,"Count":)" + QByteArray::number(count) + R"(,"Items":[)" + items + "]}";
    }
    if (operation == "Quorva_1.ListTables" && body.contains(R"("shop")"))
        return '{' + ok + R"(,"Directory":"/x/shop","Open":false,"Tables":[{"TableName":"shop|old stock"},)" +
               R"({"TableName":"shop|orders"},{"TableName":"shop|stock"}]})";
    if (operation == "Quorva_1.ListTables")
        return '{' + ok + R"(,"Tables":[]})";
    return '{' + ok + '}';
}

/** The interactive shell on a terminal, with a scripted server and a home of its own. */
class ShellTest : public testing::Test {
protected:
    static constexpr const char* Prompt = "quorvactl> ";

    std::vector<std::string> variables(const std::vector<std::string>& more = {}) const
    {
        std::vector<std::string> all{"TERM=xterm",           "LC_ALL=C.UTF-8",
                                     "HOME=" + home_.path(), "XDG_STATE_HOME=" + home_.file("state"),
                                     "PAGER=sed s/^/page:/", "QUORVA_PORT=" + std::to_string(server_.port())};
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }
    std::string history() const { return home_.file("state/quorva/quorvactl_history"); }

    ReplyingServer server_{replyToShell};
    TempDir home_;
};

#endif
