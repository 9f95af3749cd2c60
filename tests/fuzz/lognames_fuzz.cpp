/*
 * Directories with files of any name: which of them the server treats as log files when it begins a backup, and the
 * tool when it restores one.
 */
#include "budget.h"
#include "choices.h"
#include "fuzztarget.h"

#include "format/logfiles.h"
#include "log/log.h"
#include "storage/logshipping.h"
#include "support/tempdir.h"
#include "tools/backupfiles.h"

#include <QByteArray>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <set>
#include <string>

namespace fs = std::filesystem;

namespace {

/** An independent parser of log file names: "log." and ten digits for a number of 32 bits, from 1. */
std::optional<unsigned long long> numberOf(const std::string& name)
{
    if (name.size() != 14 || !name.starts_with("log.") ||
        !std::all_of(name.begin() + 4, name.end(), [](char c) { return c >= '0' && c <= '9'; }))
        return std::nullopt;
    const unsigned long long number = std::stoull(name.substr(4));
    return number <= 0xffffffffULL ? std::optional(number) : std::nullopt;
}

bool isFileName(std::string_view name)
{
    return !name.empty() && name != "." && name != ".." && name != "__log__" &&
           name.find_first_of(std::string_view("/\0", 2)) == std::string_view::npos;
}

/** A file name, usually close to a log file's. */
std::string nameFrom(Choices* choices)
{
    switch (choices->upTo(4)) {
    case 0:
        return std::string(choices->piece(40));
    case 1:
        return "log." + std::string(choices->piece(12));
    case 2: {
        std::string digits = std::to_string(choices->upTo(65536) * (choices->oneIn(4) ? 65537ULL * 2 : 1));
        return "log." + std::string(10 - std::min<std::size_t>(10, digits.size()), '0') + digits;
    }
    default:
        return "log.000000000" + std::to_string(choices->upTo(10));
    }
}

std::set<std::string> namesIn(const std::string& directory)
{
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(directory))
        names.insert(entry.path().filename().string());
    return names;
}

void check(const std::uint8_t* data, std::size_t size)
{
    Log::setDestination(nullptr);
    Choices choices(data, size);
    const TempDir directory;
    const std::string target = directory.makeDirectory("target");
    const std::string shipped = directory.makeDirectory("target/__log__");
    for (int files = 0; files < 12 && !choices.isEmpty(); ++files) {
        const bool intoShipped = choices.oneIn(3);
        std::string name = nameFrom(&choices);
        if (intoShipped && choices.oneIn(4))
            name += ".del";
        if (isFileName(name))
            std::ofstream((intoShipped ? shipped : target) + '/' + name) << std::string(choices.upTo(16), 'x');
    }

    // The tool only uses files that are named like a log file.
    Ctl::BackupFiles files;
    std::string error;
    const bool restorable = Ctl::readBackup(Ctl::BackupParts(target), Ctl::UnlistedCopy::Accepted, &files, &error);
    FUZZ_ASSERT(restorable == error.empty());
    for (const auto& [number, file] : files.logs) {
        std::string name = file.path.filename().string();
        if (name.ends_with(".del"))
            name.resize(name.size() - 4);
        FUZZ_ASSERT(numberOf(name) == number);
        FUZZ_ASSERT(LogFiles::name(number) == name);
    }
    for (const auto& [name, file] : files.databases)
        FUZZ_ASSERT(!numberOf(name));
    if (restorable)
        FUZZ_ASSERT(files.logs.rbegin()->first - files.logs.begin()->first == files.logs.size() - 1);

    // The server removes all log files, and nothing else.
    const std::set<std::string> before = namesIn(target);
    const std::set<std::string> shippedBefore = namesIn(shipped);
    FUZZ_ASSERT(LogShipping::removeLogs(QByteArray::fromStdString(target)) == 0);
    const std::set<std::string> after = namesIn(target);
    for (const std::string& name : before)
        FUZZ_ASSERT(after.contains(name) == !numberOf(name));
    const std::set<std::string> shippedAfter = namesIn(shipped);
    for (const std::string& name : shippedBefore) {
        const std::string plain = name.ends_with(".del") ? name.substr(0, name.size() - 4) : name;
        FUZZ_ASSERT(shippedAfter.contains(name) == !numberOf(plain));
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    onceWithinBudgetOfFiles([&] { check(data, size); });
    return 0;
}
