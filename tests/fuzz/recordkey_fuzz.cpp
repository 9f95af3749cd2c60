/* Record keys in a database file written by anyone, and the names of its files. */
#include "budget.h"
#include "choices.h"
#include "fuzztarget.h"

#include "format/logfiles.h"
#include "format/tablename.h"
#include "log/log.h"
#include "records/encoding.h"
#include "storage/environmentpath.h"

#include <QByteArray>
#include <QString>

#include <algorithm>
#include <filesystem>
#include <string>

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
    if (!Records::decodeRecordKey(key, &hash, &range)) {
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
    const QByteArray key = Records::recordKey(hash, range);
    if (hash.size() < 10000) {
        QByteArrayView hashAgain;
        QByteArrayView rangeAgain;
        FUZZ_ASSERT(Records::decodeRecordKey(key, &hashAgain, &rangeAgain));
        FUZZ_ASSERT(hashAgain == hash && rangeAgain == range);
    } else {
        decode(key);
    }
    FUZZ_ASSERT(Records::partitionOf(hash, PartitionCount) < PartitionCount);

    QByteArray bytes;
    const QString text = QString::fromUtf8(range);
    if (Records::keyBytes(text, &bytes) == 0)
        FUZZ_ASSERT(QString::fromLatin1(bytes) == text);
    else
        FUZZ_ASSERT(!Records::isLatin1(text));
}

void name(const QByteArray& tableName)
{
    const QByteArray file = Records::filePart(tableName);
    FUZZ_ASSERT(tableName.endsWith(file));
    FUZZ_ASSERT(Records::dataFileName(tableName, 0x3f).endsWith("_3f.db"));
    FUZZ_ASSERT(tableName.startsWith(EnvironmentPath::ofTable(tableName)));

    // A name that no table can have is refused for all of its files, and a table's own data files never conflict.
    const std::string path = file.toStdString();
    const char* refused = TableNames::refusal(path);
    FUZZ_ASSERT(TableNames::fileRefusal(path, TableNames::MetaSubDatabase) == refused);
    FUZZ_ASSERT(TableNames::fileRefusal(Records::filePart(Records::dataFileName(tableName, 0x3f)).toStdString(),
                                        TableNames::DataSubDatabase) == refused);
    if (refused != nullptr)
        return;

    // A table's file is below the directory, has one spelling, and contains no reserved name.
    const std::filesystem::path taken(path);
    FUZZ_ASSERT(!path.empty() && path.find('\0') == std::string::npos);
    FUZZ_ASSERT(taken.is_relative() && taken.lexically_normal().native() == path);
    for (const std::filesystem::path& component : taken) {
        const std::string& name = component.native();
        FUZZ_ASSERT(!name.empty() && name != "." && name != "..");
        FUZZ_ASSERT(name != "DB_CONFIG" && name != "__log__" && !name.starts_with("__db"));
        FUZZ_ASSERT(name != "BackupInProgress.tmp" && name != "BackupFiles.list" && name != "BackupFiles.list.tmp" &&
                    name != "BackupFiles.list.new" && name != "BackupLog.hold" && name != "BackupLog.hold.new");
        FUZZ_ASSERT(!LogFiles::numberOf(name));
        for (unsigned partition = 0; name.ends_with(".db") && partition < PartitionCount; ++partition)
            FUZZ_ASSERT(!name.ends_with(TableNames::partitionSuffix(partition)));
    }
}

void check(const std::uint8_t* data, std::size_t size)
{
    Log::setDestination(nullptr);
    const QByteArray all(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    decode(all);
    name(all);
    Choices choices(data, size);
    encodeAndDecode(&choices);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    withinBudget(size, [&] { check(data, size); });
    return 0;
}
