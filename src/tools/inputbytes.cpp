#include "tools/inputbytes.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include <unistd.h>
#include <zlib.h>

namespace Ctl {

namespace {

constexpr qsizetype PieceSize = 64 * 1024;
constexpr char Magic[] = {'\x1f', '\x8b'}; // gzip's magic number, with which neither UTF-8 nor JSON can begin
constexpr int GzipOnly = 15 + 16;          // zlib: the largest window, and gzip's header and trailer around the data

} // namespace

InputBytes::InputBytes(int descriptor, std::function<bool()> wait) : descriptor_(descriptor), wait_(std::move(wait)) {}

InputBytes::~InputBytes()
{
    if (stream_ != nullptr)
        (void)inflateEnd(stream_.get()); // ignored: it only frees memory
}

InputBytes::Result InputBytes::next(QByteArray* piece)
{
    if (!recognized_) {
        if (const Result result = recognize(); result != Result::Bytes)
            return result;
    }
    if (isCompressed())
        return inflated(piece);
    if (position_ == input_.size()) {
        if (const Result result = read(&input_); result != Result::Bytes)
            return result;
    }
    *piece = position_ == 0 ? input_ : input_.mid(position_);
    position_ = input_.size();
    return Result::Bytes;
}

/** Replaces `bytes`; bytes are consumed from the descriptor's current position. */
InputBytes::Result InputBytes::read(QByteArray* bytes)
{
    for (;;) {
        if (!wait_())
            return Result::Interrupted;
        bytes->resize(PieceSize);
        const ssize_t size = ::read(descriptor_, bytes->data(), static_cast<std::size_t>(PieceSize));
        const int failure = errno;
        bytes->resize(size > 0 ? size : 0);
        position_ = 0;
        bytesRead_ += bytes->size();
        if (size > 0)
            return Result::Bytes;
        if (size == 0)
            return Result::End;
        if (failure != EINTR)
            return fail(std::strerror(failure));
    }
}

/** Looks at the first two bytes, which a pipe may deliver one by one. */
InputBytes::Result InputBytes::recognize()
{
    QByteArray more;
    while (input_.size() < 2 && (input_.isEmpty() || input_.front() == Magic[0])) {
        const Result result = read(&more);
        if (result == Result::End && !input_.isEmpty())
            break;
        if (result != Result::Bytes)
            return result;
        input_ += more;
    }
    recognized_ = true;
    if (!input_.startsWith(QByteArrayView(Magic, 2)))
        return Result::Bytes;
    stream_ = std::make_unique<z_stream>();
    inMember_ = true;
    return inflateInit2(stream_.get(), GzipOnly) == Z_OK ? Result::Bytes : fail("out of memory");
}

InputBytes::Result InputBytes::inflated(QByteArray* piece)
{
    piece->resize(PieceSize);
    for (;;) {
        if (position_ == input_.size()) {
            const Result result = read(&input_);
            if (result == Result::End && inMember_)
                return fail("the compressed data ends too early");
            if (result != Result::Bytes)
                return result;
        }
        if (!inMember_) {
            if (const Result result = endOfMember(); result != Result::Bytes)
                return result;
            if (!inMember_)
                continue;
        }
        stream_->next_in = reinterpret_cast<Bytef*>(input_.data() + position_);
        stream_->avail_in = static_cast<uInt>(input_.size() - position_);
        stream_->next_out = reinterpret_cast<Bytef*>(piece->data());
        stream_->avail_out = static_cast<uInt>(PieceSize);
        const int status = ::inflate(stream_.get(), Z_NO_FLUSH);
        position_ = input_.size() - static_cast<qsizetype>(stream_->avail_in);
        const qsizetype size = PieceSize - static_cast<qsizetype>(stream_->avail_out);
        if (status == Z_STREAM_END)
            inMember_ = false;
        else if (status != Z_OK && status != Z_BUF_ERROR)
            return fail("the compressed data is damaged");
        if (size > 0) {
            piece->resize(size);
            return Result::Bytes;
        }
    }
}

/** After compressed data: more of it may follow, or zeros, with which some media pad their blocks. */
InputBytes::Result InputBytes::endOfMember()
{
    while (position_ < input_.size() && input_[position_] == '\0')
        ++position_;
    if (position_ == input_.size())
        return Result::Bytes;
    if (input_[position_] != Magic[0])
        return fail("something else follows the compressed data");
    inMember_ = true;
    return inflateReset(stream_.get()) == Z_OK ? Result::Bytes : fail("out of memory");
}

InputBytes::Result InputBytes::fail(std::string error)
{
    error_ = std::move(error);
    return Result::Failed;
}

} // namespace Ctl
