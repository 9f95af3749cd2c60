#include "tools/exportcommand.h"

#include "protocol/bodies.h"
#include "tools/interruption.h"
#include "tools/outputfile.h"
#include "tools/progressbar.h"

#include <cstdio>
#include <limits>

#include <unistd.h>

namespace Ctl {

ExportCommand::ExportCommand(CLI::App* app)
    : command_(app->add_subcommand("export", "Write all items of a table to a file: JSON, one item a line"))
{
    command_->fallthrough();
    addTableArgument(command_, &table_);
    command_->add_option("FILE", file_,
                         "The file, which is there when the export is whole and not before; standard output when there "
                         "is none, or -");
    command_->add_option("--limit", options_.limit, "Records that the server examines for one page")
        ->check(CLI::Range(1, std::numeric_limits<int>::max()))
        ->capture_default_str();
    addExample(command_, "quorvactl export 'build/shop|orders' orders.jsonl");
}

int ExportCommand::run(const ServerAddress& server) const
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
