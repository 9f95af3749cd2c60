#ifndef QUORVA_TESTS_SERVER_STARTSUPPORT_H
#define QUORVA_TESTS_SERVER_STARTSUPPORT_H

#include "support/procfs.h"
#include "support/serverprocess.h"
#include "support/waituntil.h"

#include <QThread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

/** The lines without their time stamps: "[INFO] Server listening on 4567". Every line must start with one. */
inline std::vector<std::string> withoutTimes(const std::vector<std::string>& lines)
{
    constexpr std::size_t PrefixLength = 27; // "[Mon Jan 07 09:05:03 2019] "
    std::vector<std::string> result;
    for (const std::string& line : lines) {
        EXPECT_THAT(line.substr(0, PrefixLength),
                    testing::MatchesRegex("\\[[A-Z][a-z][a-z] [A-Z][a-z][a-z] [0-3][0-9] "
                                          "[0-2][0-9]:[0-5][0-9]:[0-6][0-9] [0-9][0-9][0-9][0-9]\\] "));
        result.push_back(line.substr(std::min(line.size(), PrefixLength)));
    }
    return result;
}

/** The log of `server` without time stamps. */
inline std::vector<std::string> messages(const ServerProcess& server)
{
    return withoutTimes(server.logLines());
}

/** True when the server answers a request that touches no storage. */
inline bool serves(ServerProcess* server)
{
    const QVariantMap reply =
        server->request("DeleteTable", {{"TableName", server->directory().c_str() + QString("/none|t")}});
    return reply == QVariantMap{{"__rc", 200}, {"__rcstr", "OK"}};
}

/** A wrapper that passes our `descriptor` to the server under the number `number`. */
inline std::vector<std::string> onDescriptor(int number, int descriptor)
{
    const std::string redirection = std::to_string(number) + "<&" + std::to_string(descriptor);
    return {"/bin/bash", "-c", "exec \"$@\" " + redirection, "bash"}; // sh supports only single-digit numbers
}

/** Waits until a launched server listens. Returns its port, or 0 if it has ended or the deadline has passed. */
inline int waitUntilListening(ServerProcess* server)
{
    int port = 0;
    (void)waitUntil([&] { // ignored: `port` has the result
        port = ProcFs::listeningPort(server->pid());
        return port != 0 || !server->isRunning();
    });
    return port;
}

inline std::string sizesLine(int workers, int poolMax)
{
    return "[INFO] Workers count " + std::to_string(workers) + " db-pool max-thread-count " + std::to_string(poolMax);
}

inline std::string listeningLine(int port)
{
    return "[INFO] Server listening on " + std::to_string(port);
}

/** What a server without options logs at start-up. */
inline std::vector<std::string> plainLines(int port, int workers = 4 * QThread::idealThreadCount(),
                                           int poolMax = 40 * QThread::idealThreadCount())
{
    return {sizesLine(workers, poolMax), listeningLine(port)};
}

#endif
