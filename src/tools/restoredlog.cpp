#include "tools/restoredlog.h"

#include "base/descriptor.h"
#include "base/fileio.h"
#include "format/logfiles.h"
#include "format/logrecords.h"
#include "tools/interruption.h"
#include "tools/offlineenvironment.h"

#include <db_cxx.h>

#include <cstddef>
#include <map>
#include <set>
#include <vector>

#include <fcntl.h>

namespace fs = std::filesystem;

namespace Ctl {

namespace {

bool readHeader(const fs::path& file, LogRecords::FileHeader* header)
{
    const Base::Descriptor log(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    std::size_t got = 0;
    return log.isOpen() && Base::readAt(log.number(), LogRecords::HeaderBytes, header, sizeof *header, &got) == 0 &&
           got == sizeof *header && LogRecords::isLogFile(*header);
}

/** The first record of a log file has the position of the last one in the previous file. */
bool followsOn(DbLogc* cursor, std::uint32_t number, std::uint32_t* lastOfBefore)
{
    DbLsn position;
    position.file = number;
    position.offset = 0;
    Dbt record;
    if (cursor->get(&position, &record, DB_SET) != 0 || cursor->get(&position, &record, DB_PREV) != 0 ||
        position.file != number - 1)
        return false;
    *lastOfBefore = position.offset;
    return true;
}

/** Where the last record of each log file except the last one begins, by file number. */
using LastRecords = std::map<std::uint32_t, std::uint32_t>;

/**
 * Reads all records in order. Berkeley DB silently treats a record of zeros as the end of its file, and one with a
 * wrong checksum in the last file as the end of the log.
 */
std::string readRecords(DbLogc* cursor, const std::vector<std::uint32_t>& numbers, const LastRecords& lastRecords,
                        std::uint64_t* end)
{
    const auto isLastRecord = [&](const DbLsn& position) {
        const auto last = lastRecords.find(position.file);
        return last == lastRecords.end() || last->second == position.offset;
    };
    constexpr std::uint64_t Begin = LogRecords::FirstRecord;
    const auto damaged = [](std::uint32_t number, std::uint64_t from) {
        return LogFiles::name(number) + " is damaged: its records cannot be read from byte " + std::to_string(from) +
               " on";
    };
    DbLsn position;
    DbLsn before;
    before.file = numbers.front();
    before.offset = 0;
    *end = Begin;
    Dbt record;
    int rc = cursor->get(&position, &record, DB_FIRST);
    for (; rc == 0 && !Interruption::requested(); rc = cursor->get(&position, &record, DB_NEXT)) {
        if (position.file != before.file && !isLastRecord(before))
            return damaged(before.file, *end);
        before = position;
        *end = position.offset + LogRecords::HeaderBytes + record.get_size();
    }
    if (Interruption::requested())
        return {};
    if (before.file == numbers.back())
        return rc == DB_NOTFOUND ? std::string() : damaged(before.file, *end);
    if (!isLastRecord(before))
        return damaged(before.file, *end);
    *end = Begin;
    return rc == DB_NOTFOUND && before.file + 1 == numbers.back() ? std::string() : damaged(before.file + 1, Begin);
}

std::optional<std::time_t> timeOfLastCommit(DbLogc* cursor)
{
    DbLsn position;
    Dbt record;
    for (u_int32_t step = DB_LAST; cursor->get(&position, &record, step) == 0; step = DB_PREV) {
        if (const auto time = LogRecords::commitTime({static_cast<const char*>(record.get_data()), record.get_size()}))
            return time;
    }
    return std::nullopt;
}

} // namespace

std::string readLog(const fs::path& home, LogFacts* facts)
{
    const std::set<std::uint32_t> found = LogFiles::numbersIn(home);
    const std::vector<std::uint32_t> numbers(found.begin(), found.end());
    for (const std::uint32_t number : numbers) {
        LogRecords::FileHeader header;
        if (!readHeader(home / LogFiles::name(number), &header))
            return LogFiles::name(number) + " is damaged: it does not begin with the header of a log file";
        facts->fullSize = header.fullSize;
    }
    std::string error;
    const auto env = OfflineEnvironment::open(home, OfflineEnvironment::LogOnly, &error);
    if (!env)
        return error;
    DbLogc* cursor = nullptr;
    if (const int rc = env->log_cursor(&cursor, 0))
        return OfflineEnvironment::describe("cannot read the log", rc);
    LastRecords lastRecords;
    for (std::size_t i = 1; i < numbers.size() && !facts->partial; ++i) {
        if (!followsOn(cursor, numbers[i], &lastRecords[numbers[i] - 1]))
            facts->partial = numbers[i] - 1;
    }
    if (!facts->partial) {
        facts->lastCommit = timeOfLastCommit(cursor);
        error = readRecords(cursor, numbers, lastRecords, &facts->end);
    }
    (void)cursor->close(0);
    const int rc = env->close(0); // if a record is missing, Berkeley DB panics the whole environment
    if (!error.empty())
        return error;
    return rc == 0 || facts->partial ? std::string() : OfflineEnvironment::describe("cannot read the log", rc);
}

} // namespace Ctl
