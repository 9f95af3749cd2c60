#include "storage/filerewriting.h"

#include "base/descriptor.h"
#include "base/fileio.h"
#include "base/filesync.h"
#include "format/logfiles.h"
#include "storage/databasefiles.h"
#include "storage/environmentfiles.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

/** Each file once, whatever names it has. */
class Rewriting {
public:
    int rewrite(const fs::path& file)
    {
        constexpr std::size_t PieceBytes = 1024UL * 1024;
        const Base::Descriptor opened(::open(file.c_str(), O_RDWR | O_CLOEXEC));
        if (!opened.isOpen())
            return errno == EACCES || errno == EPERM || errno == EROFS || errno == ENOENT ? 0 : errno;
        struct stat status {};
        if (::fstat(opened.number(), &status) != 0)
            return errno;
        directories_.insert(file.parent_path());
        if (!done_.emplace(status.st_dev, status.st_ino).second)
            return 0;
        std::string piece(PieceBytes, '\0');
        std::size_t got = PieceBytes;
        for (off_t at = 0; got == PieceBytes; at += static_cast<off_t>(got)) {
            if (const int rc = Base::readAt(opened.number(), at, piece.data(), piece.size(), &got))
                return rc;
            if (const int rc = Base::writeAllAt(opened.number(), at, {piece.data(), got}))
                return rc;
        }
        return Base::syncToDisk(opened.number());
    }

    int syncNames() const
    {
        for (const fs::path& directory : directories_) {
            if (const int rc = Base::syncToDisk(directory); rc != 0 && rc != EINVAL)
                return rc;
        }
        return 0;
    }

private:
    std::set<std::pair<dev_t, ino_t>> done_;
    std::set<fs::path> directories_; // of the files
};

} // namespace

int FileRewriting::run(const fs::path& home, const fs::path& logs, const std::vector<fs::path>& directories)
{
    Rewriting rewriting;
    for (const std::uint32_t number : LogFiles::numbersIn(logs)) {
        if (const int rc = rewriting.rewrite(logs / LogFiles::name(number)))
            return rc;
    }
    std::vector<fs::path> databases;
    for (const fs::path& directory : directories) {
        if (const int rc = EnvironmentFiles::findDatabases(directory, &databases))
            return rc;
    }
    DatabaseFiles::ByName reached;
    int unreadable = 0; // not by the environment, either
    if (const int rc = DatabaseFiles::findUnopened(home, SIZE_MAX, &reached, &unreadable))
        return rc;
    for (const auto& [name, path] : reached)
        databases.push_back(path);
    for (const fs::path& path : databases) {
        if (const int rc = rewriting.rewrite(path))
            return rc;
    }
    return rewriting.syncNames();
}
