#include "common/workload.h"

#include "json/jsonwriter.h"

#include <algorithm>

namespace Bench {

namespace {

struct NamedOperation {
    const char* name;
    Operation operation;
};

constexpr NamedOperation Operations[] = {
    {"put", Operation::Put},     {"get", Operation::Get},   {"update", Operation::Update}, {"mixed", Operation::Mixed},
    {"query", Operation::Query}, {"scan", Operation::Scan}, {"batch", Operation::Batch},
};

constexpr int TextAttributes = 8; // of an item that has room for them
constexpr int BytesPerAttribute = 64;

/** Text in which no two adjacent characters are the same. */
QString someText(qsizetype length)
{
    QString text(length, QChar(u'a'));
    for (qsizetype i = 0; i < length; ++i)
        text[i] = QChar(static_cast<char16_t>(u'a' + i % 26));
    return text;
}

} // namespace

std::optional<Operation> operationNamed(const std::string& name)
{
    for (const NamedOperation& candidate : Operations) {
        if (name == candidate.name)
            return candidate.operation;
    }
    return std::nullopt;
}

std::string operationNames()
{
    std::string names;
    for (const NamedOperation& each : Operations)
        names += (names.empty() ? "" : ", ") + std::string(each.name);
    return names;
}

bool Workload::isValid() const
{
    return items >= 2 * ItemsPerHashKey && items % ItemsPerHashKey == 0 && items <= 1'000'000'000 && itemBytes >= 1 &&
           itemBytes <= 400'000;
}

QVariantMap Workload::item() const
{
    // The count has room to grow without making the item longer.
    QVariantMap item{{CountAttribute, QVariantMap{{"N", "1000000"}}}};
    const int texts = std::clamp(static_cast<int>(itemBytes) / BytesPerAttribute, 1, TextAttributes);
    const auto name = [](int i) { return QStringLiteral("text%1").arg(i); };
    for (int i = 0; i < texts; ++i)
        item.insert(name(i), QVariantMap{{"S", QString()}});
    const qsizetype room = std::max<qsizetype>(0, static_cast<qsizetype>(itemBytes) - Json::serialize(item).size());
    for (int i = 0; i < texts; ++i)
        item.insert(name(i), QVariantMap{{"S", someText(room / texts + (i < room % texts ? 1 : 0))}});
    return item;
}

void writeDigits(unsigned number, unsigned digits, char* to)
{
    for (unsigned i = digits; i > 0; --i) {
        to[i - 1] = static_cast<char>('0' + number % 10);
        number /= 10;
    }
}

QByteArray hashKey(unsigned item)
{
    QByteArray key(1 + HashDigits, 'h');
    writeDigits(item / ItemsPerHashKey, HashDigits, key.data() + 1);
    return key;
}

QByteArray rangeKey(unsigned item)
{
    QByteArray key(1 + RangeDigits, 'r');
    writeDigits(item % ItemsPerHashKey, RangeDigits, key.data() + 1);
    return key;
}

unsigned chooseItem(Operation operation, unsigned items, Random& random)
{
    const unsigned item = random.below(items);
    switch (operation) {
    case Operation::Query:
        return item - item % ItemsPerHashKey;
    case Operation::Batch:
        return item - item % ItemsPerBatch;
    default:
        return item;
    }
}

} // namespace Bench
