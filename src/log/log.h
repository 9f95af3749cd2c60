#ifndef QUORVA_LOG_LOG_H
#define QUORVA_LOG_LOG_H

#include <QByteArray>

#include <cstdio>
#include <ostream>
#include <sstream>
#include <string_view>

/** Levels of a line. `-s` and operators' notes refer to these numbers. */
enum LogLevel : int { LogDebug = 1, LogInfo = 2, LogWarn = 3, LogError = 4, LogCrit = 5 };

/**
 * One line of the log: created on the stack, filled through the stream that `open` returns, written in one piece by the
 * destructor.
 *
 *     [Mon Jan 07 09:05:03 2019] [ERROR] bdb 42 Failed to ...
 *
 * There is one destination and one threshold per process. The main thread sets both before any other thread exists,
 * and may replace the destination later; any thread may write lines. A line is one formatted write and one flush, so
 * lines of different threads never mix. Use the macros below: they test the level first, so a line below the threshold
 * costs one comparison.
 */
class Log {
public:
    Log() = default;
    virtual ~Log();
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    /** Writes the prefix (time, level name) and returns the stream for the message. Call it once. */
    std::ostream& open(int level);

    /** Whether lines of this level are written. */
    static bool enabled(int level);

    /** Lines at `threshold` and above are written. The initial threshold is LogInfo. */
    static void setThreshold(int threshold);

    /** Where lines go; not owned, never closed. While it is null, lines are discarded. */
    static void setDestination(std::FILE* destination);

    /** Writes `text` and a newline to the destination as is, without prefix: for text that is already in lines. */
    static void writeRaw(std::string_view text);

private:
    std::ostringstream stream_;
};

/** Byte arrays are written as their raw characters. */
std::ostream& operator<<(std::ostream& stream, const QByteArray& bytes);

/** Turns a finished line into a void expression; its operator binds more weakly than the insertion into the line. */
struct LogLineEnd {
    void operator&(const std::ostream&) const {}
};

// Not parenthesized: the line continues after the macro. NOLINTNEXTLINE(bugprone-macro-parentheses)
#define QUORVA_LOG_AT(level) !Log::enabled(level) ? static_cast<void>(0) : LogLineEnd() & Log().open(level)

#define LOG_DEBUG QUORVA_LOG_AT(LogDebug)
#define LOG_INFO QUORVA_LOG_AT(LogInfo)
#define LOG_WARN QUORVA_LOG_AT(LogWarn)

/** The origins of ERROR and CRIT lines: names of files as operators know them. */
namespace LogOrigin {

inline constexpr const char* Engine = "bdb";
inline constexpr const char* IoMaster = "bdbiomaster";
inline constexpr const char* IoWorker = "bdbioworker"; // and the connections' own lines
inline constexpr const char* Request = "bdbrequest";
inline constexpr const char* Server = "bdbserver";
inline constexpr const char* Socket = "bdbsocket";

} // namespace LogOrigin

/**
 * ERROR and CRIT lines carry an origin and a number: the message's fixed identifier, if it has one (operators search
 * for it), otherwise __LINE__.
 */
#define LOG_ERROR(origin, number) QUORVA_LOG_AT(LogError) << (origin) << ' ' << (number) << ' '
#define LOG_CRIT(origin, number) QUORVA_LOG_AT(LogCrit) << (origin) << ' ' << (number) << ' '

#endif
