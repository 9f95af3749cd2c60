#include "net/peername.h"

#include "netsupport.h"

#include <gtest/gtest.h>

#include <string>

TEST(PeerName, IsTheAddressAndPortOfTheOtherEnd)
{
    const TcpPair pair;
    EXPECT_EQ(Net::peerName(pair.server.number()), "127.0.0.1:" + std::to_string(portOf(pair.client.number())));
}

TEST(PeerName, OfAnythingElseIsUnknown)
{
    const UnixPair pair;
    EXPECT_EQ(Net::peerName(pair.server.number()), "unknown");
    EXPECT_EQ(Net::peerName(-1), "unknown");
}
