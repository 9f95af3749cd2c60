#include "format/logrecords.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string_view>

namespace {

constexpr std::size_t TypeIndex = 0; // in 32-bit numbers
constexpr std::size_t OutcomeIndex = 4;
constexpr std::size_t TimeIndex = 5;

/** The record at the end of a committed transaction. */
std::array<std::uint32_t, 6> commitRecord()
{
    std::array<std::uint32_t, 6> record{};
    record[TypeIndex] = 10;
    record[OutcomeIndex] = 1;
    record[TimeIndex] = 1'700'000'000;
    return record;
}

std::optional<std::time_t> timeOf(const std::array<std::uint32_t, 6>& record, std::size_t bytes = 24)
{
    return LogRecords::commitTime(std::string_view(reinterpret_cast<const char*>(record.data()), bytes));
}

TEST(LogRecords, ACommitHasItsTime)
{
    EXPECT_EQ(timeOf(commitRecord()), std::time_t{1'700'000'000});
}

TEST(LogRecords, AnAbortAndOtherRecordsHaveNone)
{
    auto aborted = commitRecord();
    aborted[OutcomeIndex] = 3;
    EXPECT_EQ(timeOf(aborted), std::nullopt);
    auto other = commitRecord();
    other[TypeIndex] = 11;
    EXPECT_EQ(timeOf(other), std::nullopt);
}

TEST(LogRecords, ARecordThatIsTooShortHasNone)
{
    for (const std::size_t bytes : {0U, 4U, 20U, 23U})
        EXPECT_EQ(timeOf(commitRecord(), bytes), std::nullopt) << bytes;
}

TEST(LogRecords, ACheckpointSaysWhereRecoveryBegins)
{
    auto checkpoint = commitRecord();
    checkpoint[TypeIndex] = 11;
    checkpoint[OutcomeIndex] = 41; // the file of the position at the place of the outcome
    const auto startOf = [](const auto& record, std::size_t bytes) {
        return LogRecords::checkpointStart(std::string_view(reinterpret_cast<const char*>(record.data()), bytes));
    };
    EXPECT_EQ(startOf(checkpoint, LogRecords::LookedAt), 41U);
    EXPECT_EQ(startOf(checkpoint, LogRecords::LookedAt - 1), std::nullopt);
    EXPECT_EQ(startOf(commitRecord(), LogRecords::LookedAt), std::nullopt);
}

TEST(LogRecords, ATransactionBeginsWithARecordThatHasNoneBefore)
{
    constexpr std::size_t Transaction = 1;
    constexpr std::size_t PreviousFile = 2;
    constexpr std::size_t PreviousOffset = 3;
    const auto begins = [](const auto& record, std::size_t bytes) {
        return LogRecords::beginsTransaction(std::string_view(reinterpret_cast<const char*>(record.data()), bytes));
    };
    auto record = commitRecord();
    EXPECT_FALSE(begins(record, 24)); // of no transaction
    record[Transaction] = 0x80000a57;
    EXPECT_TRUE(begins(record, 24));
    EXPECT_FALSE(begins(record, 15)); // too short
    record[PreviousOffset] = 28;
    EXPECT_FALSE(begins(record, 24));
    record[PreviousOffset] = 0;
    record[PreviousFile] = 1;
    EXPECT_FALSE(begins(record, 24));
}

TEST(LogRecords, ALogFileIsKnownByItsMagicNumber)
{
    LogRecords::FileHeader header;
    EXPECT_FALSE(LogRecords::isLogFile(header));
    header.magic = 0x040988;
    EXPECT_TRUE(LogRecords::isLogFile(header));
    EXPECT_EQ(LogRecords::FirstRecord, 28U);
}

} // namespace
