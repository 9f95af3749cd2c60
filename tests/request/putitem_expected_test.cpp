#include "itemoperation.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class PutItemExpected : public ItemOperation {
protected:
    const QVariantMap one_{{"a", textValue("x")}, {"n", numberValue("1")}};
    const QVariantMap two_{{"a", textValue("y")}, {"b", QVariantMap{{"SS", QVariantList{"p", "q"}}}}};
};

/** One condition on a stored attribute "a", or on a missing one. */
struct ExpectedCase {
    QVariant stored;
    QVariantMap condition;
    bool holds;
};

TEST_F(PutItemExpected, DecidesWhetherTheItemIsWritten)
{
    const auto exists = [](const QVariant& value) { return QVariantMap{{"Exists", value}}; };
    const auto equals = [](const QVariantMap& value) { return QVariantMap{{"Value", value}}; };
    const QVariantMap set{{"SS", QVariantList{"p"}}};
    const QVariantMap binary{{"B", "AAEC"}};
    const std::vector<ExpectedCase> cases{
        {{}, exists(false), true},
        {textValue("x"), exists(false), false},
        {textValue("x"), exists(true), true},
        {{}, exists(true), true}, // "Exists" true never fails
        {textValue("x"), exists("false"), false},
        {textValue("x"), exists("true"), true},
        {textValue("x"), exists(0LL), false},
        {textValue("x"), exists(QVariant()), false},
        {textValue("x"), {{"Exists", true}, {"Value", textValue("other")}}, true}, // "Exists" overrides "Value"
        {textValue("x"), {{"Exists", false}, {"Value", textValue("x")}}, false},
        {textValue("x"), equals(textValue("x")), true},
        {textValue("x"), equals(textValue("X")), false},
        {textValue("x"), equals(textValue("")), false},
        {textValue(""), equals(textValue("")), true},
        {textValue(QString::fromLatin1("x\0y", 3)), equals(textValue("x")), false},
        {textValue(QString::fromUcs4(U"\u20ac\U0001F600")), equals(textValue(QString::fromUcs4(U"\u20ac\U0001F600"))),
         true},
        {textValue(QString::fromUcs4(U"\u20ac")), equals(textValue("?")), false},
        {textValue(QString::fromUcs4(U"\u20ac")), equals(textValue(QString::fromUcs4(U"\u20ad"))), false},
        {{}, equals(textValue("")), false},
        {numberValue("010"), equals(numberValue("10")), true},
        {textValue("010"), equals(textValue("10")), false},
        {numberValue("-0"), equals(numberValue("0")), true},
        {numberValue("1.5"), equals(numberValue("2.5")), true}, // neither is an integer
        {numberValue("1.5"), equals(numberValue("1")), false},
        {numberValue("9223372036854775807"), equals(numberValue("9223372036854775807")), true},
        {numberValue("9223372036854775807"), equals(numberValue("9223372036854775806")), false},
        {numberValue("9223372036854775808"), equals(numberValue("0")), true}, // beyond 64 bits
        {numberValue("10"), equals(textValue("10")), false},
        {textValue("10"), equals(numberValue("10")), false},
        {binary, equals(binary), false},
        {set, equals(set), false},
        {"bare", equals(textValue("bare")), false},
        {textValue("x"), {{"Value", "x"}}, false},
    };
    int number = 0;
    for (const ExpectedCase& c : cases) {
        const QString range = QString::number(++number);
        const QVariantMap old = c.stored.isValid() ? QVariantMap{{"a", c.stored}, {"o", numberValue("0")}}
                                                   : QVariantMap{{"o", numberValue("0")}};
        put("k", range, old);
        const QVariantMap reply = put("k", range, two_, {{"Expected", QVariantMap{{"a", c.condition}}}});
        const std::string what = Json::serialize(c.stored).toStdString() + Json::serialize(c.condition).toStdString();
        EXPECT_EQ(reply, c.holds ? answer(two_) : conditionFailedReply()) << what;
        EXPECT_EQ(get("k", range), found(c.holds ? two_ : old)) << what;
    }
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(PutItemExpected, EveryConditionMustHold)
{
    put("k", "1", one_);
    const QVariantMap holds{{"Value", textValue("x")}};
    const QVariantMap fails{{"Value", textValue("y")}};
    EXPECT_EQ(put("k", "1", two_, {{"Expected", QVariantMap{{"a", holds}, {"n", fails}}}}), conditionFailedReply());
    EXPECT_EQ(
        put("k", "1", two_, {{"Expected", QVariantMap{{"a", holds}, {"n", QVariantMap{{"Value", numberValue("1")}}}}}}),
        answer(two_));
}

TEST_F(PutItemExpected, ConditionOnAMissingItemSeesNoAttributes)
{
    const QVariantMap absent{{"Exists", false}};
    EXPECT_EQ(put("k", "1", one_, {{"Expected", QVariantMap{{"a", QVariantMap{{"Value", textValue("x")}}}}}}),
              conditionFailedReply());
    EXPECT_EQ(get("k", "1"), okReply());
    EXPECT_EQ(put("k", "1", one_, {{"Expected", QVariantMap{{"a", absent}}}, {"ReturnValues", "ALL_OLD"}}), answer({}));
    EXPECT_EQ(put("k", "1", two_, {{"Expected", QVariantMap{{"a", absent}}}, {"ReturnValues", "ALL_OLD"}}),
              conditionFailedReply());
    EXPECT_EQ(get("k", "1"), found(one_));
}

TEST_F(PutItemExpected, MalformedConditionIsAnInternalErrorAndNothingIsWritten)
{
    put("k", "1", one_);
    for (const QVariant& condition :
         {QVariant(), QVariant(5LL), QVariant("x"), QVariant(true), QVariant(QVariantList{textValue("x")}),
          QVariant(QVariantMap{}), QVariant(QVariantMap{{"value", textValue("x")}}), QVariant(textValue("x"))}) {
        EXPECT_EQ(put("k", "1", two_, {{"Expected", QVariantMap{{"a", condition}}}}), internalErrorReply());
        EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # attr missing", composeError(2)));
        EXPECT_EQ(get("k", "1"), found(one_));
    }
}

TEST_F(PutItemExpected, ConditionsAreVisitedInTheOrderOfTheirNames)
{
    put("k", "1", one_);
    const QVariantMap fails{{"Value", textValue("y")}};
    EXPECT_EQ(put("k", "1", two_, {{"Expected", QVariantMap{{"a", fails}, {"b", 5LL}}}}), conditionFailedReply());
    EXPECT_THAT(takeComplaints(), IsEmpty());
    EXPECT_EQ(put("k", "1", two_, {{"Expected", QVariantMap{{"A", 5LL}, {"a", fails}}}}), internalErrorReply());
}

TEST_F(PutItemExpected, ThatIsNoMapHoldsNoCondition)
{
    for (const QVariant& other : {QVariant(), QVariant(5LL), QVariant("x"), QVariant(false),
                                  QVariant(QVariantList{5LL}), QVariant(QVariantMap{})})
        EXPECT_EQ(put("k", "1", one_, {{"Expected", other}}), answer(one_));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

} // namespace
