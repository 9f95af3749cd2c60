#include "protocol/framing.h"
#include "startsupport.h"
#include "support/otheruser.h"
#include "support/programrun.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace {

using testing::Contains;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

ServerProcess::Setup allowing(const std::string& list)
{
    ServerProcess::Setup setup;
    setup.environment["QUORVA_ALLOW_USERS"] = list;
    return setup;
}

const std::string& request()
{
    static const std::string bytes =
        Framing::frameRequest("DynamoDB_20111205.DeleteTable", R"({"TableName":"/none|t"})").toStdString();
    return bytes;
}

std::size_t refusals(const ServerProcess& server)
{
    const std::vector<std::string> lines = messages(server);
    return static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), [](const std::string& line) {
        return line.find("connection refused") != std::string::npos;
    }));
}

} // namespace

TEST(AllowUsers, OthersAreClosedWithOneLineEach)
{
    SKIP_UNLESS_ROOT();
    ServerProcess server(allowing("40001"));
    ASSERT_TRUE(server.start());
    EXPECT_THAT(UserConnection(OtherUser, server.port()).exchange(request()), HasSubstr(R"("__rc":200)"));
    EXPECT_EQ(refusals(server), 0U);

    EXPECT_EQ(UserConnection(ThirdUser, server.port()).exchange(request()), "");
    EXPECT_THAT(messages(server).back(), StartsWith("[WARN] connection refused, user 40002 is not allowed, sd "));
    EXPECT_EQ(UserConnection(0, server.port()).exchange(request()), "") << "root is not in the list";
    EXPECT_THAT(messages(server).back(), StartsWith("[WARN] connection refused, user 0 is not allowed, sd "));
    EXPECT_EQ(refusals(server), 2U);

    EXPECT_THAT(UserConnection(OtherUser, server.port(), AF_INET6).exchange(request()), HasSubstr(R"("__rc":200)"));
    EXPECT_EQ(refusals(server), 2U);
}

TEST(AllowUsers, NamesAndNumbersAreLetIn)
{
    SKIP_UNLESS_ROOT();
    ServerProcess server(allowing("root,40002"));
    ASSERT_TRUE(server.start());
    EXPECT_TRUE(serves(&server));
    EXPECT_THAT(UserConnection(ThirdUser, server.port()).exchange(request()), HasSubstr(R"("__rc":200)"));
    EXPECT_EQ(UserConnection(OtherUser, server.port()).exchange(request()), "");
}

TEST(AllowUsers, UnsetMeansEverybody)
{
    SKIP_UNLESS_ROOT();
    ServerProcess::Setup setup;
    setup.unset = {"QUORVA_ALLOW_USERS"};
    ServerProcess server(setup);
    ASSERT_TRUE(server.start());
    int sockets = 0;
    for (const auto& [descriptor, target] : ProcFs::descriptors(server.pid()))
        sockets += target.starts_with("socket:") ? 1 : 0;
    EXPECT_EQ(sockets, 1) << "the listener; nobody is looked up";
    EXPECT_THAT(UserConnection(OtherUser, server.port()).exchange(request()), HasSubstr(R"("__rc":200)"));
}

TEST(AllowUsers, ListThatIsNoneEndsTheStart)
{
    for (const char* list : {"", ",", "nosuchuser", "root,", "root, nobody", "-1", "4294967295"}) {
        ServerProcess server(allowing(list));
        ASSERT_TRUE(server.launch({"-p0", "-d", server.logPath()}));
        EXPECT_EQ(server.waitForExit(), 255) << list;
        EXPECT_THAT(messages(server),
                    Contains(AllOf(StartsWith("[CRIT] bdbserver "),
                                   HasSubstr(std::string(" invalid QUORVA_ALLOW_USERS \"") + list + "\": "))));
        EXPECT_THAT(messages(server), Not(Contains(HasSubstr("listening")))) << list;
        EXPECT_EQ(server.errorText(), "");
    }
}

TEST(AllowUsers, UserWhomTheNamespaceDoesNotKnowEndsTheStart)
{
    // In a user namespace that maps only root, all other users appear as nobody.
    ServerProcess::Setup setup = allowing("nobody");
    setup.wrapper = {"/usr/bin/unshare", "--user", "--map-root-user"};
    if (runProgram("/usr/bin/unshare", {"--user", "--map-root-user", "/bin/true"}).status != 0)
        GTEST_SKIP() << "this system makes no user namespaces here";
    ServerProcess server(setup);
    ASSERT_TRUE(server.launch({"-p0", "-d", server.logPath()}));
    EXPECT_EQ(server.waitForExit(), 255);
    EXPECT_THAT(
        messages(server).back(),
        EndsWith("invalid QUORVA_ALLOW_USERS \"nobody\": the user \"nobody\" is not known in this user namespace"));
}
