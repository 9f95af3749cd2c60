#ifndef QUORVA_TOOLS_INPUTBYTES_H
#define QUORVA_TOOLS_INPUTBYTES_H

#include <QByteArray>
#include <QtGlobal>

#include <functional>
#include <memory>
#include <string>

struct z_stream_s;

namespace Ctl {

/**
 * The bytes of a descriptor, decompressed if they begin with gzip's magic number, whatever the file's name. The input
 * may consist of several concatenated gzip members, as gzip itself accepts. Memory: two buffers of 64 KiB.
 */
class InputBytes {
public:
    enum class Result { Bytes, End, Interrupted, Failed };

    /**
     * The caller keeps ownership of the descriptor. `wait` is called before each read and returns false if an
     * interruption arrives before the descriptor is readable.
     */
    InputBytes(int descriptor, std::function<bool()> wait);
    ~InputBytes();
    InputBytes(const InputBytes&) = delete;
    InputBytes& operator=(const InputBytes&) = delete;

    /** Replaces `piece` by the next bytes, at least one of them with the result Bytes. */
    [[nodiscard]] Result next(QByteArray* piece);

    /** Why next() failed. */
    const std::string& error() const { return error_; }
    bool isCompressed() const { return stream_ != nullptr; }
    /** How many bytes of the descriptor have been read. */
    qint64 bytesRead() const { return bytesRead_; }

private:
    Result read(QByteArray* bytes);
    Result recognize();
    Result inflated(QByteArray* piece);
    Result endOfMember();
    Result fail(std::string error);

    const int descriptor_;
    const std::function<bool()> wait_;
    QByteArray input_;        // read from the descriptor
    qsizetype position_ = 0;  // of its first unconsumed byte
    bool recognized_ = false; // whether the beginning has been examined
    bool inMember_ = false;   // between the header and the trailer of compressed data
    std::unique_ptr<z_stream_s> stream_;
    qint64 bytesRead_ = 0;
    std::string error_;
};

} // namespace Ctl

#endif
