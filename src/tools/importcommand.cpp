#include "tools/importcommand.h"

#include "base/descriptor.h"
#include "tools/arguments.h"
#include "tools/importer.h"
#include "tools/messages.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Ctl {

namespace {

/** The number of bytes left to read, or -1 if this is not a regular file. */
qint64 bytesLeft(int descriptor)
{
    struct stat status = {};
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode))
        return -1;
    const off_t position = lseek(descriptor, 0, SEEK_CUR);
    return position < 0 ? -1 : status.st_size - position;
}

} // namespace

ImportCommand::ImportCommand(CLI::App* app)
    : Command(app, "import", "Store the items of a file: JSON, one item per line, CSV, or the hosted service's export",
              "quorvactl import 'build/shop|orders' orders.jsonl --state orders.state")
{
    addTableArgument(parser(), &table_);
    parser()->add_option("FILE", file_, "The file; standard input if it is - or missing");
    auto* state = parser()->add_option("--state", state_,
                                       "Record the progress in this file, and resume from there if the file exists");
    parser()
        ->add_option("--skip", skip_, "Skip this many lines at the beginning")
        ->check(wholeNumber(0, "lines"))
        ->excludes(state);
    addFormatOption(parser(), {ItemFormat::Json, ItemFormat::Csv, ItemFormat::DynamodbJson},
                    "JSON, one item per line; CSV with a header line; or JSON as the hosted service exports it, "
                    R"({"Item": ...}; gzip is recognized)",
                    &format_);
    addRepeatedOption(parser(), "--types", &types_,
                      "The types of columns of CSV: NAME=TYPE,...; without it a header NAME:TYPE has one, or it is S")
        ->delimiter(',');
    addProgressOption(parser(), &progress_);
}

int ImportCommand::run(const ServerAddress& server)
{
    if (format_ != ItemFormat::Csv && !types_.empty())
        return refuse("--types is for --format csv; items in JSON have their types");
    const bool isFile = file_ != "-";
    ImportMark mark{skip_, 0, 0};
    std::error_code ignored;
    ImportState state(state_, table_, isFile ? std::filesystem::absolute(file_, ignored).string() : file_);
    if (const std::string error = state.load(&mark); !error.empty()) {
        complain(error, {"try: another file for --state, or remove this one to start over"});
        return ExitUsage;
    }
    ImportInput input{STDIN_FILENO, "standard input", -1, format_, types_};
    if (progress_)
        input.progress = ProgressBar::When::Always;
    Base::Descriptor file;
    if (isFile) {
        file = Base::Descriptor(::open(file_.c_str(), O_RDONLY | O_CLOEXEC));
        input.descriptor = file.number();
        input.name = file_;
    }
    if (input.descriptor < 0) {
        complain("cannot read " + file_ + ": " + std::strerror(errno));
        return ExitUsage;
    }
    input.bytes = bytesLeft(input.descriptor);
    return Importer(server, table_, input, std::move(state), mark).run();
}

} // namespace Ctl
