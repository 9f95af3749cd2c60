#include "tools/itemfilter.h"

#include "json/jsonreader.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Words = std::vector<std::string>;

QVariantMap item()
{
    QVariant parsed;
    EXPECT_TRUE(Json::parse(R"({"h":{"S":"abc"},"n":{"N":"17"},"big":{"N":"9223372036854775808"},"f":{"N":"1.5"},)"
                            R"("t":{"S":"größer"},"b":{"B":"YWJj"},"tags":{"SS":["new","paid"]},)"
                            R"("ns":{"NS":["1","2.0"]},"bs":{"BS":["YQ=="]},"a=b":{"S":"x"},"raw":[1]})",
                            &parsed));
    return parsed.toMap();
}

bool matches(const Words& words)
{
    Ctl::ItemFilter filter;
    EXPECT_EQ(filter.parse(words), "") << testing::PrintToString(words);
    return filter.matches(item());
}

std::string errorOf(const std::string& word)
{
    return Ctl::ItemFilter().parse({word});
}

} // namespace

TEST(ItemFilter, LetsItemsThroughThatMeetItsCondition)
{
    for (const char* word : {"n=N:17",
                             "n=N:17.0",
                             "n!=N:18",
                             "n!=S:17",
                             "n>N:9",
                             "n>=N:17",
                             "n<N:100",
                             "n<=N:17",
                             "f>N:1.4999",
                             "f<N:1.51",
                             "big>N:9223372036854775807",
                             "t=S:größer",
                             "t^=S:grö",
                             "t*=S:öß",
                             "t>S:gr",
                             "t<S:h",
                             "h>=S:abc",
                             "b=B:YWJj",
                             "b^=B:YQ==",
                             "b*=B:Yg==",
                             "tags*=S:new",
                             "tags=SS:paid,new",
                             "tags!=SS:new",
                             "ns*=N:2",
                             "bs*=B:YQ==",
                             "n",
                             "raw",
                             "!none",
                             "raw!=N:1",
                             R"({"a=b":{"S":"x"}})",
                             R"({"n":{"N":"17"},"h":{"S":"abc"}})"})
        EXPECT_TRUE(matches({word})) << word;
}

TEST(ItemFilter, KeepsItemsBackThatDoNot)
{
    for (const char* word : {"n=N:18",      "n=S:17",     "n!=N:17",
                             "n>N:17",      "n<N:17",     "n<S:z",
                             "f=N:1",       "t^=S:rö",    "t*=S:xx",
                             "b^=B:Yg==",   "tags*=S:ne", "tags*=N:1",
                             "tags=SS:new", "ns*=N:3",    "none=N:1",
                             "none!=N:1",   "none",       "!n",
                             "raw=N:1",     "n*=N:1",     R"({"n":{"N":"17"},"h":{"S":"x"}})"})
        EXPECT_FALSE(matches({word})) << word;
}

TEST(ItemFilter, NeedsAllOfItsConditions)
{
    EXPECT_TRUE(matches({"n>N:10", "n<N:20", "h^=S:a"}));
    EXPECT_FALSE(matches({"n>N:10", "n<N:15"}));
    EXPECT_TRUE(matches({}));
    EXPECT_TRUE(Ctl::ItemFilter().isEmpty());
}

TEST(ItemFilter, NamesTheAttributesOfItsConditions)
{
    Ctl::ItemFilter filter;
    ASSERT_EQ(filter.parse({"n>N:1", "n<N:2", "!a", R"({"x=y":{"S":""}})"}), "");
    EXPECT_EQ(filter.names(), QStringList({"n", "a", "x=y"}));
}

TEST(ItemFilter, SaysWhatIsWrongWithACondition)
{
    EXPECT_EQ(errorOf("n=17"), "--filter: attribute \"n\": \"17\" has no type; write S:text, N:17, B:YWI= (base64), "
                               "SS:a,b, NS:1,2, BS:YQ==,Yg== or JSON such as {\"S\": \"text\"}");
    EXPECT_EQ(errorOf("n>N:x"), "--filter: attribute \"n\": \"x\" is not a number");
    EXPECT_EQ(errorOf("n<NS:1"), "--filter: <, <=, > and >= do not work with a value of type NS");
    EXPECT_EQ(errorOf("n^=N:1"), "--filter: ^= does not work with a value of type N");
    EXPECT_EQ(errorOf("n*=SS:a"), "--filter: *= does not work with a value of type SS");
    EXPECT_EQ(errorOf(""), "--filter: \"\" is not a condition; write NAME=VALUE, such as total=N:17, or NAME or !NAME");
    EXPECT_EQ(errorOf("\xff"), "--filter is not UTF-8");
}
