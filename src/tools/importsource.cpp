#include "tools/importsource.h"

namespace Ctl {

ImportSource::Result ImportSource::skipLine()
{
    QByteArray line;
    const Result result = readLine(&line);
    return result == Result::Refused ? Result::Item : result;
}

ImportSource::Result ImportSource::readLine(QByteArray* line)
{
    switch (reader_.next(line)) {
    case LineReader::Result::Line:
        return Result::Item;
    case LineReader::Result::TooLong:
        return refuse("the line is too long for an item");
    case LineReader::Result::End:
        return Result::End;
    case LineReader::Result::Interrupted:
        return Result::Interrupted;
    case LineReader::Result::Failed:
        break;
    }
    error_ = reader_.error();
    return Result::Failed;
}

ImportSource::Result ImportSource::refuse(std::string error)
{
    error_ = std::move(error);
    return Result::Refused;
}

ImportSource::Result JsonLines::next(QByteArray* item)
{
    const Result result = readLine(item);
    return result == Result::Item && item->trimmed().isEmpty() ? Result::Empty : result;
}

} // namespace Ctl
