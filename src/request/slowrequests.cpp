#include "request/slowrequests.h"

#include "log/log.h"
#include "request/latest.h"

#include <atomic>
#include <mutex>
#include <optional>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

std::atomic<std::chrono::milliseconds::rep> thresholdMs{0};

constexpr qsizetype LongestKey = 64; // characters
constexpr qsizetype LongestTable = 256;

/** Whether a character could break the line or disguise its content. */
bool mustBeEscaped(QChar c)
{
    switch (c.category()) {
    case QChar::Other_Control:
    case QChar::Other_Format: // such as those that reverse the direction
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    default:
        return c == u'"' || c == u'\\';
    }
}

/** In quotes, with such characters as "\u0000". */
QString quoted(const QString& text)
{
    QString line = u"\""_s;
    for (const QChar c : text)
        line += mustBeEscaped(c) ? u"\\u%1"_s.arg(c.unicode(), 4, 16, QChar(u'0')) : QString(c);
    return line + u'"';
}

/** The beginning of a text, quoted, with dots if there is more. */
QString quotedBeginning(const QString& text, qsizetype length)
{
    return text.size() <= length ? quoted(text) : quoted(text.left(length)) + u"..."_s;
}

QByteArray milliseconds(std::chrono::nanoseconds time)
{
    return QByteArray::number(SlowRequest::milliseconds(time), 'f', 1);
}

void writeLines(const SlowRequest& request, std::uint64_t leftOut)
{
    if (leftOut > 0)
        LOG_WARN << "slow requests: " << leftOut << " more were not logged";
    const QString what = request.operation +
                         (request.table.isEmpty() ? QString() : u" table "_s + quoted(request.table)) +
                         (request.keys.isEmpty() ? QString() : u" keys "_s + request.keys) + u' ' + request.outcome;
    LOG_WARN << "slow request " << what.toUtf8() << ": " << milliseconds(request.total) << " ms, queued "
             << milliseconds(request.queued) << ", locks " << milliseconds(request.locks) << ", disk "
             << milliseconds(request.disk) << ", flush " << milliseconds(request.flush) << ", items " << request.items
             << ", retries " << request.retries << ", peer " << request.peer.toUtf8();
}

/** Bounds the rate of the lines. */
class LineRate {
public:
    /** Nothing if a line at that time would be one too many; otherwise, how many were omitted before it. */
    std::optional<std::uint64_t> take(std::chrono::system_clock::time_point time)
    {
        const std::lock_guard lock(mutex_);
        if (time < second_ || time - second_ >= std::chrono::seconds(1)) {
            second_ = time;
            lines_ = 0;
        }
        if (lines_ == SlowRequests::LinesPerSecond) {
            ++leftOut_;
            return std::nullopt;
        }
        ++lines_;
        return std::exchange(leftOut_, 0);
    }

private:
    std::mutex mutex_;                             // guards all of the following
    std::chrono::system_clock::time_point second_; // when the current one began
    int lines_ = 0;                                // in it
    std::uint64_t leftOut_ = 0;                    // since the last line
};

LineRate lineRate;
Latest<SlowRequest, SlowRequests::Kept> latestOfAll;

} // namespace

std::chrono::milliseconds SlowRequests::threshold()
{
    return std::chrono::milliseconds(thresholdMs.load(std::memory_order_relaxed));
}

void SlowRequests::setThreshold(std::chrono::milliseconds threshold)
{
    thresholdMs.store(threshold.count(), std::memory_order_relaxed);
}

void SlowRequests::report(const SlowRequest& request)
{
    const auto leftOut = lineRate.take(request.time);
    latestOfAll.add(request);
    if (leftOut)
        writeLines(request, *leftOut);
}

std::vector<SlowRequest> SlowRequests::latest()
{
    return latestOfAll.reports();
}

std::uint64_t SlowRequests::count()
{
    return latestOfAll.count();
}

QString SlowRequests::keysText(const QByteArray& hashKey, const QByteArray& rangeKey)
{
    const auto beginningOf = [](const QByteArray& key) {
        return quotedBeginning(QString::fromLatin1(key.left(LongestKey + 1)), LongestKey);
    };
    return beginningOf(hashKey) + u' ' + beginningOf(rangeKey);
}

QString SlowRequests::tableText(const QByteArray& tableName)
{
    const QString name = QString::fromUtf8(tableName.left(4 * (LongestTable + 1))); // a character has up to 4 bytes
    return name.size() <= LongestTable ? name : name.left(LongestTable) + u"..."_s;
}
