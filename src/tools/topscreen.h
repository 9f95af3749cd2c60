#ifndef QUORVA_TOOLS_TOPSCREEN_H
#define QUORVA_TOOLS_TOPSCREEN_H

#include "tools/screen.h"
#include "tools/toploop.h"

namespace Ctl {

/** Shows what a server is doing on the terminal, redrawn at each interval; keys sort, scroll and quit. */
class TopScreen : public TopLoop {
public:
    TopScreen(const ServerAddress& server, std::chrono::milliseconds interval) : TopLoop(server, interval)
    {
        (void)draw(); // ignored: the next draw() will fail as well
    }

protected:
    bool onNews(StatusFeed::News news) override;
    bool onKey() override;
    bool onResize() override { return draw(); }
    bool onStop() override;
    int keyDescriptor() const override { return screen_.keyDescriptor(); }

private:
    bool draw();

    Screen screen_;
    bool hasFailed_ = false; // the latest attempt to get a status
    int firstLine_ = 0;      // shown, of all
};

} // namespace Ctl

#endif
