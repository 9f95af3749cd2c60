#include "http/httpfixture.h"

#include <sys/resource.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

/** A few threads in front of a real server, and enough descriptors for many sockets on our side. */
class HttpManyClients : public HttpTest {
protected:
    void SetUp() override
    {
        rlimit descriptors{};
        ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &descriptors), 0);
        descriptors.rlim_cur = descriptors.rlim_max;
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &descriptors), 0);
        ASSERT_NO_FATAL_FAILURE(HttpTest::SetUp());
        http_.kill();
        ASSERT_EQ(http_.waitForExit(), 0);
        ASSERT_TRUE(http_.start(server_.port(), {"--threads", "4"}));
    }

    int threads() const
    {
        std::ifstream status("/proc/" + std::to_string(http_.id()) + "/status");
        for (std::string line; std::getline(status, line);)
            if (line.starts_with("Threads:"))
                return std::stoi(line.substr(sizeof "Threads:" - 1));
        return -1;
    }

    std::string get() const { return apiRequest("GetItem", body("\"Key\":" + key("none", "1"))); }
};

} // namespace

TEST_F(HttpManyClients, IdleOnesTakeNoThreadAndKeepTheirConnectionsWhileOthersWork)
{
    constexpr int Idle = 1000;
    const int before = threads(); // a few may still be starting
    ASSERT_GT(before, 0);
    std::vector<std::unique_ptr<HttpClient>> idle;
    for (int number = 0; number < Idle; ++number) {
        idle.push_back(std::make_unique<HttpClient>(http_.port()));
        ASSERT_EQ(idle.back()->exchange(get()).status, 200) << number;
    }
    std::vector<std::thread> working;
    for (int number = 0; number < 8; ++number)
        working.emplace_back([&] {
            HttpClient client(http_.port());
            for (int i = 0; i < 50; ++i) {
                const HttpAnswer answer = client.exchange(get());
                EXPECT_EQ(answer.body, "{}");
                EXPECT_EQ(answer.header("connection"), "");
            }
        });
    for (std::thread& client : working)
        client.join();
    EXPECT_LT(threads(), before + 10);
    for (const auto& client : idle)
        ASSERT_EQ(client->exchange(get()).body, "{}");
    EXPECT_LT(threads(), before + 10);
}

TEST_F(HttpManyClients, SlowHeadsHoldNobodyUp)
{
    constexpr int Slow = 200;
    const int before = threads(); // a few may still be starting
    const std::string request = get();
    const std::size_t half = request.find("X-Amz");
    std::vector<std::unique_ptr<HttpClient>> slow;
    for (int number = 0; number < Slow; ++number) {
        slow.push_back(std::make_unique<HttpClient>(http_.port()));
        ASSERT_TRUE(slow.back()->send(request.substr(0, half)));
    }
    const auto begin = std::chrono::steady_clock::now();
    HttpClient fast(http_.port());
    EXPECT_EQ(fast.exchange(request).body, "{}");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10)) << "less than any limit of a head";
    EXPECT_LT(threads(), before + 10);
    for (const auto& client : slow)
        ASSERT_EQ(client->exchange(request.substr(half)).body, "{}");
}
