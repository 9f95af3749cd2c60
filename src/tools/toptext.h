#ifndef QUORVA_TOOLS_TOPTEXT_H
#define QUORVA_TOOLS_TOPTEXT_H

#include "tools/toploop.h"

#include <string>
#include <vector>

namespace Ctl {

/** Prints what a server did in each interval as a block of lines, for files and pipes. */
class TopText : public TopLoop {
public:
    /** Ends after `count` blocks, with ExitNoReply if there was no reply for the last one; 0 is no limit. */
    TopText(const ServerAddress& server, std::chrono::milliseconds interval, int count)
        : TopLoop(server, interval), count_(count)
    {}

protected:
    bool onNews(StatusFeed::News news) override;

private:
    bool print(const std::vector<std::string>& block);

    const int count_;
    bool isFirst_ = true; // the first status only begins the first interval
    int printed_ = 0;
};

} // namespace Ctl

#endif
