#ifndef QUORVA_TOOLS_LINEREADER_H
#define QUORVA_TOOLS_LINEREADER_H

#include "tools/inputbytes.h"

#include <QByteArray>

#include <functional>
#include <string>
#include <utility>

namespace Ctl {

/** Reads lines from a descriptor, with memory for one line and a buffer of 64 KiB. They may be compressed by gzip. */
class LineReader {
public:
    /** Longer lines are skipped; an item that the server can store and read back is far smaller. */
    static constexpr qsizetype LongestLine = 16 * 1024 * 1024;

    enum class Result { Line, TooLong, End, Interrupted, Failed };

    /**
     * The caller keeps ownership of the descriptor. `wait` is called before each read and returns false if an
     * interruption arrives before the descriptor is readable.
     */
    LineReader(int descriptor, std::function<bool()> wait) : input_(descriptor, std::move(wait)) {}
    /** Waits without doing anything else. */
    explicit LineReader(int descriptor);

    /**
     * Reads the next line, without its line feed, which may be missing on the last one. A TooLong line is counted, but
     * its text is not returned. After a failure, error() has the reason.
     */
    [[nodiscard]] Result next(QByteArray* line);

    /** The number of the last line read; the first one is 1. */
    long long lineNumber() const { return lineNumber_; }
    /** Bytes of the descriptor taken by all lines so far; compressed bytes are counted when they are read. */
    qint64 bytes() const { return input_.isCompressed() ? input_.bytesRead() : bytes_; }
    const std::string& error() const { return input_.error(); }

private:
    InputBytes input_;
    QByteArray piece_;
    qsizetype position_ = 0; // in it
    long long lineNumber_ = 0;
    qint64 bytes_ = 0; // of all lines
};

} // namespace Ctl

#endif
