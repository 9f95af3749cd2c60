#include "records/requeststatus.h"
#include "request/requestbody.h"
#include "request/requestkeys.h"
#include "support/logcapture.h"
#include "support/tablefixture.h"

using namespace Qt::StringLiterals;

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> normalized(const LogCapture& log)
{
    // normalizedLogLine expects a time, which captured lines no longer have.
    std::vector<std::string> lines;
    for (const std::string& line : log.lines())
        lines.push_back(normalizedLogLine("[Mon Jan 07 09:05:03 2019] " + line));
    return lines;
}

TEST(ReadElementKeys, ReadsBothTexts)
{
    const LogCapture log;
    QByteArray hash;
    QByteArray range;
    EXPECT_EQ(Requests::readElementKeys(itemKey("hash", ""), &hash, &range), StatusSuccess);
    EXPECT_EQ(hash, "hash");
    EXPECT_EQ(range, "");
    const QString latin1 = QString::fromLatin1("\x01\x00\x7f\x80\xe4\xff", 6);
    EXPECT_EQ(Requests::readElementKeys(itemKey(latin1, "r"), &hash, &range), StatusSuccess);
    EXPECT_EQ(hash, QByteArray("\x01\x00\x7f\x80\xe4\xff", 6));
    EXPECT_EQ(range, "r");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ReadElementKeys, SaysWhatIsWrongInOneOrderOfChecks)
{
    const QVariantMap hash{{"HashKeyElement", textValue("k")}};
    const QVariantMap range{{"RangeKeyElement", textValue("1")}};
    const std::vector<std::tuple<QVariantMap, int, std::string>> cases{
        {{}, StatusInternalError, "hash key missing"},
        {range, StatusInternalError, "hash key missing"},
        {{{"HashKeyElement", numberValue("5")}}, StatusInternalError, "wrong hash-key"},
        {merged(range, {{"HashKeyElement", "k"}}), StatusInternalError, "wrong hash-key"},
        {hash, StatusInternalError, "range key missing"},
        {merged(hash, {{"RangeKeyElement", numberValue("5")}}), StatusInternalError, "wrong range-key"},
        {itemKey(QString(QChar(0x100)), "1"), StatusInvalidRequest, "key holds a character outside Latin-1"},
        {{{"HashKeyElement", textValue(QString(QChar(0x100)))}},
         StatusInvalidRequest,
         "key holds a character outside Latin-1"},
        {itemKey("k", QString(QChar(0x100))), StatusInvalidRequest, "key holds a character outside Latin-1"},
    };
    for (const auto& [key, status, line] : cases) {
        const LogCapture log;
        QByteArray hashKey;
        QByteArray rangeKey;
        EXPECT_EQ(Requests::readElementKeys(key, &hashKey, &rangeKey), status) << testing::PrintToString(key);
        EXPECT_THAT(normalized(log), ElementsAre("[ERROR] bdbrequest # " + line)) << testing::PrintToString(key);
    }
}

TEST(ReadElementKeys, AreTheSameFromTheTextOfABodyAndFromItsTree)
{
    const char* const keys[] = {
        R"({"HashKeyElement":{"S":"h"},"RangeKeyElement":{"S":"r"}})",
        R"( { "RangeKeyElement" : { "S" : "" } , "x":1, "HashKeyElement":{"S":"h","N":"5"}} )",
        R"({"HashKeyElement":{"S":"1"},"RangeKeyElement":{"S":"r"},"HashKeyElement":{"S":"2"}})", // the last wins
        R"({"HashKeyElement":{"S":"1","S":"2"},"RangeKeyElement":{"S":"r"}})",
        R"({"HashKeyElement":{"S":"é"},"RangeKeyElement":{"S":"ÿ"}})",
        R"({"HashKeyElement":{"S":"h"},"RangeKeyElement":{"S":"€"}})",
        R"({"HashKeyElement":{"S":"h"},"RangeKeyElement":{"S":"r" }})",
        R"({"HashKeyElement":{"S":"h"},"RangeKeyElement":{"S":"r","S":"r2"}})",
        R"({"HashKeyElement":{"S":5},"RangeKeyElement":{"S":true}})",
        R"({"HashKeyElement":{"S":{}},"RangeKeyElement":{"S":"r"}})",
        R"({"HashKeyElement":{"S":[]},"RangeKeyElement":{"S":"r"}})",
        R"({"HashKeyElement":{"S":{}},"RangeKeyElement":{"S":null}})",
        R"({"HashKeyElement":{"N":"5"},"RangeKeyElement":{"S":"r"}})",
        R"({"HashKeyElement":{"S":"h"},"RangeKeyElement":{"N":"5"}})",
        R"({"HashKeyElement":"h","RangeKeyElement":"r"})",
        R"({"HashKeyElement":{"S":"h"}})",
        R"({"RangeKeyElement":{"S":"r"}})",
        R"({})",
        R"("h")",
        R"([{"HashKeyElement":{"S":"h"},"RangeKeyElement":{"S":"r"}}])",
    };
    for (const QByteArray key : keys) {
        SCOPED_TRACE(key.toStdString());
        RequestBody body;
        ASSERT_TRUE(body.parse(R"({"Key":)" + key + "}"));
        ASSERT_FALSE(body.textOf("Key"_L1).isNull());
        const auto read = [](const auto&... from) {
            const LogCapture log;
            QByteArray hash;
            QByteArray range;
            const int rc = Requests::readElementKeys(from..., &hash, &range);
            return rc == StatusSuccess ? std::vector<std::string>{hash.toStdString(), range.toStdString()}
                                       : normalized(log);
        };
        EXPECT_EQ(read(body, "Key"_L1), read(body.value("Key"_L1).toMap()));
    }
}

TEST(SchemaKeyNames, ReadsBothNames)
{
    const LogCapture log;
    QString hash;
    QString range;
    const QString euro(QChar(0x20ac));
    EXPECT_EQ(Requests::schemaKeyNames({{"KeySchema", keySchema("hash", euro)}}, &hash, &range), StatusSuccess);
    EXPECT_EQ(hash, "hash");
    EXPECT_EQ(range, euro);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(SchemaKeyNames, SaysWhatIsWrongInOneOrderOfChecks)
{
    const QVariantMap hash{{"HashKeyElement", schemaElement("h")}};
    const std::vector<std::pair<QVariantMap, std::string>> cases{
        {{}, "key schema missing"},
        {{{"keySchema", keySchema()}}, "key schema missing"},
        {{{"KeySchema", QVariantMap()}}, "hash key missing"},
        {{{"KeySchema", "h"}}, "hash key missing"},
        {{{"KeySchema", QVariantMap{{"RangeKeyElement", schemaElement("r")}}}}, "hash key missing"},
        {{{"KeySchema", QVariantMap{{"HashKeyElement", "h"}}}}, "schema attr missing"},
        {{{"KeySchema", QVariantMap{{"HashKeyElement", QVariantMap{{"AttributeName", "h"}}}}}}, "schema attr missing"},
        {{{"KeySchema", QVariantMap{{"HashKeyElement", QVariantMap{{"AttributeType", "N"}}}}}}, "schema attr missing"},
        {{{"KeySchema", QVariantMap{{"HashKeyElement", schemaElement("h", "N")}}}}, "wrong hash-key"},
        {{{"KeySchema", hash}}, "range key missing"},
        {{{"KeySchema", merged(hash, {{"RangeKeyElement", QVariantMap{{"AttributeName", "r"}}}})}},
         "schema attr missing"},
        {{{"KeySchema", merged(hash, {{"RangeKeyElement", QVariantMap{{"AttributeType", "S"}}}})}},
         "schema attr missing"},
        {{{"KeySchema", merged(hash, {{"RangeKeyElement", schemaElement("r", "SS")}})}}, "wrong range-key"},
    };
    for (const auto& [schema, line] : cases) {
        const LogCapture log;
        QString hashName;
        QString rangeName;
        EXPECT_EQ(Requests::schemaKeyNames(schema, &hashName, &rangeName), StatusInternalError)
            << testing::PrintToString(schema);
        EXPECT_THAT(normalized(log), ElementsAre("[ERROR] bdbrequest # " + line)) << testing::PrintToString(schema);
    }
}

} // namespace
