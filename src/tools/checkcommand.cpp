#include "tools/checkcommand.h"

#include "tools/directorycheck.h"
#include "tools/interruption.h"
#include "tools/messages.h"
#include "tools/resolvedpath.h"
#include "tools/terminalline.h"

#include <CLI/CLI.hpp>

#include <filesystem>

namespace Ctl {

CheckCommand::CheckCommand(CLI::App* app)
    : Command(app, "check", "Verify the files and items of a closed directory; needs no server",
              "quorvactl check build/shop")
{
    parser()->fallthrough(false); // no server, no address
    parser()->add_option("DIRECTORY", directory_, "The directory, which is not changed")->required();
    parser()->add_option("--scratch", scratch_,
                         "Where the copy is made that is checked and removed; beside the directory by default");
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
        isPrinted = isPrinted && printLine(QByteArray::fromStdString(text)) == ExitOk;
    };
    DirectoryCheck check(directory_, above, print, [&](const char* step, std::size_t done, std::size_t all) {
        line.show(std::string(step) + ' ' + std::to_string(done) + '/' + std::to_string(all));
    });
    const std::string error = check.run();
    TerminalLine::clear();
    if (!error.empty()) {
        complain("cannot check " + directory_ + ": " + error);
        return ExitErrorReply;
    }
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
