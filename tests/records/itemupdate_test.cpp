#include "records/itemupdate.h"

#include "items.h"
#include "recordlines.h"
#include "records/requeststatus.h"

#include <gtest/gtest.h>

#include <string>

namespace {

const QByteArray allReturnValues[] = {"",        "NONE",        "ALL_OLD", "UPDATED_OLD",
                                      "ALL_NEW", "UPDATED_NEW", "all_new", "OTHER"};

struct Case {
    QByteArray item;
    QByteArray updates;
    QByteArray after;      // the item
    QByteArray updatedOld; // the answers for the two selective values
    QByteArray updatedNew;
};

/** Runs a case with every "ReturnValues", which must change nothing but the answer. */
void checkCase(const Case& c)
{
    for (const QByteArray& returnValues : allReturnValues) {
        const LogCapture log;
        QVariantMap item = json(c.item);
        const QVariantMap shared = item;
        QVariantMap answer;
        EXPECT_EQ(Records::applyUpdates(json(c.updates), returnValues, &item, &answer), 0);

        QByteArray expected = "{}";
        if (returnValues == "ALL_OLD")
            expected = Json::serialize(json(c.item));
        else if (returnValues == "UPDATED_OLD")
            expected = c.updatedOld;
        else if (returnValues == "UPDATED_NEW")
            expected = c.updatedNew;
        else if (returnValues == "ALL_NEW")
            expected = c.after;
        const std::string trace =
            (c.item + " updated by " + c.updates + " returning '" + returnValues + "'").toStdString();
        EXPECT_EQ(Json::serialize(item), c.after) << trace;
        EXPECT_EQ(Json::serialize(answer), expected) << trace;
        EXPECT_EQ(shared, json(c.item)) << trace << ": a copy of the item changed with it";
        EXPECT_EQ(recordLines(log), Lines()) << trace;
    }
}

TEST(ApplyUpdates, PutSetsTheAttribute)
{
    checkCase({R"({"a":{"S":"x"},"k":{"S":"kept"}})", R"({"a":{"Action":"PUT","Value":{"N":"1"}}})",
               R"({"a":{"N":"1"},"k":{"S":"kept"}})", R"({"a":{"S":"x"}})", R"({"a":{"N":"1"}})"});
    checkCase({R"({"k":{"S":"kept"}})", R"({"a":{"Action":"PUT","Value":{"SS":["p","q"]}}})",
               R"({"a":{"SS":["p","q"]},"k":{"S":"kept"}})", "{}", R"({"a":{"SS":["p","q"]}})"});
    checkCase({"{}", R"({"a":{"Action":"PUT","Value":{"S":""}}})", R"({"a":{"S":""}})", "{}", R"({"a":{"S":""}})"});
}

TEST(ApplyUpdates, PutWithoutAValueStoresNull)
{
    checkCase(
        {R"({"a":{"S":"x"}})", R"({"a":{"Action":"PUT"}})", R"({"a":null})", R"({"a":{"S":"x"}})", R"({"a":null})"});
}

TEST(ApplyUpdates, DeleteRemovesTheWholeAttribute)
{
    checkCase({R"({"a":{"S":"x"},"k":{"S":"kept"}})", R"({"a":{"Action":"DELETE"}})", R"({"k":{"S":"kept"}})",
               R"({"a":{"S":"x"}})", "{}"});
    checkCase({R"({"k":{"S":"kept"}})", R"({"a":{"Action":"DELETE"}})", R"({"k":{"S":"kept"}})", "{}", "{}"});
    checkCase({R"({"a":{"S":"x"}})", R"({"a":{"Action":"DELETE"}})", "{}", R"({"a":{"S":"x"}})", "{}"});
    checkCase({"{}", R"({"a":{"Action":"DELETE"}})", "{}", "{}", "{}"});
}

TEST(ApplyUpdates, DeleteIgnoresAValue)
{
    checkCase({R"({"a":{"SS":["p","q"]},"k":{"S":"kept"}})", R"({"a":{"Action":"DELETE","Value":{"SS":["p"]}}})",
               R"({"k":{"S":"kept"}})", R"({"a":{"SS":["p","q"]}})", "{}"});
}

TEST(ApplyUpdates, AddActsOnTheValueThatIsThere)
{
    checkCase({R"({"a":{"N":"40"},"k":{"S":"kept"}})", R"({"a":{"Action":"ADD","Value":{"N":"2"}}})",
               R"({"a":{"N":"42"},"k":{"S":"kept"}})", R"({"a":{"N":"40"}})", R"({"a":{"N":"42"}})"});
    checkCase({R"({"a":{"S":"ab"}})", R"({"a":{"Action":"ADD","Value":{"S":"xy"}}})", R"({"a":{"S":"abxy"}})",
               R"({"a":{"S":"ab"}})", R"({"a":{"S":"abxy"}})"});
}

TEST(ApplyUpdates, AddSetsAMissingAttributeAsGiven)
{
    checkCase({R"({"k":{"S":"kept"}})", R"({"a":{"Action":"ADD","Value":{"N":"003"}}})",
               R"({"a":{"N":"003"},"k":{"S":"kept"}})", "{}", R"({"a":{"N":"003"}})"});
    // Including types that do not support ADD.
    checkCase({"{}", R"({"a":{"Action":"ADD","Value":{"SS":["p"]}}})", R"({"a":{"SS":["p"]}})", "{}",
               R"({"a":{"SS":["p"]}})"});
    checkCase(
        {"{}", R"({"a":{"Action":"ADD","Value":{"N":"1.5"}}})", R"({"a":{"N":"1.5"}})", "{}", R"({"a":{"N":"1.5"}})"});
    checkCase({"{}", R"({"a":{"Action":"ADD"}})", R"({"a":null})", "{}", R"({"a":null})"});
}

TEST(ApplyUpdates, OtherActionsLeaveTheAttributeAlone)
{
    for (const QByteArray update :
         {R"({"a":{"Action":"put","Value":{"S":"y"}}})", R"({"a":{"Action":"REMOVE","Value":{"S":"y"}}})",
          R"({"a":{"Action":"","Value":{"S":"y"}}})", R"({"a":{"Action":null,"Value":{"S":"y"}}})",
          R"({"a":{"Action":"PUT ","Value":{"S":"y"}}})", R"({"a":{"Value":{"S":"y"}}})", R"({"a":{}})",
          R"({"a":null})", R"({"a":"PUT"})"}) {
        checkCase({R"({"a":{"S":"x"}})", update, R"({"a":{"S":"x"}})", "{}", "{}"});
        checkCase({R"({"k":{"S":"kept"}})", update, R"({"k":{"S":"kept"}})", "{}", "{}"});
        checkCase({"{}", update, "{}", "{}", "{}"});
    }
}

TEST(ApplyUpdates, WithoutUpdatesNothingChanges)
{
    checkCase({R"({"a":{"S":"x"}})", "{}", R"({"a":{"S":"x"}})", "{}", "{}"});
    checkCase({"{}", "{}", "{}", "{}", "{}"});
}

TEST(ApplyUpdates, EachAttributeIsUpdatedByItsOwnAction)
{
    checkCase({R"({"add":{"N":"1"},"del":{"S":"d"},"keep":{"S":"k"},"put":{"S":"old"}})",
               R"({"put":{"Action":"PUT","Value":{"S":"new"}},"del":{"Action":"DELETE"},)"
               R"("add":{"Action":"ADD","Value":{"N":"2"}},"more":{"Action":"ADD","Value":{"S":"m"}},)"
               R"("gone":{"Action":"DELETE"},"none":{"Value":{"S":"n"}}})",
               R"({"add":{"N":"3"},"keep":{"S":"k"},"more":{"S":"m"},"put":{"S":"new"}})",
               R"({"add":{"N":"1"},"del":{"S":"d"},"put":{"S":"old"}})",
               R"({"add":{"N":"3"},"more":{"S":"m"},"put":{"S":"new"}})"});
}

TEST(ApplyUpdates, AFailedAddEndsTheUpdate)
{
    for (const QByteArray& returnValues : allReturnValues) {
        const LogCapture log;
        QVariantMap item = json(R"({"a":{"N":"1"},"b":{"SS":["p"]},"c":{"S":"x"}})");
        QVariantMap answer;
        EXPECT_EQ(Records::applyUpdates(json(R"({"a":{"Action":"ADD","Value":{"N":"1"}},)"
                                             R"("b":{"Action":"ADD","Value":{"SS":["q"]}},)"
                                             R"("c":{"Action":"ADD","Value":{"N":"1"}}})"),
                                        returnValues, &item, &answer),
                  StatusNotFound);
        // One line: c was not reached.
        EXPECT_EQ(recordLines(log), (Lines{"[ERROR] bdbrequest # attr missing"}));
    }
}

TEST(ApplyUpdates, AddNeedsAMapOnBothSides)
{
    const std::pair<QByteArray, QByteArray> cases[] = {
        {R"({"a":"x"})", R"({"a":{"Action":"ADD","Value":{"S":"y"}}})"},
        {R"({"a":null})", R"({"a":{"Action":"ADD","Value":{"N":"1"}}})"},
        {R"({"a":{"S":"x"}})", R"({"a":{"Action":"ADD","Value":"y"}})"},
        {R"({"a":{"S":"x"}})", R"({"a":{"Action":"ADD"}})"},
    };
    for (const auto& [before, updates] : cases) {
        const LogCapture log;
        QVariantMap item = json(before);
        QVariantMap answer;
        EXPECT_EQ(Records::applyUpdates(json(updates), "", &item, &answer), StatusNotFound) << before.toStdString();
        EXPECT_EQ(recordLines(log), (Lines{"[ERROR] bdbrequest # attr missing"})) << before.toStdString();
    }
}

} // namespace
