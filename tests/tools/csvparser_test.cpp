#include "tools/csvparser.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Ctl::CsvParser;
using Fields = std::vector<std::string>;

/** The fields of a record in these lines; quoted ones are preceded by a '. */
Fields fieldsOf(const std::vector<QByteArray>& lines)
{
    CsvParser parser;
    for (std::size_t i = 0; i < lines.size(); ++i)
        EXPECT_EQ(parser.add(lines[i]),
                  i + 1 < lines.size() ? CsvParser::Result::Incomplete : CsvParser::Result::Complete)
            << lines[i].toStdString();
    Fields fields;
    for (const CsvParser::Field& field : parser.fields())
        fields.push_back((field.isQuoted ? "'" : "") + field.text.toStdString());
    return fields;
}

std::string errorOf(const QByteArray& line)
{
    CsvParser parser;
    EXPECT_EQ(parser.add(line), CsvParser::Result::Bad) << line.toStdString();
    return parser.error();
}

} // namespace

TEST(CsvParser, SplitsAtCommas)
{
    EXPECT_EQ(fieldsOf({"a,b,c"}), Fields({"a", "b", "c"}));
    EXPECT_EQ(fieldsOf({""}), Fields({""}));
    EXPECT_EQ(fieldsOf({",a,"}), Fields({"", "a", ""}));
    EXPECT_EQ(fieldsOf({" a , b\t"}), Fields({" a ", " b\t"}));
    EXPECT_EQ(fieldsOf({"a,b\r"}), Fields({"a", "b"}));
}

TEST(CsvParser, KeepsCommasQuotesAndLineEndsInQuotes)
{
    EXPECT_EQ(fieldsOf({R"("a,b","c ""d""","",e)"}), Fields({"'a,b", "'c \"d\"", "'", "e"}));
    EXPECT_EQ(fieldsOf({"\"a", "", "b\",c"}), Fields({"'a\n\nb", "c"}));
    EXPECT_EQ(fieldsOf({"\"a\r", "b\"\r"}), Fields({"'a\r\nb"}));
    EXPECT_EQ(fieldsOf({R"("""")"}), Fields({"'\""}));
}

TEST(CsvParser, RefusesQuotesElsewhere)
{
    EXPECT_EQ(errorOf("a\"b"), "there is a quote in a field that does not begin with one");
    EXPECT_EQ(errorOf("x, \"b\""), "there is a quote in a field that does not begin with one");
    EXPECT_EQ(errorOf("\"a\" ,b"), "there is text between a closing quote and the next comma");
}

TEST(CsvParser, BeginsAnewAfterAReset)
{
    CsvParser parser;
    EXPECT_EQ(parser.add("\"a"), CsvParser::Result::Incomplete);
    parser.reset();
    EXPECT_EQ(parser.add("b"), CsvParser::Result::Complete);
    ASSERT_EQ(parser.fields().size(), 1U);
    EXPECT_EQ(parser.fields().front().text, "b");
    EXPECT_EQ(parser.size(), 1);
}
