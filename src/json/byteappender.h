#ifndef QUORVA_JSON_BYTEAPPENDER_H
#define QUORVA_JSON_BYTEAPPENDER_H

#include <QByteArray>
#include <QByteArrayView>

#include <algorithm>
#include <utility>

namespace Json {

/**
 * Appends bytes to an array, for text in many short pieces, where the overhead of `QByteArray::append` exceeds the
 * copying itself. The array at least doubles when it has to grow, so the total cost is linear. The appender owns the
 * array until `take` returns it. Used by one thread.
 */
class ByteAppender {
public:
    static constexpr qsizetype UsualRoom = 512; // enough for most replies, which then need one allocation

    /** Appends to `front` and reserves `room` more bytes. */
    explicit ByteAppender(QByteArray front, qsizetype room = UsualRoom) : bytes_(std::move(front))
    {
        grow(bytes_.size(), room);
    }

    ByteAppender(const ByteAppender&) = delete;
    ByteAppender& operator=(const ByteAppender&) = delete;

    /** Returns the array; the appender must not be used any more. */
    QByteArray take()
    {
        bytes_.truncate(cursor_ - bytes_.constData());
        return std::move(bytes_);
    }

    void put(char c) { *advance(1) = c; }
    void put(QByteArrayView text) { std::copy(text.begin(), text.end(), advance(text.size())); }

    /** Space for the next `length` bytes, valid until the next call. They become part of the text only by `advance`. */
    char* room(qsizetype length)
    {
        if (end_ - cursor_ < length)
            grow(cursor_ - bytes_.constData(), length + UsualRoom);
        return cursor_;
    }

    /** Appends `length` bytes, which the caller writes to the returned space before the next call. */
    char* advance(qsizetype length)
    {
        char* const to = room(length);
        cursor_ += length;
        return to;
    }

private:
    /** Reserves at least `needed` bytes after the first `used`. */
    void grow(qsizetype used, qsizetype needed)
    {
        qsizetype size = bytes_.capacity();
        if (size - used < needed)
            size = used + std::max(used, needed);
        bytes_.resize(size);
        cursor_ = bytes_.data() + used;
        end_ = bytes_.data() + size;
    }

    QByteArray bytes_; // its size is its capacity while it is owned
    char* cursor_;     // after what was appended
    char* end_;        // of the array
};

} // namespace Json

#endif
