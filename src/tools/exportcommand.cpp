#include "tools/exportcommand.h"

#include "format/partitions.h"
#include "protocol/bodies.h"
#include "tools/arguments.h"
#include "tools/dynamodblines.h"
#include "tools/interruption.h"
#include "tools/itemtext.h"
#include "tools/messages.h"
#include "tools/outputfile.h"
#include "tools/progressbar.h"

#include <CLI/CLI.hpp>

#include <cstdio>

#include <unistd.h>

namespace Ctl {

namespace {

/** The number of the data file that has the items of a hash key. A scan reads them in the order of their numbers. */
unsigned partitionOf(const QString& hash)
{
    const QByteArray bytes = hash.toLatin1();
    return Partitions::ofHashKey({bytes.cbegin(), bytes.cend()});
}

} // namespace

ExportCommand::ExportCommand(CLI::App* app)
    : Command(app, "export", "Write all items of a table to a file: JSON, one item per line",
              "quorvactl export 'build/shop|orders' orders.jsonl")
{
    addTableArgument(parser(), &table_);
    parser()->add_option(
        "FILE", file_,
        "The file, which gets its name only when the export is complete; standard output if it is - or missing");
    addFormatOption(parser(), {ItemFormat::Json, ItemFormat::DynamodbJson},
                    R"(JSON, an item as in requests; or as the hosted service imports it, {"Item": ...})", &format_);
    addLimitOption(parser(), &options_.limit);
    addProgressOption(parser(), &progress_);
}

int ExportCommand::run(const ServerAddress& server)
{
    const auto report = [](const std::string& error, int code) {
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
        return written ? code : report("cannot write standard output", ExitNoReply);
    }
    const Interruption interruption;
    OutputFile file(file_);
    if (const int code = report(file.open(), ExitErrorReply))
        return code;
    const int code = read(server, [&](const QByteArray& line) {
        if (Interruption::requested())
            return report("export stopped: interrupted", ExitErrorReply);
        return report(file.writeLine(line), ExitErrorReply);
    });
    return code != ExitOk ? code : report(file.commit(), ExitErrorReply);
}

int ExportCommand::read(const ServerAddress& server, const LineSink& sink) const
{
    const bool mixes = file_ == "-" && ::isatty(STDOUT_FILENO) != 0; // progress and items would mix on one terminal
    ProgressBar progress(Partitions::Count, progress_ ? ProgressBar::When::Always
                                            : mixes   ? ProgressBar::When::Never
                                                      : ProgressBar::When::OnTerminal);
    KeyNames keys;
    if (progress.isEnabled()) {
        Session session(server);
        if (const int code = session.readKeys(table_, &keys))
            return code;
    }
    long long items = 0;
    PagedRead read(options_, Operations::Scan, Bodies::table(QString::fromStdString(table_)));
    read.sendTo([&](const QVariantMap& item, const QByteArray& line) {
        if (const int code = sink(format_ == ItemFormat::DynamodbJson ? DynamodbLines::lineOf(line) : line))
            return code;
        ++items;
        // A scan reads one data file after another, and hash keys are spread evenly over them.
        if (progress.isEnabled())
            progress.show(items, partitionOf(keyText(item, keys.hash)));
        return int{ExitOk};
    });
    const int code = read.run(server);
    if (code == ExitOk && progress.isEnabled())
        progress.finish(items, Partitions::Count);
    return code;
}

} // namespace Ctl
