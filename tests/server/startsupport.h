#ifndef QUORVA_TESTS_SERVER_STARTSUPPORT_H
#define QUORVA_TESTS_SERVER_STARTSUPPORT_H

#include "support/procfs.h"
#include "support/serverprocess.h"
#include "support/waituntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

/** The lines without their times: "[INFO] Server listening on 4567". Every line must begin with a time. */
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

/** The log of `server` without times. */
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

/** A wrapper that gives the server our `descriptor` under the number `number`. */
inline std::vector<std::string> onDescriptor(int number, int descriptor)
{
    const std::string redirection = std::to_string(number) + "<&" + std::to_string(descriptor);
    return {"/bin/bash", "-c", "exec \"$@\" " + redirection, "bash"}; // sh takes numbers of one digit only
}

/** Waits until a launched server listens, on whatever port: the port, or 0 when it ended or the deadline has passed. */
inline int waitUntilListening(ServerProcess* server)
{
    int port = 0;
    (void)waitUntil([&] { // ignored: the port tells
        port = ProcFs::listeningPort(server->pid());
        return port != 0 || !server->isRunning();
    });
    return port;
}

#endif
