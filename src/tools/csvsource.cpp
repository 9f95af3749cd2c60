#include "tools/csvsource.h"

namespace Ctl {

ImportSource::Result CsvSource::begin(const KeyNames& keys)
{
    const Result result = readRecord();
    if (result == Result::End || result == Result::Empty)
        return refuse("the first line is not a header line");
    if (result != Result::Item)
        return result;
    std::vector<CsvParser::Field> cells = parser_.fields();
    if (cells.front().text.startsWith("\xef\xbb\xbf")) // the byte order mark, which some programs write
        cells.front().text.remove(0, 3);
    const std::string error = columns_.readHeader(cells, keys);
    return error.empty() ? Result::Item : refuse(error);
}

ImportSource::Result CsvSource::next(QByteArray* item)
{
    const Result result = readRecord();
    if (result != Result::Item)
        return result;
    const std::string error = columns_.toItem(parser_.fields(), item);
    return error.empty() ? Result::Item : refuse(error);
}

/** Result::Item means a record, whatever it contains. */
ImportSource::Result CsvSource::readRecord()
{
    parser_.reset();
    firstLine_ = lastLine() + 1;
    QByteArray line;
    for (;;) {
        const Result result = readLine(&line);
        if (result == Result::End && lastLine() >= firstLine_)
            return refuse("a quote is not closed");
        if (result != Result::Item)
            return result;
        if (lastLine() == firstLine_ && line.trimmed().isEmpty())
            return Result::Empty;
        switch (parser_.add(line)) {
        case CsvParser::Result::Complete:
            return Result::Item;
        case CsvParser::Result::Bad:
            return refuse(parser_.error());
        case CsvParser::Result::Incomplete:
            break;
        }
        if (parser_.size() > LineReader::LongestLine)
            return refuse("the record is too long for an item");
    }
}

} // namespace Ctl
