#ifndef QUORVA_TOOLS_PAGEDREAD_H
#define QUORVA_TOOLS_PAGEDREAD_H

#include "client/paging.h"
#include "tools/serveraddress.h"
#include "tools/session.h"

#include <QHash>
#include <QVariantMap>

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace Ctl {

/** The options that scan and query share. */
struct PageOptions {
    int limit = Client::DefaultPageLimit; // records that the server examines for one page
    long long max = -1;                   // items to print; below 0: all
    bool countOnly = false;               // print the number of items instead
    std::vector<std::string> attributes;

    void declare(CLI::App* command);
};

/**
 * Reads a Scan or Query to its end, page after page on one connection, and prints one item a line or the count, or
 * hands the lines on.
 */
class PagedRead {
public:
    /**
     * `operation` is "Scan" or "Query", `body` all of the request but the paging. The first item for which `belongs` is
     * false ends the read; without it all belong.
     */
    PagedRead(const PageOptions& options, QByteArray operation, QVariantMap body,
              std::function<bool(const QVariantMap&)> belongs = {});

    /** Takes an item's line, without its end. Any exit code but ExitOk ends the read and becomes its result. */
    using Sink = std::function<int(const QByteArray& line)>;
    /** Hands the lines on instead of printing them. */
    void sendTo(Sink sink) { sink_ = std::move(sink); }

    /** An exit code of quorvactl. */
    int run(const ServerAddress& server);

private:
    int readPage(Session& session, const QVariantMap& body);
    int complainOf(Session& session, const QVariantMap& reply) const;
    int takeItems(bool again);
    std::string table() const { return body_.value("TableName").toString().toStdString(); }
    bool complete() const { return ended_ || (options_.max >= 0 && found_ >= options_.max); }

    const PageOptions& options_;
    const QByteArray operation_;
    QVariantMap body_; // without what changes from page to page
    const std::function<bool(const QVariantMap&)> belongs_;
    Sink sink_;

    QVariantMap reply_;
    QHash<QByteArray, int> taken_; // lines of the page under way; keys that differ behind a zero byte look alike
    long long found_ = 0;
    bool ended_ = false; // an item came that does not belong
};

} // namespace Ctl

#endif
