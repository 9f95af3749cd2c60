#ifndef QUORVA_TOOLS_IMPORTSOURCE_H
#define QUORVA_TOOLS_IMPORTSOURCE_H

#include "protocol/keynames.h"
#include "tools/linereader.h"

#include <QByteArray>

#include <functional>
#include <string>
#include <utility>

namespace Ctl {

/** The items in the input of an import, in any format. An item takes one or more lines; no line has two items. */
class ImportSource {
public:
    enum class Result { Item, Empty, Refused, End, Interrupted, Failed };

    /** See LineReader. */
    ImportSource(int descriptor, std::function<bool()> wait) : reader_(descriptor, std::move(wait)) {}
    virtual ~ImportSource() = default;
    ImportSource(const ImportSource&) = delete;
    ImportSource& operator=(const ImportSource&) = delete;

    /**
     * Reads what precedes the items of a table with these keys. Any result but Item is final for the whole input;
     * Refused leaves the reason in error().
     */
    [[nodiscard]] virtual Result begin(const KeyNames& keys) = 0;
    /**
     * Reads the next line or lines: an item, as JSON; nothing; or something that is not an item, with the reason in
     * error(), as after a failure.
     */
    [[nodiscard]] virtual Result next(QByteArray* item) = 0;
    /** Skips a line, which must be the last one of an item. */
    [[nodiscard]] Result skipLine();

    /** The numbers of the first and last line that the last next() read; the first line of the input is 1. */
    virtual long long firstLine() const { return lastLine(); }
    long long lastLine() const { return reader_.lineNumber(); }
    /** Bytes of the input read so far. */
    qint64 bytes() const { return reader_.bytes(); }
    const std::string& error() const { return error_; }

protected:
    /** Reads a line. Item means a line, Refused one that is too long. */
    [[nodiscard]] Result readLine(QByteArray* line);
    Result refuse(std::string error);

private:
    LineReader reader_;
    std::string error_;
};

/** Items as JSON, one per line; lines of white space count as empty. */
class JsonLines : public ImportSource {
public:
    using ImportSource::ImportSource;

    Result begin(const KeyNames&) override { return Result::Item; }
    Result next(QByteArray* item) override;
};

} // namespace Ctl

#endif
