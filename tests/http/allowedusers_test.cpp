#include "http/httpfixture.h"
#include "support/otheruser.h"
#include "support/programrun.h"
#include "support/waituntil.h"

#include <gmock/gmock.h>

#include <string>

using testing::StartsWith;

TEST(HttpAllowUsers, OthersAreClosedBeforeTheirRequestIsRead)
{
    SKIP_UNLESS_ROOT();
    ServerProcess server;
    ASSERT_TRUE(server.start());
    HttpProcess http;
    ASSERT_TRUE(http.start(server.port(), {"--allow-users", "40001"}));
    const std::string request = apiRequest("DeleteTable", R"({"TableName":"/none|t"})");
    EXPECT_THAT(UserConnection(OtherUser, http.port()).exchange(request), StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_EQ(UserConnection(ThirdUser, http.port()).exchange(request), "");
    EXPECT_TRUE(waitUntil([&] {
        return http.errorText().ends_with("quorva-http: connection refused, user 40002 is not allowed\n");
    })) << http.errorText();
}

TEST(HttpAllowUsers, ListThatIsNoneIsAWrongCommandLine)
{
    for (const char* list : {"", "nosuchuser", "root,"}) {
        const ProgramRun run = runProgram(QUORVA_HTTP_BINARY, {"--listen", "0", "--allow-users", list});
        EXPECT_EQ(run.status, 64) << list;
        EXPECT_THAT(run.error, StartsWith(std::string("quorva-http: --allow-users \"") + list + "\": "));
    }
}
