#include "schemafixture.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

namespace {

TEST_F(LoadSchema, AMissingRecordIsNotFound)
{
    for (const bool rawOnly : {false, true}) {
        const LogCapture log;
        EXPECT_EQ(load(rawOnly), StatusNotFound);
        EXPECT_EQ(recordLines(log), (Lines{"[ERROR] bdbrequest # schema load failed rc 3"}));
        EXPECT_EQ(description_, QVariantMap());
        EXPECT_FALSE(context().keySchema());
    }
}

TEST_F(LoadSchema, ARecordThatIsNoJsonIsAnInternalError)
{
    for (const QByteArray text : {"no JSON", "", "{", R"({"KeySchema":{}} x)"}) {
        storeText(text);
        const LogCapture log;
        EXPECT_EQ(load(), StatusInternalError) << text.toStdString();
        EXPECT_EQ(recordLines(log),
                  (Lines{"[ERROR] bdbrequest # parser error", "[ERROR] bdbrequest # schema load failed rc 2"}))
            << text.toStdString();
        EXPECT_EQ(description_, QVariantMap());
        EXPECT_FALSE(context().keySchema());
    }
}

TEST_F(LoadSchema, OtherBerkeleyDbErrorsAreHandedOn)
{
    storeText('"' + QByteArray(600000, 'x') + '"'); // too long to be read
    const LogCapture log;
    EXPECT_EQ(load(), DB_BUFFER_SMALL);
    EXPECT_EQ(recordLines(log), (Lines{"[ERROR] bdbrequest # dbindex get failed for 0011tableschema rc -30999",
                                       "[ERROR] bdbrequest # schema load failed rc -30999"}));
    EXPECT_FALSE(context().keySchema());
}

TEST_F(LoadSchema, AnEnvironmentThatCannotBeOpenedIsHandedOn)
{
    const std::string missing = tables_.directory().file("missing");
    const LogCapture log;
    EXPECT_EQ(Records::loadSchema(context(), QByteArray::fromStdString(missing) + "|t", &description_, false),
              StatusNotFound);
    EXPECT_EQ(recordLines(log), (Lines{"[CRIT] bdb # Failed to open env path: " + missing + " id env::" + missing +
                                       " rc " + std::to_string(ENOENT)}));
}

TEST_F(LoadSchema, ADatabaseThatCannotBeOpenedIsHandedOn)
{
    tables_.directory().makeDirectory("t");
    const LogCapture log;
    EXPECT_EQ(load(), 12);
    const Lines lines = recordLines(log);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(),
              "[CRIT] bdb # Failed to open DB dbpath: t dbname meta rc " + std::to_string(EISDIR) + " flags 289");
}

TEST_F(LoadSchema, RefusesAKeySchemaThatIsNotTwoStrings)
{
    const QByteArray goodHash = R"({"AttributeName":"id","AttributeType":"S"})";
    struct Case {
        QByteArray keySchema;
        int rc1, rc2;
    };
    const Case cases[] = {
        {"{}", 2, 2},
        {"null", 2, 2},
        {R"("text")", 2, 2},
        {"[]", 2, 2},
        {R"({"HashKeyElement":)" + goodHash + "}", 0, 2},
        {R"({"RangeKeyElement":)" + goodHash + "}", 2, 0},
        {R"({"HashKeyElement":)" + goodHash + R"(,"RangeKeyElement":{"AttributeName":"when","AttributeType":"N"}})", 0,
         2},
        {R"({"HashKeyElement":)" + goodHash + R"(,"RangeKeyElement":{"AttributeName":"when","AttributeType":"B"}})", 0,
         2},
        {R"({"HashKeyElement":)" + goodHash + R"(,"RangeKeyElement":{"AttributeName":"when","AttributeType":"s"}})", 0,
         2},
        {R"({"HashKeyElement":)" + goodHash + R"(,"RangeKeyElement":{"AttributeName":"when","AttributeType":"SS"}})", 0,
         2},
        {R"({"HashKeyElement":)" + goodHash + R"(,"RangeKeyElement":{"AttributeName":"when","AttributeType":null}})", 0,
         2},
        {R"({"HashKeyElement":)" + goodHash + R"(,"RangeKeyElement":{"AttributeName":"when"}})", 0, 2},
        {R"({"HashKeyElement":)" + goodHash + R"(,"RangeKeyElement":{"AttributeType":"S"}})", 0, 2},
        {R"({"HashKeyElement":)" + goodHash + R"(,"RangeKeyElement":{}})", 0, 2},
        {R"({"HashKeyElement":)" + goodHash + R"(,"RangeKeyElement":null})", 0, 2},
        {R"({"HashKeyElement":)" + goodHash + R"(,"RangeKeyElement":"when"})", 0, 2},
        {R"({"RangeKeyElement":)" + goodHash + R"(,"HashKeyElement":{"AttributeName":"id","AttributeType":"N"}})", 2,
         0},
        {R"({"RangeKeyElement":)" + goodHash + R"(,"HashKeyElement":{"AttributeName":"id"}})", 2, 0},
        {R"({"RangeKeyElement":)" + goodHash + R"(,"HashKeyElement":{"AttributeType":"S"}})", 2, 0},
        {R"({"HashKeyElement":{"AttributeName":"a","AttributeType":"N"},)"
         R"("RangeKeyElement":{"AttributeName":"b","AttributeType":"N"}})",
         2, 2},
        {R"({"hashkeyelement":)" + goodHash + R"(,"rangekeyelement":)" + goodHash + "}", 2, 2},
    };
    for (const Case& c : cases) {
        const QByteArray text = store(c.keySchema);
        description_.clear();
        const LogCapture log;
        EXPECT_EQ(load(), StatusNotFound) << c.keySchema.toStdString();
        EXPECT_EQ(recordLines(log), (Lines{"[ERROR] bdbrequest # wrond key rc1 " + std::to_string(c.rc1) + " rc2 " +
                                           std::to_string(c.rc2)}))
            << c.keySchema.toStdString();
        EXPECT_EQ(description_, json(text)) << c.keySchema.toStdString();
        EXPECT_FALSE(context().keySchema()) << c.keySchema.toStdString();
    }
}

TEST_F(LoadSchema, ADescriptionWithoutAKeySchemaIsRefused)
{
    for (const QByteArray text : {"{}", R"({"TableName":"t"})", "5", "[]", R"("text")"}) {
        storeText(text);
        const LogCapture log;
        EXPECT_EQ(load(), StatusNotFound) << text.toStdString();
        EXPECT_EQ(recordLines(log), (Lines{"[ERROR] bdbrequest # wrond key rc1 2 rc2 2"})) << text.toStdString();
        EXPECT_FALSE(context().keySchema());
    }
}

TEST_F(LoadSchema, AFailureKeepsTheSchemaThatWasThere)
{
    store(GoodSchema);
    ASSERT_EQ(load(), StatusSuccess);
    for (const QByteArray keySchema : {R"({"HashKeyElement":{"AttributeName":"other","AttributeType":"S"},)"
                                       R"("RangeKeyElement":{"AttributeName":"n","AttributeType":"N"}})",
                                       R"({"HashKeyElement":{"AttributeName":"other","AttributeType":"S"}})"}) {
        store(keySchema);
        EXPECT_EQ(load(), StatusNotFound) << keySchema.toStdString();
        EXPECT_EQ(hashElement().value("AttributeName"), "id");
        EXPECT_EQ(rangeElement().value("AttributeName"), "when");
    }
}

} // namespace
