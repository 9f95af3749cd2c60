#include "records/encoding.h"

#include "format/partitions.h"
#include "log/log.h"
#include "records/requeststatus.h"
#include "records/tablecontext.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <string_view>

using namespace Qt::StringLiterals;

namespace {

enum { RecordKeyDigits = 4 }; // on disk, do not change

/**
 * Removes the attribute named by a key element of the schema from `item`. 0 with `found` set if it was present;
 * StatusInternalError when it lacks the member of the key's type.
 */
int takeKey(const QVariantMap& keyElement, QVariantMap* item, QByteArray* bytes, bool* found)
{
    const auto attribute = item->constFind(keyElement.value(u"AttributeName"_s).toString());
    *found = attribute != item->constEnd();
    if (!*found)
        return StatusSuccess;
    const QVariantMap typed = attribute->toMap();
    const auto member = typed.constFind(keyElement.value(u"AttributeType"_s).toString());
    if (member == typed.constEnd()) {
        LOG_ERROR(LogOrigin::Request, __LINE__) << "attr missing";
        return StatusInternalError;
    }
    if (const int rc = Records::keyBytes(*member, bytes))
        return rc;
    item->erase(attribute);
    return StatusSuccess;
}

} // namespace

QByteArray Records::filePart(const QByteArray& tableName)
{
    const std::string_view file = TableNames::filePart({tableName.cbegin(), tableName.cend()});
    return tableName.right(static_cast<qsizetype>(file.size()));
}

QByteArray Records::dataFileName(const QByteArray& tableName, unsigned partition)
{
    return tableName + TableNames::partitionSuffix(partition).c_str();
}

unsigned Records::partitionOf(const QByteArray& hashKey, unsigned count)
{
    return Partitions::ofHashKey({hashKey.cbegin(), hashKey.cend()}, count);
}

QByteArray Records::recordKey(const QByteArray& hashKey, const QByteArray& rangeKey)
{
    char digits[24];
    const qsizetype count = std::to_chars(std::begin(digits), std::end(digits), hashKey.size()).ptr - digits;
    const qsizetype zeros = std::max<qsizetype>(RecordKeyDigits - count, 0);
    QByteArray key(zeros + count + hashKey.size() + rangeKey.size(), Qt::Uninitialized);
    char* to = std::fill_n(key.data(), zeros, '0');
    to = std::copy_n(digits, count, to);
    to = std::copy(hashKey.begin(), hashKey.end(), to);
    std::copy(rangeKey.begin(), rangeKey.end(), to);
    return key;
}

bool Records::decodeRecordKey(QByteArrayView key, QByteArrayView* hashKey, QByteArrayView* rangeKey)
{
    bool isNumber = false;
    const int length = key.first(std::min<qsizetype>(key.size(), RecordKeyDigits)).toInt(&isNumber);
    if (!isNumber || length < 0)
        return false;
    const QByteArrayView keys = key.sliced(std::min<qsizetype>(key.size(), RecordKeyDigits));
    const qsizetype hashLength = std::min<qsizetype>(length, keys.size());
    *hashKey = keys.first(hashLength);
    *rangeKey = keys.sliced(hashLength);
    return true;
}

bool Records::isLatin1(const QString& text)
{
    return std::all_of(text.cbegin(), text.cend(), [](QChar c) { return c.unicode() <= 0xff; });
}

int Records::keyBytes(const QVariant& value, QByteArray* bytes)
{
    const QString text = value.toString();
    if (!isLatin1(text)) {
        LOG_ERROR(LogOrigin::Request, __LINE__) << "key holds a character outside Latin-1";
        return StatusInvalidRequest;
    }
    *bytes = text.toLatin1();
    return StatusSuccess;
}

int Records::extractKeys(const KeySchema& schema, QVariantMap* item, QByteArray* hashKey, QByteArray* rangeKey)
{
    bool found = false;
    if (const int rc = takeKey(schema.hash, item, hashKey, &found))
        return rc;
    if (!found) {
        LOG_ERROR(LogOrigin::Request, __LINE__) << "attr missing";
        return StatusInternalError;
    }
    rangeKey->clear();
    return takeKey(schema.range, item, rangeKey, &found);
}
