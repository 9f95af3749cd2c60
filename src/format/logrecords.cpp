#include "format/logrecords.h"

#include <cstring>

namespace LogRecords {

namespace {

constexpr std::uint32_t Magic = 0x040988;

// A record that ends a transaction has its type, the transaction and the transaction's previous record, then these.
constexpr std::uint32_t EndOfTransaction = 10;
constexpr std::size_t OutcomeOffset = 16;
constexpr std::uint32_t Committed = 1;
constexpr std::size_t TimeOffset = 20; // seconds since 1970

// A checkpoint has the position from which to recover at the place of the outcome.
constexpr std::uint32_t Checkpoint = 11;
constexpr std::size_t StartOffset = 16;

std::uint32_t numberAt(std::string_view record, std::size_t offset)
{
    std::uint32_t number = 0;
    std::memcpy(&number, record.data() + offset, sizeof number);
    return number;
}

} // namespace

bool isLogFile(const FileHeader& header)
{
    return header.magic == Magic;
}

std::optional<std::time_t> commitTime(std::string_view record)
{
    if (record.size() < TimeOffset + sizeof(std::uint32_t) || numberAt(record, 0) != EndOfTransaction ||
        numberAt(record, OutcomeOffset) != Committed)
        return std::nullopt;
    return static_cast<std::time_t>(numberAt(record, TimeOffset));
}

std::optional<std::uint32_t> checkpointStart(std::string_view record)
{
    if (record.size() < StartOffset + 2 * sizeof(std::uint32_t) || numberAt(record, 0) != Checkpoint)
        return std::nullopt;
    return numberAt(record, StartOffset);
}

} // namespace LogRecords
