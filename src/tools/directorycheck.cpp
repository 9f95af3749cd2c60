#include "tools/directorycheck.h"

#include "base/descriptor.h"
#include "base/directoryentries.h"
#include "base/fileio.h"
#include "format/backupnames.h"
#include "format/berkeleydbnames.h"
#include "format/databasepage.h"
#include "format/logfiles.h"
#include "format/tablename.h"
#include "tools/interruption.h"
#include "tools/loggedfiles.h"
#include "tools/messages.h"
#include "tools/offlineenvironment.h"
#include "tools/restoretarget.h"

#include <db_cxx.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include <fcntl.h>

namespace fs = std::filesystem;

namespace Ctl {

namespace {

bool isDatabase(const fs::path& file)
{
    DatabasePage::Start start;
    std::size_t got = 0;
    const Base::Descriptor descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    return descriptor.isOpen() && Base::readAt(descriptor.number(), 0, &start, sizeof start, &got) == 0 &&
           got == sizeof start && DatabasePage::isMagic(start.magic);
}

} // namespace

DirectoryCheck::DirectoryCheck(fs::path directory, fs::path above, TableFileCheck::Report report, Progress progress)
    : directory_(std::move(directory)), above_(std::move(above)), report_(std::move(report)),
      progress_(std::move(progress))
{}

std::string DirectoryCheck::run()
{
    if (std::string error = lookAt(); !error.empty())
        return error;
    std::vector<std::string> names = logs_;
    names.insert(names.end(), databases_.begin(), databases_.end());
    const auto copying = [&](std::size_t done, std::size_t all) { progress_("copying", done, all); };
    if (std::string error = copy_.make(directory_, names, above_, copying); !error.empty())
        return error;
    if (!logs_.empty() && !Interruption::requested()) {
        findMissing();
        recover();
    }
    TableFileCheck files(copy_.path(), [this](const std::string& finding) { find(finding); });
    for (std::size_t i = 0; i < databases_.size() && !Interruption::requested(); ++i) {
        progress_("checking", i, databases_.size());
        files.check(databases_[i]);
    }
    tables_ = files.tables();
    for (const auto& [name, table] : tables_) {
        if (table.items > 0 && !table.isDescribed)
            find(name + ": the table has items, but no description");
    }
    return Interruption::requested() ? "interrupted" : std::string();
}

/** Determines whether the directory can be checked, and what is in it. */
std::string DirectoryCheck::lookAt()
{
    const std::string given = directory_.string();
    std::error_code error;
    const fs::file_status status = fs::status(directory_, error);
    if (!fs::exists(status))
        return "there is no directory " + given;
    if (!fs::is_directory(status))
        return given + " is not a directory";
    for (const char* name : {BackupNames::Marker, BackupNames::ListFile, BackupNames::UnfinishedListFile}) {
        if (fs::exists(directory_ / name, error))
            return given + " contains a backup; quorvactl restore checks it";
    }
    std::string config;
    (void)Base::readFile(directory_ / BerkeleyDbNames::ConfigFile, &config); // there may be none
    if (RestoreTarget::isGuard(config))
        return "a restore to " + given + " has not finished";
    if (const int rc = lock_.lock(directory_)) {
        return rc == EWOULDBLOCK
                   ? given + " is open in a server, or another command uses it; quorvactl delete-table closes it"
                   : "cannot lock " + given + ": " + std::generic_category().message(rc);
    }
    findFiles(directory_);
    std::sort(databases_.begin(), databases_.end());
    return databases_.empty() && logs_.empty() ? "there are no tables in " + given : std::string();
}

/** A damaged file may not be recognisable by its content, so a table's file name is sufficient. */
void DirectoryCheck::findFiles(const fs::path& below)
{
    std::vector<std::string> unrecognised;
    const int rc = Base::forEachEntry(below, [&](const fs::directory_entry& entry) {
        std::error_code vanished;
        const std::string file = entry.path().filename().string();
        const std::string name = entry.path().lexically_relative(directory_).string();
        if (entry.is_directory(vanished)) {
            const bool isOwn = LogFiles::numbersIn(entry.path()).empty() && file != BackupNames::LogDirectory;
            if (entry.is_symlink(vanished))
                complain(entry.path().string() + " is a link, and what is behind it is not checked");
            else if (isOwn)
                findFiles(entry.path());
        } else if (below == directory_ && LogFiles::numberOf(file)) {
            logs_.push_back(name);
        } else if (entry.is_regular_file(vanished) && !BerkeleyDbNames::isInternal(file) &&
                   file != BerkeleyDbNames::ConfigFile) {
            (isDatabase(entry.path()) || TableFileCheck::isDataFile(name) ? databases_ : unrecognised).push_back(name);
        }
        return 0;
    });
    if (rc != 0)
        find(below.lexically_relative(directory_).string() +
             ": cannot be read: " + std::generic_category().message(rc));
    // cppcheck-suppress knownEmptyContainer ; the visit of the entries fills it
    for (const std::string& name : unrecognised) {
        const bool isTable = std::any_of(databases_.begin(), databases_.end(), [&](const std::string& other) {
            return TableNames::ofDataFile(other) == name;
        });
        if (isTable)
            databases_.push_back(name);
    }
}

void DirectoryCheck::find(const std::string& finding)
{
    ++findings_;
    report_(finding);
}

/** Files that exist according to the log. */
void DirectoryCheck::findMissing()
{
    std::string error;
    const auto env = OfflineEnvironment::open(copy_.path(), OfflineEnvironment::LogOnly, &error);
    DbLogc* cursor = nullptr;
    if (!env || env->log_cursor(&cursor, 0) != 0)
        return find("the log cannot be read: " + error);
    LoggedFiles files;
    DbLsn position;
    Dbt record;
    int rc = 0;
    while (!Interruption::requested() && (rc = cursor->get(&position, &record, DB_NEXT)) == 0)
        files.take({static_cast<const char*>(record.get_data()), record.get_size()});
    if (rc != 0 && rc != DB_NOTFOUND)
        find("the log cannot be read: " + std::string(DbEnv::strerror(rc)));
    (void)cursor->close(0);
    (void)env->close(0); // of a copy
    for (const std::string& name : files.names()) {
        std::error_code unknown;
        if (!fs::exists(directory_ / name, unknown))
            find(name + ": the file is missing; the log shows that it existed");
    }
}

/** Applies the log to the copy. */
void DirectoryCheck::recover()
{
    progress_("recovering", 0, 1);
    std::string error;
    const auto env = OfflineEnvironment::open(copy_.path(), OfflineEnvironment::Transactional | DB_RECOVER, &error);
    const int rc = env ? env->close(0) : 0;
    if (!env || rc != 0)
        find("the log cannot be applied: " + (env ? std::string(DbEnv::strerror(rc)) : error));
}

} // namespace Ctl
