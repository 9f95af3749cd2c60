#include "toolfixture.h"

#include "support/scriptedserver.h"

#include <QStringList>

#include <mutex>

TEST(QueryFromAServer, WhoseStartKeyWasDeletedAsksForTheSamePageAgain)
{
    // Going down from c, which has been deleted, the server examines d first.
    std::mutex mutex;
    QStringList asked;
    const ReplyingServer server([&](const QByteArray&, const QByteArray& body) {
        QVariant request;
        EXPECT_TRUE(Json::parse(body, &request));
        const QVariantMap start = request.toMap().value("ExclusiveStartKey").toMap();
        const QString range = start.value("RangeKeyElement").toMap().value("S").toString();
        const int limit = request.toMap().value("Limit").toInt();
        const std::scoped_lock lock(mutex);
        asked.append(range + '/' + QString::number(limit));
        const auto page = [](const QString& item, const QString& last) {
            QVariantList items;
            if (!item.isEmpty())
                items.append(QVariantMap{{"h", textValue("k")}, {"r", textValue(item)}});
            QVariantMap fields{{"Count", 1LL}, {"Items", items}};
            if (!last.isEmpty())
                fields.insert("LastEvaluatedKey", QVariantMap{{"HashKeyElement", "k"}, {"RangeKeyElement", last}});
            return Json::serialize(okReply(fields));
        };
        if (range.isEmpty())
            return page("c", "c");
        return limit == 1 ? page("", "d") : page("b", "");
    });
    const ProgramRun run = quorvactl(addressed(server.port(), {"query", "d|t", "k", "--le", "x", "--limit", "1"}));
    EXPECT_EQ(run.status, Ok) << run.error;
    EXPECT_EQ(run.output, "{\"h\":{\"S\":\"k\"},\"r\":{\"S\":\"c\"}}\n{\"h\":{\"S\":\"k\"},\"r\":{\"S\":\"b\"}}\n");
    const std::scoped_lock lock(mutex);
    EXPECT_EQ(asked, QStringList({"/1", "c/1", "c/2"}));
}

TEST(QueryFromAServer, TakesItemsThatLookAlikeAsOftenAsTheyAreThere)
{
    // Range keys with a zero byte: a reply shows only what precedes it.
    const QVariantMap alike{{"h", textValue("k")}, {"r", textValue("a")}};
    const ReplyingServer server([&](const QByteArray&, const QByteArray& body) {
        QVariant request;
        EXPECT_TRUE(Json::parse(body, &request));
        QVariantMap fields{{"Count", 1LL}, {"Items", QVariantList{alike}}};
        if (request.toMap().value("Limit").toInt() == 1) // no key to continue after, so the page is requested again
            fields.insert("LastEvaluatedKey", QVariantMap{{"HashKeyElement", "k"}, {"RangeKeyElement", ""}});
        else
            fields.insert("Items", QVariantList{alike, alike, alike});
        return Json::serialize(okReply(fields));
    });
    const auto query = [&](std::vector<std::string> options) {
        options.insert(options.begin(), {"query", "d|t", "k"});
        return quorvactl(addressed(server.port(), options)).output;
    };
    EXPECT_EQ(query({"--count"}), "3\n");
    EXPECT_EQ(query({"--count", "--limit", "1"}), "3\n");
}
