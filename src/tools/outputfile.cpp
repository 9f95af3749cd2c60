#include "tools/outputfile.h"

#include "base/descriptor.h"
#include "base/filesync.h"
#include "tools/usualmode.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace Ctl {

namespace {

/** The target of a symbolic link. A dangling link counts as a file and is replaced. */
std::string resolved(const std::string& path)
{
    std::error_code error;
    const fs::path absolute = fs::absolute(path, error);
    const fs::path target = error ? fs::path() : fs::weakly_canonical(absolute, error);
    return error ? path : target.string();
}

} // namespace

OutputFile::OutputFile(const std::string& path) : path_(resolved(path)) {}

OutputFile::~OutputFile()
{
    if (file_ != nullptr)
        (void)std::fclose(file_); // ignored: the file is removed, or is not a regular one
    if (!written_.empty())
        ::unlink(written_.c_str());
}

std::string OutputFile::open()
{
    std::error_code error;
    const fs::file_status status = fs::status(path_, error);
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        file_ = std::fopen(path_.c_str(), "we");
        return file_ != nullptr ? std::string() : failure(errno);
    }
    written_ = path_ + ".XXXXXX";
    Base::Descriptor descriptor(::mkostemp(written_.data(), O_CLOEXEC));
    if (!descriptor.isOpen()) {
        written_.clear();
        return failure(errno);
    }
    // Failures are ignored: the file is then readable by fewer users than intended.
    struct stat before = {};
    if (fs::exists(status) && ::stat(path_.c_str(), &before) == 0)
        (void)(::fchown(descriptor.number(), before.st_uid, before.st_gid) == 0 &&
               ::fchmod(descriptor.number(), before.st_mode & 07777));
    else
        (void)::fchmod(descriptor.number(), usualMode(0666));
    file_ = ::fdopen(descriptor.number(), "w");
    if (file_ == nullptr)
        return failure(errno);
    (void)descriptor.release(); // closed with the stream
    return {};
}

std::string OutputFile::writeLine(const QByteArray& text)
{
    const auto size = static_cast<size_t>(text.size());
    if (std::fwrite(text.constData(), 1, size, file_) == size && std::fputc('\n', file_) != EOF)
        return {};
    return failure(errno);
}

std::string OutputFile::commit(Disk disk)
{
    if (std::fflush(file_) != 0)
        return failure(errno);
    if (written_.empty())
        return {};
    if (const int error = disk == Disk::AtOnce ? Base::syncToDisk(::fileno(file_)) : 0)
        return failure(error);
    if (::rename(written_.c_str(), path_.c_str()) != 0)
        return failure(errno);
    written_.clear();
    if (disk == Disk::Whenever)
        return {};
    const int error = Base::syncToDisk(fs::path(path_).parent_path()); // its name
    return error == 0 ? std::string() : failure(error);
}

std::string OutputFile::failure(int error) const
{
    return "cannot write " + path_ + ": " + std::strerror(error);
}

} // namespace Ctl
