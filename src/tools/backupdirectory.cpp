#include "tools/backupdirectory.h"

#include "tools/exitcode.h"
#include "tools/messages.h"

#include <CLI/CLI.hpp>
#include <QString>

#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

namespace Ctl {

namespace {

/** A request can carry only UTF-8. */
bool isUtf8(const std::string& text)
{
    return QString::fromStdString(text).toStdString() == text;
}

} // namespace

void BackupDirectory::declare(CLI::App* command)
{
    command->add_option("DIR", word, "The backup directory, on the server's machine")->required();
}

int BackupDirectory::resolve()
{
    if (word.empty()) {
        complain("the name of the backup directory is empty");
        return ExitUsage;
    }
    std::error_code error;
    const fs::path absolute = fs::absolute(word, error);
    if (error)
        return fail("cannot find " + word + ": " + error.message());
    path = absolute.lexically_normal().string();
    if (!isUtf8(path)) {
        complain("the name of the backup directory is not valid UTF-8");
        return ExitUsage;
    }
    return ExitOk;
}

} // namespace Ctl
