#include "tools/linereader.h"

#include "tools/interruption.h"

namespace Ctl {

LineReader::LineReader(int descriptor)
    : LineReader(descriptor, [descriptor] { return Interruption::waitReadable(descriptor); })
{}

LineReader::Result LineReader::next(QByteArray* line)
{
    line->clear();
    bool any = false;
    bool tooLong = false;
    for (;;) {
        if (position_ == piece_.size()) {
            const InputBytes::Result result = input_.next(&piece_);
            position_ = result == InputBytes::Result::Bytes ? 0 : piece_.size();
            if (result == InputBytes::Result::Interrupted)
                return Result::Interrupted;
            if (result == InputBytes::Result::Failed)
                return Result::Failed;
            if (result == InputBytes::Result::End)
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
