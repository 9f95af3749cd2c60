#ifndef QUORVA_TOOLS_TOPLOOP_H
#define QUORVA_TOOLS_TOPLOOP_H

#include "tools/exitcode.h"
#include "tools/signalevents.h"
#include "tools/statuschange.h"
#include "tools/statusfeed.h"
#include "tools/topview.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace Ctl {

/** Follows a server until a signal, or the derived class that shows the status, ends it. For the main thread. */
class TopLoop {
public:
    virtual ~TopLoop() = default;
    TopLoop(const TopLoop&) = delete;
    TopLoop& operator=(const TopLoop&) = delete;

    /** Returns an ExitCode. */
    [[nodiscard]] int run();

protected:
    TopLoop(const ServerAddress& server, std::chrono::milliseconds interval);

    // Each of these returns whether to continue.
    /** There is a new status, or the latest attempt to get one failed. */
    [[nodiscard]] virtual bool onNews(StatusFeed::News news) = 0;
    /** keyDescriptor() is readable. */
    [[nodiscard]] virtual bool onKey() { return true; }
    [[nodiscard]] virtual bool onResize() { return true; }
    /** Stops the process, as the user requested with Ctrl-Z. */
    [[nodiscard]] virtual bool onStop();
    virtual int keyDescriptor() const { return -1; }

    void setExitCode(int code) { exitCode_ = code; }
    TopView* view() { return &view_; }
    /** The latest status, compared with the one before it; empty before the first. */
    std::vector<std::string> lines(int width = TextColumns::AnyWidth) const;
    /** Whether these lines cover the whole time since the server's start. */
    bool isSinceStart() const { return change_.isSinceStart; }
    const std::string& failure() const { return feed_.failure(); }

private:
    bool answerSignals();

    const std::string address_;
    SignalEvents signals_;
    StatusFeed feed_;
    TopView view_;
    std::optional<Client::ServerStatus> latest_;
    StatusChange change_; // up to that
    int exitCode_ = ExitOk;
};

} // namespace Ctl

#endif
