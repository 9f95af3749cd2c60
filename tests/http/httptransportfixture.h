#ifndef QUORVA_TESTS_HTTP_HTTPTRANSPORTFIXTURE_H
#define QUORVA_TESTS_HTTP_HTTPTRANSPORTFIXTURE_H

#include "http/httpclient.h"
#include "http/httpserver.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

/** Answers with the request's body, and its target as the reason: at once, or, for "/held", in answerHeld(). */
class Echo : public Http::HttpService {
public:
    ~Echo() override { answerHeld(); }

    /** Called with the socket of each new client, on the transport's thread, before anything is read from it. */
    std::function<void(int)> onClient;

    bool admits(int socket) override
    {
        if (onClient)
            onClient(socket);
        return true;
    }

    std::optional<Http::Response> refuse(const Http::RequestHead& head) override
    {
        if (head.target != "/refused")
            return std::nullopt;
        return Http::Response{403, "", {{"Word", "no"}}, "refused"};
    }

    Http::Response faultResponse(const Http::RequestHead&, Http::Fault fault) override
    {
        return {400, "", {}, "fault " + QByteArray::number(static_cast<int>(fault))};
    }

    void serve(const Http::RequestHead& head, QByteArray&& body, std::function<void(Http::Response&&)> done) override
    {
        auto answer = [&head, body = std::move(body), done = std::move(done)] {
            done({200, head.target, {}, head.target == "/large" ? QByteArray(20000000, 'x') : body});
        };
        ++served_;
        if (head.target != "/held") {
            answer();
            return;
        }
        const std::lock_guard lock(mutex_);
        held_.emplace_back(std::move(answer));
    }

    void answerHeld()
    {
        const std::lock_guard lock(mutex_);
        for (const auto& answer : std::exchange(held_, {}))
            answer();
    }

    int served() const { return served_; }

private:
    std::atomic<int> served_ = 0;
    std::mutex mutex_;
    std::vector<std::function<void()>> held_;
};

class HttpTransport : public testing::Test {
protected:
    static std::string request(const std::string& target, const std::string& body, const std::string& headers = "")
    {
        return "POST " + target + " HTTP/1.1\r\n" + headers + "Content-Length: " + std::to_string(body.size()) +
               "\r\n\r\n" + body;
    }

    HttpTransport()
    {
        limits_.request.body = 1000000;
        limits_.connections = 100;
        limits_.largeBodyBytes = 10 * limits_.request.body;
        limits_.untakenBytes = 100 * limits_.request.body;
        limits_.keepAlive = std::chrono::seconds(100);
        limits_.transfer = std::chrono::seconds(100);
    }

    ~HttpTransport() override
    {
        if (thread_.joinable())
            end();
    }

    void start()
    {
        server_ = std::make_unique<Http::HttpServer>(limits_, &service_, &crew_, &figures_);
        port_ = server_->bind(0);
        ASSERT_GT(port_, 0);
        thread_ = std::thread([this] { EXPECT_TRUE(server_->run()); });
    }

    void end()
    {
        server_->endRun();
        service_.answerHeld();
        thread_.join();
    }

    Http::HttpLimits limits_;
    Echo service_;
    Http::Crew crew_{1};
    Http::TransportFigures figures_;
    std::unique_ptr<Http::HttpServer> server_;
    int port_ = 0;
    std::thread thread_;
};

#endif
