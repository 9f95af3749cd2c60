#include "tools/checkcommand.h"

#include "format/tablename.h"
#include "tools/arguments.h"
#include "tools/directorycheck.h"
#include "tools/interruption.h"
#include "tools/messages.h"
#include "tools/resolvedpath.h"
#include "tools/terminalline.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <system_error>
#include <vector>

namespace Ctl {

namespace {

/** For a table's name, which is not a directory. */
std::vector<std::string> adviceOn(const std::string& directory)
{
    std::error_code unknown;
    const std::string first(TableNames::directory(directory));
    if (first.empty() || first == directory || std::filesystem::exists(directory, unknown))
        return {};
    return {"try: quorvactl check '" + first + "', which checks all tables in it"};
}

} // namespace

CheckCommand::CheckCommand(CLI::App* app)
    : Command(app, "check", "Verify the files and items of a closed directory; needs no server",
              "quorvactl check build/shop")
{
    parser()->fallthrough(false); // no server, no address
    addDirectoryArgument(parser(), &directory_, "The directory, which is not changed");
    parser()->add_option("--scratch", scratch_,
                         "Where the copy is made that is checked and then removed, quorvactl-check- and six "
                         "characters; as large as the directory, unless the file system lets copies share their "
                         "content. Beside the directory by default");
}

int CheckCommand::run(const ServerAddress&)
{
    const Interruption interruption;
    const std::filesystem::path above =
        scratch_.empty() ? resolvedPath(directory_).parent_path() : std::filesystem::path(scratch_);
    TerminalLine line;
    bool isPrinted = true;
    const auto print = [&](const std::string& text) {
        TerminalLine::clear();
        isPrinted = isPrinted && say(text) == ExitOk;
    };
    DirectoryCheck check(directory_, above, print, [&](const char* step, std::size_t done, std::size_t all) {
        line.show(std::string(step) + ' ' + std::to_string(done) + '/' + std::to_string(all));
    });
    const std::string error = check.run();
    TerminalLine::clear();
    if (!error.empty())
        return fail("cannot check " + directory_ + ": " + error, adviceOn(directory_));
    for (const auto& [name, table] : check.tables())
        print(name + ": " + counted(table.items, "item") + " in " + counted(table.files, "file"));
    if (check.findings() != 0) {
        complain(directory_ + " has " + counted(check.findings(), "defect"),
                 {"try: a restore of the last backup; what can be read can be exported"});
        return ExitErrorReply;
    }
    print("no defects in " + directory_);
    return isPrinted ? ExitOk : ExitNoReply;
}

} // namespace Ctl
