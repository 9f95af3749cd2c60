#include "records/projection.h"

#include "records/items.h"

#include <gtest/gtest.h>

namespace {

struct Case {
    QVariantList wanted;
    QByteArray item;
    QByteArray left;
};

const Case Cases[] = {
    {{"a"},
     R"({"id":{"S":"h"},"when":{"S":"r"},"a":{"S":"1"},"b":{"S":"2"}})",
     R"({"id":{"S":"h"},"when":{"S":"r"},"a":{"S":"1"}})"},
    {{"id"}, R"({"id":{"S":"h"},"when":{"S":"r"},"a":{"S":"1"}})", R"({"id":{"S":"h"},"when":{"S":"r"}})"},
    {{"missing", "missing"},
     R"({"id":{"S":"h"},"when":{"S":"r"},"a":{"S":"1"}})",
     R"({"id":{"S":"h"},"when":{"S":"r"}})"},
    {{}, R"({"id":{"S":"h"},"when":{"S":"r"},"a":{"S":"1"}})", R"({"id":{"S":"h"},"when":{"S":"r"}})"},
    {{"A", "ID"}, R"({"id":{"S":"h"},"when":{"S":"r"},"a":{"S":"1"}})", R"({"id":{"S":"h"},"when":{"S":"r"}})"},
    {{"a"}, R"({"a":{"S":"1"},"b":{"S":"2"}})", R"({"a":{"S":"1"}})"}, // nothing is put in that was not there
    {{"a"}, "{}", "{}"},
    {{""}, R"({"":{"S":"1"},"a":{"S":"2"},"id":{"S":"h"}})", R"({"":{"S":"1"},"id":{"S":"h"}})"},
    // Names that are no strings are taken as variants read as one.
    {{5, QVariant(), QVariantMap{{"a", "b"}}},
     R"({"5":{"S":"1"},"a":{"S":"2"},"id":{"S":"h"}})",
     R"({"5":{"S":"1"},"id":{"S":"h"}})"},
};

TEST(ProjectItem, KeepsTheKeyAttributesOfAWalk)
{
    for (const Case& c : Cases) {
        QVariantMap item = json(c.item);
        const QVariantMap shared = item;
        projectItem(c.wanted, &item, "id", "when");
        EXPECT_EQ(item, json(c.left)) << c.item.toStdString();
        EXPECT_EQ(shared, json(c.item)) << "a copy of the item changed with it";
    }
}

TEST(ProjectItems, ProjectsEachItemInPlace)
{
    for (const Case& c : Cases) {
        QVariantList items{json(c.item), json(R"({"id":{"S":"2"},"when":{"S":"3"},"x":{"N":"4"}})"), json(c.item)};
        const QVariantList shared = items;
        projectItems(c.wanted, &items, "id", "when");
        EXPECT_EQ(items, QVariantList({json(c.left), json(R"({"id":{"S":"2"},"when":{"S":"3"}})"), json(c.left)}))
            << c.item.toStdString();
        EXPECT_EQ(shared.first().toMap(), json(c.item)) << "a copy of the list changed with it";
    }
}

TEST(ProjectItems, LeavesAnEmptyListEmpty)
{
    QVariantList items;
    projectItems({"a"}, &items, "id", "when");
    EXPECT_TRUE(items.isEmpty());
}

} // namespace
