#include "tools/logscan.h"

#include "base/descriptor.h"
#include "base/fileio.h"
#include "tools/interruption.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <vector>

#include <fcntl.h>

namespace fs = std::filesystem;

namespace LogScan {

namespace {

/** A file that is read from its beginning to its end, in pieces. */
class Window {
public:
    explicit Window(int descriptor) : descriptor_(descriptor), bytes_(Size) {}

    /** The bytes at an offset, at most `size`, fewer at the end of the file. Offsets do not descend. */
    int at(std::uint64_t offset, std::size_t size, std::string_view* found)
    {
        if (offset < from_ || offset + size > from_ + got_) {
            from_ = offset;
            if (const int error =
                    Base::readAt(descriptor_, static_cast<off_t>(offset), bytes_.data(), bytes_.size(), &got_))
                return error;
        }
        const auto skipped = static_cast<std::size_t>(offset - from_);
        *found = std::string_view(bytes_.data(), got_).substr(std::min(skipped, got_), size);
        return 0;
    }

private:
    static constexpr std::size_t Size = 256UL * 1024;

    const int descriptor_;
    std::vector<char> bytes_;
    std::uint64_t from_ = 0;
    std::size_t got_ = 0;
};

template <typename Structure> bool take(std::string_view bytes, std::size_t offset, Structure* structure)
{
    if (bytes.size() < offset + sizeof *structure)
        return false;
    std::memcpy(structure, bytes.data() + offset, sizeof *structure);
    return true;
}

} // namespace

int read(const fs::path& path, const Visit& visit, File* file)
{
    const Base::Descriptor log(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!log.isOpen())
        return errno;
    *file = {};
    std::error_code failure;
    const std::uint64_t size = fs::file_size(path, failure);
    if (failure)
        return failure.value();
    Window window(log.number());
    std::string_view bytes;
    for (std::uint64_t offset = 0; !Ctl::Interruption::requested();) {
        if (const int error = window.at(offset, LogRecords::HeaderBytes + LogRecords::LookedAt, &bytes))
            return error;
        LogRecords::RecordHeader header;
        if (!take(bytes, 0, &header) || header.length <= LogRecords::HeaderBytes || offset + header.length > size)
            return 0;
        if (offset == 0) {
            LogRecords::FileHeader first;
            if (!take(bytes, LogRecords::HeaderBytes, &first) || !LogRecords::isLogFile(first))
                return 0;
            file->previous = header.previous;
        } else if (header.previous != file->last) {
            return 0; // not a log record
        }
        file->last = static_cast<std::uint32_t>(offset);
        file->end = offset + header.length;
        bytes.remove_prefix(LogRecords::HeaderBytes);
        visit(offset, bytes.substr(0, header.length - LogRecords::HeaderBytes));
        offset = file->end;
    }
    return EINTR;
}

int readCommits(const std::map<std::uint32_t, fs::path>& logs, const Position& endOfCopy,
                std::optional<std::time_t> until, Commits* commits, fs::path* failed)
{
    for (const auto& [number, path] : logs) {
        const auto look = [&, number = number](std::uint64_t offset, std::string_view content) {
            const auto time = LogRecords::commitTime(content);
            if (!time)
                return;
            const Position position{number, offset};
            const bool isInCopy = position < endOfCopy;
            if (until && !isInCopy && !commits->cut && *time > *until)
                commits->cut = position;
            commits->latest = std::max(commits->latest, time); // a time is later than none
            if (isInCopy)
                commits->latestInCopy = std::max(commits->latestInCopy, time);
            if (!commits->cut)
                commits->latestKept = std::max(commits->latestKept, time);
        };
        File file;
        *failed = path;
        if (const int error = read(path, look, &file))
            return error;
    }
    return 0;
}

} // namespace LogScan
