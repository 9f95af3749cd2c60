// Random texts: what splitObject() takes must be what the writer would write.
#include "json/canonicaltext.h"

#include "textmaker.h"
#include "json/jsonreader.h"
#include "json/jsonwriter.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

/** True when parsing and writing the text gives the same text. */
bool isCanonical(const QByteArray& text)
{
    QVariant value;
    return Json::parse(text, &value) && Json::serialize(value) == text;
}

TEST(SplitObject, NeverTakesATextThatParsingAndWritingWouldChange)
{
    TextMaker maker(20111205);
    std::vector<Json::MemberText> members;
    int taken = 0;
    for (int i = 0; i < 60000; ++i) {
        const QByteArray text = i % 2 == 0 ? maker.pieces() : maker.mutated();
        if (!Json::splitObject(text, &members))
            continue;
        ++taken;
        ASSERT_TRUE(isCanonical(text)) << text.toPercentEncoding(" {}[]\":,\\").toStdString();
    }
    EXPECT_GT(taken, 5000); // so texts were compared
}

} // namespace
