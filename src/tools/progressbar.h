#ifndef QUORVA_TOOLS_PROGRESSBAR_H
#define QUORVA_TOOLS_PROGRESSBAR_H

#include "tools/terminalline.h"

#include <QtGlobal>

#include <chrono>
#include <string>

namespace Ctl {

/** The progress of a transfer of items. */
struct TransferProgress {
    long long items = 0;
    double seconds = 0;   // since it started
    qint64 doneBytes = 0; // of the input that this run has to process
    qint64 allBytes = -1; // below 0: unknown
};

/**
 * The progress as one line of fewer than `width` characters:
 *
 *     [=========>          ]  47 %  123456 items  20576/s  0:07 left
 *     123456 items  20576/s                                              size unknown
 */
std::string progressLine(const TransferProgress& progress, int width);

/** Shows that line on a terminal. */
class ProgressBar {
public:
    /** `allBytes` as in TransferProgress. `enabled` false shows nothing. */
    explicit ProgressBar(qint64 allBytes, bool enabled = true);

    /** Draws the line, at most ten times a second. */
    void show(long long items, qint64 doneBytes);
    /** Draws the line for the last time, and leaves it on the terminal. */
    void finish(long long items, qint64 doneBytes);

private:
    using Clock = std::chrono::steady_clock;

    void draw(long long items, qint64 doneBytes);

    const qint64 allBytes_;
    const Clock::time_point began_ = Clock::now();
    Clock::time_point drawn_{};
    TerminalLine line_;
};

} // namespace Ctl

#endif
