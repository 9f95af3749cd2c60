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
    double seconds = 0; // since it started
    qint64 done = 0;    // of the whole that this run has to process: bytes of an input, data files of a table
    qint64 all = -1;    // below 0: unknown
};

/**
 * The progress as one line of fewer than `width` characters:
 *
 *     [=========>          ]  47 %  123456 items  20576/s  0:07 left
 *     123456 items  20576/s                                              size unknown
 */
std::string progressLine(const TransferProgress& progress, int width);

/** Shows that line on standard error. */
class ProgressBar {
public:
    /**
     * OnTerminal: redrawn in place if standard error is a terminal, otherwise not at all. Always: if it is not a
     * terminal, as a separate line every ten seconds, for a log. Never: not even on a terminal.
     */
    enum class When { OnTerminal, Always, Never };

    /** `all` as in TransferProgress. */
    explicit ProgressBar(qint64 all, When when = When::OnTerminal);

    bool isEnabled() const { return line_.isEnabled() || log_; }
    /** Draws the line, at most ten times a second. */
    void show(long long items, qint64 done);
    /** Draws the line for the last time, and leaves it on the terminal. */
    void finish(long long items, qint64 done);

private:
    using Clock = std::chrono::steady_clock;

    void draw(long long items, qint64 done);

    const qint64 all_;
    const Clock::time_point began_ = Clock::now();
    Clock::time_point drawn_ = began_;
    TerminalLine line_;
    const bool log_; // separate lines
};

} // namespace Ctl

#endif
