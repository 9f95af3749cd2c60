#include "updateitemfixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/** ADD of `addend` to a stored "a"; fails if there is no sum. */
struct AddCase {
    QVariant stored;
    QVariant addend;
    std::optional<QVariantMap> sum;
};

TEST_F(UpdateItem, AddAddsIntegersAndAppendsText)
{
    const QString euro = QString::fromUcs4(U"\u20ac\U0001F600");
    const QVariantMap set{{"SS", QVariantList{"p"}}};
    const std::vector<AddCase> cases{
        {numberValue("-7"), numberValue("5"), numberValue("-2")},
        {numberValue("007"), numberValue("1"), numberValue("8")},
        {numberValue("1.5"), numberValue("2"), numberValue("2")}, // fractions are read as 0
        {numberValue("10"), numberValue("2.5"), numberValue("10")},
        {numberValue("text"), numberValue(""), numberValue("0")},
        {numberValue("9223372036854775807"), numberValue("1"), numberValue("-9223372036854775808")},
        {numberValue("-9223372036854775808"), numberValue("-1"), numberValue("9223372036854775807")},
        {QVariantMap{{"N", 5LL}}, QVariantMap{{"N", 6LL}}, numberValue("11")},
        {textValue("ab"), textValue("xy"), textValue("abxy")},
        {textValue(""), textValue(""), textValue("")},
        {textValue(QString::fromLatin1("\xe4")), textValue(QString::fromLatin1("\xff")),
         textValue(QString::fromLatin1("\xe4\xff"))},
        {textValue("a"), textValue(euro), textValue("a" + euro)},
        {textValue(euro), textValue(euro), textValue(euro + euro)},
        {numberValue("1"), textValue("x"), std::nullopt},
        {textValue("x"), numberValue("1"), std::nullopt},
        {set, set, std::nullopt},
        {QVariantMap{{"NS", QVariantList{"1"}}}, numberValue("1"), std::nullopt},
        {QVariantMap{{"B", "AAEC"}}, QVariantMap{{"B", "AAEC"}}, std::nullopt},
        {"bare", textValue("x"), std::nullopt},
        {QVariant(), numberValue("1"), std::nullopt},
        {numberValue("1"), QVariant(), std::nullopt},
        {numberValue("1"), 5LL, std::nullopt},
        {numberValue("1"), QVariantMap{}, std::nullopt},
        {textValue("x"), QVariantList{textValue("x")}, std::nullopt},
    };
    for (const AddCase& c : cases) {
        const std::string what = Json::serialize(c.stored).toStdString() + Json::serialize(c.addend).toStdString();
        put("k", "1", {{"a", c.stored}});
        const QVariantMap reply =
            update("k", "1", {{"a", addValue(c.addend)}, {"b", putValue(textValue("also"))}}, returning("UPDATED_NEW"));
        if (c.sum) {
            const QVariantMap written{{"a", *c.sum}, {"b", textValue("also")}};
            EXPECT_EQ(reply, answer(written)) << what;
            EXPECT_EQ(get("k", "1"), found(written)) << what;
            EXPECT_THAT(takeComplaints(), IsEmpty()) << what;
        } else {
            EXPECT_EQ(reply, notFoundReply()) << what;
            EXPECT_EQ(get("k", "1"), found({{"a", c.stored}})) << what;
            EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # attr missing")) << what;
        }
    }
}

TEST_F(UpdateItem, AddToAMissingAttributeSetsItAsItCame)
{
    const QVariantMap values{
        {"a", numberValue("1.50")}, {"b", QVariantMap{{"SS", QVariantList{"p"}}}}, {"c", QVariant()}};
    put("k", "1", {});
    QVariantMap updates;
    for (auto it = values.begin(); it != values.end(); ++it)
        updates.insert(it.key(), addValue(it.value()));
    EXPECT_EQ(update("k", "1", updates, returning("UPDATED_NEW")), answer(values));
    EXPECT_EQ(get("k", "1"), found(values));
}

} // namespace
