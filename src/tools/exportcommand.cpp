#include "tools/exportcommand.h"

#include "protocol/bodies.h"
#include "tools/arguments.h"
#include "tools/interruption.h"
#include "tools/messages.h"
#include "tools/outputfile.h"
#include "tools/progressbar.h"

#include <CLI/CLI.hpp>

#include <cstdio>

#include <unistd.h>

namespace Ctl {

ExportCommand::ExportCommand(CLI::App* app)
    : Command(app, "export", "Write all items of a table to a file: JSON, one item per line",
              "quorvactl export 'build/shop|orders' orders.jsonl")
{
    addTableArgument(parser(), &table_);
    parser()->add_option(
        "FILE", file_,
        "The file, which gets its name only when the export is complete; standard output if it is - or missing");
    addLimitOption(parser(), &options_.limit);
}

int ExportCommand::run(const ServerAddress& server)
{
    const auto told = [](const std::string& error, int code) {
        if (error.empty())
            return int{ExitOk};
        complain(error);
        return code;
    };
    if (file_ == "-") {
        const int code = read(server, [](const QByteArray& line) {
            return std::printf("%s\n", line.constData()) < 0 ? int{ExitNoReply} : int{ExitOk};
        });
        const bool written = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
        return written ? code : told("cannot write standard output", ExitNoReply);
    }
    const Interruption interruption;
    OutputFile file(file_);
    if (const int code = told(file.open(), ExitErrorReply))
        return code;
    const int code = read(server, [&](const QByteArray& line) {
        if (Interruption::requested())
            return told("export stopped: interrupted", ExitErrorReply);
        return told(file.writeLine(line), ExitErrorReply);
    });
    return code != ExitOk ? code : told(file.commit(), ExitErrorReply);
}

int ExportCommand::read(const ServerAddress& server, const PagedRead::Sink& sink) const
{
    PagedRead read(options_, Operations::Scan, Bodies::table(QString::fromStdString(table_)));
    ProgressBar progress(-1, file_ != "-" || ::isatty(STDOUT_FILENO) == 0);
    long long items = 0;
    qint64 bytes = 0;
    read.sendTo([&](const QByteArray& line) {
        if (const int code = sink(line))
            return code;
        bytes += line.size() + 1;
        progress.show(++items, bytes);
        return int{ExitOk};
    });
    const int code = read.run(server);
    if (code == ExitOk)
        progress.finish(items, bytes);
    return code;
}

} // namespace Ctl
