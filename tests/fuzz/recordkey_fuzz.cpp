/* Record keys as they stand in a database file, whoever wrote it, and the names of its files. */
#include "choices.h"
#include "fuzztarget.h"

#include "log/log.h"
#include "records/encoding.h"

#include <QByteArray>
#include <QString>

#include <algorithm>

namespace {

QByteArray bytesOf(std::string_view text)
{
    return {text.data(), static_cast<qsizetype>(text.size())};
}

void decode(const QByteArray& key)
{
    QByteArrayView hash;
    QByteArrayView range;
    const QByteArray digits = key.first(std::min<qsizetype>(key.size(), 4));
    const QByteArray keys = key.sliced(digits.size());
    const bool isNumber =
        !digits.isEmpty() && std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; });
    if (!decodeRecordKey(key, &hash, &range)) {
        FUZZ_ASSERT(!isNumber);
        return;
    }
    FUZZ_ASSERT(hash.toByteArray() + range.toByteArray() == keys);
    FUZZ_ASSERT(hash.isEmpty() || hash.data() == key.constData() + digits.size());
    FUZZ_ASSERT(range.isEmpty() || range.data() + range.size() == key.constData() + key.size());
    if (isNumber)
        FUZZ_ASSERT(hash.size() == std::min<qsizetype>(digits.toInt(), keys.size()));
}

void encodeAndDecode(Choices* choices)
{
    const QByteArray hash = bytesOf(choices->piece(255)).repeated(choices->oneIn(8) ? 60 : 1); // also 10000 and more
    const QByteArray range = bytesOf(choices->piece(255));
    const QByteArray key = recordKey(hash, range);
    if (hash.size() < 10000) {
        QByteArrayView hashAgain;
        QByteArrayView rangeAgain;
        FUZZ_ASSERT(decodeRecordKey(key, &hashAgain, &rangeAgain));
        FUZZ_ASSERT(hashAgain == hash && rangeAgain == range);
    } else {
        decode(key);
    }
    FUZZ_ASSERT(partitionOf(hash, PartitionCount) < PartitionCount);

    QByteArray bytes;
    const QString text = QString::fromUtf8(range);
    if (keyBytes(text, &bytes) == 0)
        FUZZ_ASSERT(QString::fromLatin1(bytes) == text);
    else
        FUZZ_ASSERT(!isLatin1(text));
}

void name(const QByteArray& tableName)
{
    const QByteArray file = filePart(tableName);
    FUZZ_ASSERT(tableName.endsWith(file));
    FUZZ_ASSERT(dataFileName(tableName, 0x3f).endsWith("_3f.db"));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Log::setDestination(nullptr);
    const QByteArray all(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    decode(all);
    name(all);
    Choices choices(data, size);
    encodeAndDecode(&choices);
    return 0;
}
