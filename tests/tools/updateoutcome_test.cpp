#include "tools/updateoutcome.h"

#include <gtest/gtest.h>

namespace {

QVariantMap text(const char* value)
{
    return {{"S", value}};
}

QVariantMap number(const char* value)
{
    return {{"N", value}};
}

QVariantMap update(const char* action, const QVariantMap& value)
{
    return {{"Action", action}, {"Value", value}};
}

/** The item after an update that must not lose data. */
QVariantMap outcome(QVariantMap item, const QVariantMap& updates)
{
    EXPECT_EQ(Ctl::applyUpdates(updates, &item), "");
    return item;
}

std::string lossOf(QVariantMap item, const QVariantMap& updates)
{
    return Ctl::applyUpdates(updates, &item);
}

} // namespace

TEST(ApplyUpdates, PutsAddsAndDeletes)
{
    const QVariantMap item{{"n", number("1")}, {"s", text("a")}, {"x", text("x")}, {"y", text("y")}};
    EXPECT_EQ(outcome(item, {{"n", update("ADD", number("-3"))},
                             {"s", update("ADD", text("b"))},
                             {"x", QVariantMap{{"Action", "DELETE"}}},
                             {"y", update("PUT", number("7"))},
                             {"new", update("ADD", number("5"))}}),
              (QVariantMap{{"n", number("-2")}, {"s", text("ab")}, {"y", number("7")}, {"new", number("5")}}));
}

TEST(ApplyUpdates, LeavesAnAddOfAnotherTypeToTheServer)
{
    const QVariantMap item{{"n", number("1.5")}, {"s", text("a")}};
    EXPECT_EQ(outcome(item, {{"n", update("ADD", text("b"))}, {"s", update("ADD", number("1"))}}), item);
}

TEST(ApplyUpdates, ReportsWhichNumberWouldBeLost)
{
    EXPECT_EQ(lossOf({{"n", number("1.5")}}, {{"n", update("ADD", number("1"))}}),
              "the stored \"1.5\" of \"n\" is not a 64-bit integer; the server would treat it as 0");
    EXPECT_EQ(lossOf({{"n", number("9223372036854775807")}}, {{"n", update("ADD", number("1"))}}),
              "the sum of \"n\" is not a 64-bit integer");
    EXPECT_EQ(outcome({{"n", number("9223372036854775807")}}, {{"n", update("ADD", number("-1"))}}),
              (QVariantMap{{"n", number("9223372036854775806")}}));
}
