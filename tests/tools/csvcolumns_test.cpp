#include "tools/csvcolumns.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Fields = std::vector<Ctl::CsvParser::Field>;
using Words = std::vector<std::string>;

Fields fieldsOf(const QByteArray& line)
{
    Ctl::CsvParser parser;
    EXPECT_EQ(parser.add(line), Ctl::CsvParser::Result::Complete) << line.toStdString();
    return parser.fields();
}

std::string headerError(const QByteArray& header, const Words& types = {})
{
    return Ctl::CsvColumns(types).readHeader(fieldsOf(header), {"h", "r"});
}

/** The JSON of a record, or the error. */
std::string itemOf(const QByteArray& header, const QByteArray& record, const Words& types = {})
{
    Ctl::CsvColumns columns(types);
    EXPECT_EQ(columns.readHeader(fieldsOf(header), {"h", "r"}), "") << header.toStdString();
    QByteArray item;
    const std::string error = columns.toItem(fieldsOf(record), &item);
    return error.empty() ? item.toStdString() : error;
}

} // namespace

TEST(CsvColumns, AreStringsUnlessTheHeaderHasATypeForThem)
{
    EXPECT_EQ(itemOf("h,r,total:N,tags:SS,raw:B,odd:X", "a,b,17,\"x,y\",YWI=,z"),
              R"({"h":{"S":"a"},"odd:X":{"S":"z"},"r":{"S":"b"},"raw":{"B":"YWI="},"tags":{"SS":["x","y"]},)"
              R"("total":{"N":"17"}})");
}

TEST(CsvColumns, HaveTheTypesThatWereGivenForTheTextsOfTheHeader)
{
    EXPECT_EQ(itemOf("h,r,total,a:N", "a,b,17,x", {"total=N", "a:N=S"}),
              R"({"a:N":{"S":"x"},"h":{"S":"a"},"r":{"S":"b"},"total":{"N":"17"}})");
}

TEST(CsvColumns, MakeNoAttributeOfAnEmptyCellExceptForAKey)
{
    EXPECT_EQ(itemOf("h,r,x,y,n:N,s:SS", "a,,,\"\",,\"\""),
              R"({"h":{"S":"a"},"r":{"S":""},"s":{"SS":[]},"y":{"S":""}})");
}

TEST(CsvColumns, RefuseRecordsThatDoNotFit)
{
    EXPECT_EQ(itemOf("h,r,x", "a,b"), "there are 2 fields, and the header line has 3");
    EXPECT_EQ(itemOf("h,r", "a,b,c"), "there are 3 fields, and the header line has 2");
    EXPECT_EQ(itemOf("h,r,n:N", "a,b,x"), "attribute \"n\": \"x\" is not a number");
    EXPECT_EQ(itemOf("h,r,b:B", "a,b,x"), "attribute \"b\": \"x\" is not base64");
    EXPECT_EQ(itemOf("h,r,s", "a,b,\xff"), "attribute \"s\": not UTF-8");
}

TEST(CsvColumns, RefuseAHeaderThatCannotBeUsed)
{
    EXPECT_EQ(headerError("h,x"), "the header line has no column \"r\", the range key");
    EXPECT_EQ(headerError("r,x"), "the header line has no column \"h\", the hash key");
    EXPECT_EQ(headerError("h,r,,x"), "column 3 of the header line has no name");
    EXPECT_EQ(headerError("h,r,:N"), "column 3 of the header line has no name");
    EXPECT_EQ(headerError("h,r,x,x:N"), "the header line has two columns \"x\"");
    EXPECT_EQ(headerError("h,r,\xff"), "the header line is not UTF-8");
    EXPECT_EQ(headerError("h,r,x", {"y=N"}), "--types: the header line has no column \"y\"");
    EXPECT_EQ(headerError("h,r,x", {"x=T"}),
              "--types: \"x=T\" is not NAME=TYPE, with one of the types S, N, B, SS, NS and BS");
}
