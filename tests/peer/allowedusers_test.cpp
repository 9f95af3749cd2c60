#include "peer/allowedusers.h"

#include "peerpair.h"
#include "support/otheruser.h"
#include "support/systemcallfilter.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <string>

TEST(AllowedUsersList, EverybodyIsLetInWithoutOne)
{
    AllowedUsers users;
    EXPECT_FALSE(users.isRestricted());
    std::string refusal;
    EXPECT_TRUE(users.admits(-1, &refusal)) << "nobody is asked";
    EXPECT_EQ(refusal, "");
}

TEST(AllowedUsersList, NamesAndNumbersAreTaken)
{
    for (const char* list : {"root", "0", "00", "root,nobody", "nobody,12,0,4294967294", "0,0"}) {
        AllowedUsers users;
        EXPECT_EQ(users.restrictTo(list), "") << list;
        EXPECT_TRUE(users.isRestricted()) << list;
    }
}

TEST(AllowedUsersList, WhatIsNoListIsRefusedAndLetsNobodyIn)
{
    struct {
        const char* list;
        const char* error;
    } const cases[] = {
        {"", "a name is empty"},
        {",", "a name is empty"},
        {"root,", "a name is empty"},
        {",root", "a name is empty"},
        {"root,,nobody", "a name is empty"},
        {"no such user", "there is no user \"no such user\""},
        {"root,nosuchuser", "there is no user \"nosuchuser\""},
        {" root", "there is no user \" root\""},
        {"root, nobody", "there is no user \" nobody\""},
        {"-1", "there is no user \"-1\""},
        {"+0", "there is no user \"+0\""},
        {"0x0", "there is no user \"0x0\""},
        {"1.0", "there is no user \"1.0\""},
        {"4294967295", "there is no user \"4294967295\""},
        {"4294967296", "there is no user \"4294967296\""},
        {"18446744073709551616", "there is no user \"18446744073709551616\""},
        {"*", "there is no user \"*\""},
    };
    const Listener listener;
    const int client = listener.connect();
    const int server = listener.accept();
    for (const auto& c : cases) {
        AllowedUsers users;
        EXPECT_EQ(users.restrictTo(c.list), c.error) << c.list;
        EXPECT_TRUE(users.isRestricted()) << c.list;
        std::string refusal;
        EXPECT_FALSE(users.admits(server, &refusal)) << c.list;
    }
    close(client);
    close(server);
}

TEST(AllowedUsersList, SystemWithoutTheKernelsAnswersIsRefused)
{
    AllowedUsers users;
    std::string error;
    if (!runWithFailingCalls({__NR_socket}, EAFNOSUPPORT, [&] { error = users.restrictTo("root"); }))
        GTEST_SKIP() << "this system has no filters for system calls";
    EXPECT_EQ(error, "users of connections cannot be looked up, error 97");
    EXPECT_TRUE(users.isRestricted());
}

TEST(AllowedUsers, OthersAreNotAdmitted)
{
    SKIP_UNLESS_ROOT();
    const Listener listener;
    AllowedUsers users;
    ASSERT_EQ(users.restrictTo("40001"), "");
    {
        const UserConnection allowed(OtherUser, listener.port());
        const int server = listener.accept();
        std::string refusal;
        EXPECT_TRUE(users.admits(server, &refusal));
        EXPECT_EQ(refusal, "");
        close(server);
    }
    for (const uid_t user : {ThirdUser, uid_t{0}}) {
        const UserConnection other(user, listener.port());
        const int server = listener.accept();
        std::string refusal;
        EXPECT_FALSE(users.admits(server, &refusal));
        EXPECT_EQ(refusal, "user " + std::to_string(user) + " is not allowed");
        close(server);
    }
}

TEST(AllowedUsers, WhoCannotBeLookedUpIsNotAdmitted)
{
    const Listener listener;
    const int client = listener.connect();
    const int server = listener.accept();
    AllowedUsers users;
    ASSERT_EQ(users.restrictTo(std::to_string(geteuid())), "");
    std::string refusal;
    bool admitted = true;
    if (!runWithFailingCalls({__NR_sendto}, EPERM, [&] { admitted = users.admits(server, &refusal); }))
        GTEST_SKIP() << "this system has no filters for system calls";
    EXPECT_FALSE(admitted);
    EXPECT_EQ(refusal, "its user cannot be determined, error 1");
    EXPECT_TRUE(users.admits(server, &refusal)) << "the next question is answered again";
    close(client);
    close(server);
}
