/*
 * JSON text from outside is refused, or gives a tree whose text parses to the same tree. Text that is passed on without
 * a tree is what the tree would have given.
 */
#include "budget.h"
#include "fuzztarget.h"

#include "json/canonicaltext.h"
#include "json/jsonreader.h"
#include "json/jsonwriter.h"
#include "json/usualreader.h"

#include <QByteArray>
#include <QVariant>

#include <vector>

namespace {

void check(const std::uint8_t* data, std::size_t size)
{
    const QByteArray text(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const QVariant untouched(QStringLiteral("untouched"));
    QVariant value = untouched;
    std::vector<Json::MemberText> members;
    const bool isSplit = Json::splitObject(text, &members);
    // The quick reader gives the same, and so does text that it leaves as such.
    static constexpr const char* itemPath[] = {"Item"};
    QVariant usual = untouched;
    QVariant withItem = untouched;
    const bool isUsual = Json::parseUsual(text, &usual);
    FUZZ_ASSERT(Json::parseUsual(text, &withItem, itemPath) == isUsual);
    FUZZ_ASSERT(Json::parse(text, &value) == isUsual);
    FUZZ_ASSERT(usual == value && usual.typeId() == value.typeId());
    FUZZ_ASSERT(Json::serialize(usual) == Json::serialize(value));
    FUZZ_ASSERT(Json::serialize(withItem) == Json::serialize(value));
    if (!isUsual) {
        FUZZ_ASSERT(value == untouched);
        FUZZ_ASSERT(!isSplit);
        return;
    }
    for (const char c : text) // no other characters are allowed in JSON
        FUZZ_ASSERT(static_cast<unsigned char>(c) >= ' ' || c == '\t' || c == '\n' || c == '\r');
    const QByteArray written = Json::serialize(value);
    FUZZ_ASSERT(!isSplit || written == text); // only what the writer would write may pass as text
    QVariant again;
    FUZZ_ASSERT(Json::parse(written, &again));
    FUZZ_ASSERT(again == value);
    FUZZ_ASSERT(again.typeId() == value.typeId());
    FUZZ_ASSERT(Json::serialize(again) == written);

    // A truncated object or array is not JSON.
    if (!written.isEmpty() && (written.front() == '{' || written.front() == '[')) {
        QVariant cut;
        FUZZ_ASSERT(!Json::parse(written.first(static_cast<qsizetype>(data[size / 2]) % written.size()), &cut));
    }
    // Text after the value is an error.
    QVariant followed;
    FUZZ_ASSERT(!Json::parse(written + ",", &followed) && !Json::parse(written + '\0', &followed));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    withinBudget(size, [&] { check(data, size); });
    return 0;
}
