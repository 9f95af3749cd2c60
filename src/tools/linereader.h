#ifndef QUORVA_TOOLS_LINEREADER_H
#define QUORVA_TOOLS_LINEREADER_H

#include <QByteArray>

namespace Ctl {

/** Reads lines from a descriptor, with memory for one line and a piece of 64 KiB. */
class LineReader {
public:
    /** Lines of more bytes are passed over; what the server can store and read back is far smaller. */
    static constexpr qsizetype LongestLine = 16 * 1024 * 1024;

    enum class Result { Line, TooLong, End, Interrupted, Failed };

    /** The descriptor stays the caller's. */
    explicit LineReader(int descriptor) : descriptor_(descriptor) {}

    /**
     * The next line without its end; the last one may lack it. With TooLong the line counts, its text does not come.
     * After a failure errno tells why.
     */
    [[nodiscard]] Result next(QByteArray* line);

    /** The number of the line that came last; the first one is 1. */
    long long lineNumber() const { return lineNumber_; }
    /** Bytes of all lines so far. */
    qint64 bytes() const { return bytes_; }

private:
    const int descriptor_;
    QByteArray piece_;
    qsizetype position_ = 0; // in it
    long long lineNumber_ = 0;
    qint64 bytes_ = 0;
};

} // namespace Ctl

#endif
