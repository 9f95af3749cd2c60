#ifndef QUORVA_JSON_BYTEAPPENDER_H
#define QUORVA_JSON_BYTEAPPENDER_H

#include <QByteArray>
#include <QByteArrayView>

#include <algorithm>
#include <utility>

namespace Json {

/**
 * Appends bytes to an array, for text of many short pieces: `QByteArray::append` takes longer for each of them than the
 * copying. The array's size doubles whenever it has to grow, so the cost is linear in the length of the text. The
 * appender owns the array until `take` gives it back. Used by one thread.
 */
class ByteAppender {
public:
    /** Appends to `front`, with space for `room` bytes ahead. */
    explicit ByteAppender(QByteArray front, qsizetype room = UsualRoom) : bytes_(std::move(front))
    {
        grow(bytes_.size(), room);
    }

    ByteAppender(const ByteAppender&) = delete;
    ByteAppender& operator=(const ByteAppender&) = delete;

    /** The array with all that was appended. The appender is of no more use. */
    QByteArray take()
    {
        bytes_.truncate(cursor_ - bytes_.constData());
        return std::move(bytes_);
    }

    void put(char c) { *advance(1) = c; }
    void put(QByteArrayView text) { std::copy(text.begin(), text.end(), advance(text.size())); }

    /** Memory for the next `length` bytes; valid until the next call. They count once `advance` is called. */
    char* room(qsizetype length)
    {
        if (end_ - cursor_ < length)
            grow(cursor_ - bytes_.constData(), length + UsualRoom);
        return cursor_;
    }

    /** Appends `length` bytes, which the caller writes to the memory that is returned before it calls again. */
    char* advance(qsizetype length)
    {
        char* const to = room(length);
        cursor_ += length;
        return to;
    }

private:
    static constexpr qsizetype UsualRoom = 512; // most replies, so that they need one allocation

    /** Makes room for at least `needed` bytes behind the first `used`. */
    void grow(qsizetype used, qsizetype needed)
    {
        qsizetype size = bytes_.capacity();
        if (size - used < needed)
            size = used + std::max(used, needed);
        bytes_.resize(size);
        cursor_ = bytes_.data() + used;
        end_ = bytes_.data() + size;
    }

    QByteArray bytes_; // as long as its memory
    char* cursor_;     // behind what was appended
    char* end_;        // of the memory
};

} // namespace Json

#endif
