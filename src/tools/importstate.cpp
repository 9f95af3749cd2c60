#include "tools/importstate.h"

#include "base/descriptor.h"
#include "base/fileio.h"
#include "tools/outputfile.h"
#include "json/jsonreader.h"
#include "json/jsonwriter.h"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Ctl {

namespace {

constexpr std::size_t MostStateBytes = 64 * 1024; // far more than a state with the longest paths needs

bool isRegularFile(int descriptor)
{
    struct stat status = {};
    return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

} // namespace

ImportState::ImportState(std::string path, std::string table, std::string input)
    : path_(std::move(path)), table_(std::move(table)), input_(std::move(input))
{}

std::string ImportState::load(ImportMark* mark) const
{
    if (path_.empty())
        return {};
    // O_NONBLOCK: opening a pipe without a writer would block.
    const Base::Descriptor file(::open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!file.isOpen())
        return errno == ENOENT ? std::string() : "cannot read " + path_ + ": " + std::strerror(errno);
    if (!isRegularFile(file.number()))
        return path_ + " is not a regular file";
    std::string text;
    const int failure = Base::readAll(file.number(), MostStateBytes + 1, &text);
    if (failure != 0)
        return "cannot read " + path_ + ": " + std::strerror(failure);
    QVariant parsed;
    const bool isJson = text.size() <= MostStateBytes && Json::parse(QByteArray::fromStdString(text), &parsed);
    const QVariantMap fields = parsed.toMap();
    if (!isJson || fields.value("line").typeId() != QMetaType::LongLong)
        return path_ + " is not the state of an import";
    const std::string table = fields.value("table").toString().toStdString();
    const std::string input = fields.value("input").toString().toStdString();
    if (table != table_ || input != input_)
        return path_ + " belongs to another import, of " + input + " into " + table;
    *mark = {fields.value("line").toLongLong(), fields.value("stored").toLongLong(),
             fields.value("refused").toLongLong()};
    return {};
}

std::string ImportState::save(const ImportMark& mark) const
{
    if (path_.empty())
        return {};
    const QVariantMap fields{{"table", QString::fromStdString(table_)},
                             {"input", QString::fromStdString(input_)},
                             {"line", mark.line},
                             {"stored", mark.stored},
                             {"refused", mark.refused}};
    OutputFile file(path_);
    std::string error = file.open();
    if (error.empty())
        error = file.writeLine(Json::serialize(fields));
    return error.empty() ? file.commit(OutputFile::Disk::Whenever) : error;
}

void ImportState::remove() const
{
    if (!path_.empty())
        ::unlink(path_.c_str());
}

} // namespace Ctl
