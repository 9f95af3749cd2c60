#include "tools/linereader.h"

#include "tools/interruption.h"

#include <cerrno>

#include <unistd.h>

namespace Ctl {

LineReader::LineReader(int descriptor)
    : LineReader(descriptor, [descriptor] { return Interruption::waitReadable(descriptor); })
{}

LineReader::Result LineReader::next(QByteArray* line)
{
    constexpr qsizetype PieceSize = 64 * 1024;
    line->clear();
    bool any = false;
    bool tooLong = false;
    for (;;) {
        if (position_ == piece_.size()) {
            piece_.resize(PieceSize);
            position_ = 0;
            const bool readable = wait_();
            const ssize_t size =
                readable ? ::read(descriptor_, piece_.data(), static_cast<size_t>(PieceSize)) : ssize_t{0};
            piece_.resize(size > 0 ? size : 0);
            if (!readable)
                return Result::Interrupted;
            if (size < 0 && errno == EINTR)
                continue;
            if (size < 0)
                return Result::Failed;
            if (size == 0)
                break;
        }
        any = true;
        const qsizetype end = piece_.indexOf('\n', position_);
        const qsizetype part = (end < 0 ? piece_.size() : end) - position_;
        tooLong = tooLong || line->size() + part > LongestLine;
        if (tooLong)
            line->clear();
        else
            line->append(piece_.constData() + position_, part);
        position_ += part;
        bytes_ += part;
        if (end >= 0) {
            ++position_;
            ++bytes_;
            break;
        }
    }
    if (!any)
        return Result::End;
    ++lineNumber_;
    return tooLong ? Result::TooLong : Result::Line;
}

} // namespace Ctl
