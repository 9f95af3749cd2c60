#include "format/logrecords.h"

#include "format/berkeleydbnames.h"

#include <cstring>

namespace LogRecords {

namespace {

constexpr std::uint32_t Magic = 0x040988;

// A record that ends a transaction has its type, the transaction and the transaction's previous record, then these.
constexpr std::uint32_t EndOfTransaction = 10;
constexpr std::size_t OutcomeOffset = 16;
constexpr std::uint32_t Committed = 1;
constexpr std::size_t TimeOffset = 20; // seconds since 1970

// In a checkpoint record, this is the position from which to recover; in others, the outcome.
constexpr std::uint32_t Checkpoint = 11;
constexpr std::size_t StartOffset = 16;

constexpr std::uint32_t EndOfChild = 12; // of a transaction inside another one: its number

// All records begin with their type, the transaction, and the transaction's previous record.
constexpr std::size_t TransactionOffset = 4;
constexpr std::size_t PreviousOffset = 8;
constexpr std::size_t BodyOffset = 16;

// Registers an open file: an operation, then the length and the bytes of its name with a final zero byte.
constexpr std::uint32_t Registration = 2;
constexpr std::uint32_t OperationMask = 0xf;
constexpr std::uint32_t AtCheckpoint = 1;
constexpr std::uint32_t Opened = 3;
constexpr std::uint32_t OpenedBeforehand = 4;

constexpr std::uint32_t Removal = 144;  // the length and the bytes of the name
constexpr std::uint32_t Renaming = 146; // the old name, then the new one
constexpr std::uint32_t RenamingWithoutUndo = 150;

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

std::uint32_t transactionOf(std::string_view record)
{
    return record.size() < BodyOffset ? 0 : numberAt(record, TransactionOffset);
}

bool beginsTransaction(std::string_view record)
{
    return transactionOf(record) != 0 && numberAt(record, PreviousOffset) == 0 &&
           numberAt(record, PreviousOffset + sizeof(std::uint32_t)) == 0;
}

std::optional<std::uint32_t> committedChild(std::string_view record)
{
    if (record.size() < BodyOffset + sizeof(std::uint32_t) || numberAt(record, 0) != EndOfChild)
        return std::nullopt;
    return numberAt(record, BodyOffset);
}

std::optional<FileEvent> fileEvent(std::string_view record)
{
    if (record.size() < BodyOffset + 2 * sizeof(std::uint32_t))
        return std::nullopt;
    const std::uint32_t type = numberAt(record, 0);
    std::size_t offset = BodyOffset;
    FileEvent event{FileEvent::Removed, transactionOf(record), {}};
    if (type == Registration) {
        const std::uint32_t operation = numberAt(record, BodyOffset) & OperationMask;
        if (operation != AtCheckpoint && operation != Opened && operation != OpenedBeforehand)
            return std::nullopt;
        event.kind = FileEvent::Used;
        offset += sizeof operation;
    } else if (type != Removal && type != Renaming && type != RenamingWithoutUndo) {
        return std::nullopt;
    }
    const std::uint32_t length = numberAt(record, offset);
    offset += sizeof length;
    if (length < 2 || length > record.size() - offset)
        return std::nullopt;
    event.name = record.substr(offset, length - 1);
    if (BerkeleyDbNames::isInternal(event.name.substr(event.name.rfind('/') + 1)))
        return std::nullopt;
    return event;
}

} // namespace LogRecords
