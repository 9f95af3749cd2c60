#include "records/projection.h"

#include "records/items.h"

#include <gtest/gtest.h>

namespace {

TEST(ProjectItem, RemovesEveryAttributeThatIsNotListed)
{
    struct Case {
        QVariantList wanted;
        QByteArray item;
        QByteArray left;
    };
    const Case cases[] = {
        {{"a", "c"}, R"({"a":{"S":"1"},"b":{"S":"2"},"c":{"N":"3"}})", R"({"a":{"S":"1"},"c":{"N":"3"}})"},
        {{}, R"({"a":{"S":"1"},"b":{"S":"2"}})", "{}"},
        {{"missing"}, R"({"a":{"S":"1"}})", "{}"},
        {{"a", "missing", "a"}, R"({"a":{"S":"1"}})", R"({"a":{"S":"1"}})"},
        {{"A"}, R"({"a":{"S":"1"}})", "{}"},
        {{"a"}, "{}", "{}"},
        {{""}, R"({"":{"S":"1"},"a":{"S":"2"}})", R"({"":{"S":"1"}})"},
        {{1}, R"({"1":{"S":"1"},"a":{"S":"2"}})", R"({"1":{"S":"1"}})"},
    };
    for (const Case& c : cases) {
        QVariantMap item = json(c.item);
        const QVariantMap shared = item;
        projectItem(c.wanted, &item);
        EXPECT_EQ(item, json(c.left)) << c.item.toStdString();
        EXPECT_EQ(shared, json(c.item)) << "a copy of the item changed with it";
    }
}

TEST(ProjectItem, SparesNoKeyAttributes)
{
    QVariantMap item = json(R"({"id":{"S":"h"},"when":{"S":"r"},"a":{"S":"1"}})");
    projectItem({"a"}, &item);
    EXPECT_EQ(item, json(R"({"a":{"S":"1"}})"));
}

} // namespace
