#include "tools/shellhistory.h"

#include "base/descriptor.h"
#include "base/fileio.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace Ctl {

namespace {

constexpr mode_t OwnerOnly = 0600;

std::string variable(const char* name)
{
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

/** False for /dev/null, to which users link a history that they do not want: its mode must not be changed. */
bool isRegular(const Base::Descriptor& file)
{
    struct stat status {};
    return file.isOpen() && ::fstat(file.number(), &status) == 0 && S_ISREG(status.st_mode);
}

/** Creates missing directories, accessible to their user only. */
void makeDirectories(const fs::path& directory)
{
    std::error_code ignored; // then the file cannot be opened either
    if (directory.empty() || fs::exists(directory, ignored))
        return;
    makeDirectories(directory.parent_path());
    ::mkdir(directory.c_str(), 0700);
}

} // namespace

std::string ShellHistory::usualPath()
{
    fs::path state = variable("XDG_STATE_HOME");
    if (!state.is_absolute()) { // relative paths must be ignored
        const fs::path home = variable("HOME");
        if (!home.is_absolute())
            return {};
        state = home / ".local" / "state";
    }
    return state / "quorva" / "quorvactl_history";
}

std::vector<std::string> ShellHistory::load() const
{
    std::string text;
    if (path_.empty() || Base::readFile(path_, &text) != 0)
        return {};
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    if (lines.size() <= MostLines)
        return lines;
    const bool isLong = lines.size() >= 2 * MostLines;
    lines.erase(lines.begin(), lines.end() - MostLines);
    if (isLong)
        rewrite(lines);
    return lines;
}

void ShellHistory::add(const std::string& line) const
{
    if (path_.empty() || line.find('\n') != std::string::npos)
        return;
    makeDirectories(fs::path(path_).parent_path());
    const Base::Descriptor file(
        ::open(path_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, OwnerOnly));
    if (!isRegular(file) || ::fchmod(file.number(), OwnerOnly) != 0)
        return;
    (void)Base::writeAll(file.number(), line + '\n'); // ignored: the line is missing in later shells
}

void ShellHistory::rewrite(const std::vector<std::string>& lines) const
{
    std::string text;
    for (const std::string& line : lines)
        text += line + '\n';
    std::string written = path_ + ".XXXXXX";
    const Base::Descriptor file(::mkostemp(written.data(), O_CLOEXEC)); // for its user only
    if (!file.isOpen())
        return;
    if (Base::writeAll(file.number(), text) != 0 || ::rename(written.c_str(), path_.c_str()) != 0)
        ::unlink(written.c_str());
}

} // namespace Ctl
