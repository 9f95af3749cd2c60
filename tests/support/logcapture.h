#ifndef QUORVA_TESTS_SUPPORT_LOGCAPTURE_H
#define QUORVA_TESTS_SUPPORT_LOGCAPTURE_H

#include "log/log.h"
#include "support/waituntil.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

/**
 * Collects the lines that any thread logs during its lifetime; afterwards lines are discarded again and the threshold
 * is INFO. Only one at a time.
 *
 * All captures of a process use one in-memory file that is never closed, and each reads only what was logged after its
 * creation: so a thread that is still writing a line when a capture ends never sees a closed stream. A forked child may
 * log as well; its lines are appended to the same file.
 */
class LogCapture {
public:
    /** Collects lines at `threshold` and above; 1 means everything. */
    explicit LogCapture(int threshold = LogDebug) : start_(fileSize())
    {
        Log::setThreshold(threshold);
        Log::setDestination(stream());
    }
    ~LogCapture()
    {
        Log::setDestination(nullptr);
        Log::setThreshold(LogInfo);
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /** Everything logged so far, verbatim. */
    std::string text() const
    {
        std::string all(static_cast<std::size_t>(fileSize() - start_), '\0');
        std::size_t have = 0;
        while (have < all.size()) {
            const ssize_t n =
                pread(fileno(stream()), all.data() + have, all.size() - have, start_ + static_cast<off_t>(have));
            if (n <= 0)
                break;
            have += static_cast<std::size_t>(n);
        }
        all.resize(have);
        return all;
    }

    /** The complete lines so far, each without its time: "[ERROR] bdb 12 ...". Raw lines are returned unchanged. */
    std::vector<std::string> lines() const
    {
        // "[Mon Jan 07 09:05:03 2019] " is 27 characters.
        constexpr std::size_t PrefixLength = 27;
        std::vector<std::string> result;
        const std::string all = text();
        for (std::size_t begin = 0, end = 0; (end = all.find('\n', begin)) != std::string::npos; begin = end + 1) {
            const std::string line = all.substr(begin, end - begin);
            const bool prefixed = line.size() > PrefixLength && line.compare(PrefixLength - 2, 3, "] [") == 0;
            result.push_back(prefixed ? line.substr(PrefixLength) : line);
        }
        return result;
    }

    /** True when the text so far contains `part`. */
    bool contains(std::string_view part) const { return text().find(part) != std::string::npos; }

    /** The number of complete lines that contain `part`. */
    std::size_t count(std::string_view part) const
    {
        const std::vector<std::string> all = lines();
        return static_cast<std::size_t>(std::count_if(
            all.begin(), all.end(), [&](const std::string& line) { return line.find(part) != std::string::npos; }));
    }

    /** Waits up to `deadline` for `part` to be logged `times` times; returns false when it was not. */
    [[nodiscard]] bool waitFor(std::string_view part, std::size_t times = 1,
                               std::chrono::milliseconds deadline = std::chrono::seconds(60)) const
    {
        return waitUntil([&] { return count(part) >= times; }, deadline);
    }

private:
    static std::FILE* stream()
    {
        // In append mode, so that the lines of a forked child do not overwrite ours.
        static std::FILE* const file = [] {
            const int descriptor = memfd_create("log capture", MFD_CLOEXEC);
            std::FILE* opened = descriptor < 0 ? nullptr : fdopen(descriptor, "a+");
            if (opened == nullptr)
                std::abort();
            return opened;
        }();
        return file;
    }

    static off_t fileSize()
    {
        struct stat status = {};
        return fstat(fileno(stream()), &status) == 0 ? status.st_size : 0;
    }

    off_t start_; // where this capture begins in the file
};

#endif
