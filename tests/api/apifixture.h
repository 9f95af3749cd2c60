#ifndef QUORVA_TESTS_API_APIFIXTURE_H
#define QUORVA_TESTS_API_APIFIXTURE_H

#include "api/createtablebody.h"
#include "api/service.h"
#include "support/serverprocess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

inline constexpr std::string_view ApiType = "com.amazonaws.dynamodb.v20120810#";
inline constexpr std::string_view ValidationType = "com.amazon.coral.validate#ValidationException";
inline constexpr std::string_view SerializationType = "com.amazon.coral.service#SerializationException";

/** An error's body, with its message as it is in JSON. */
inline std::string errorText(std::string_view type, std::string_view message)
{
    const char* const name = type == SerializationType ? "Message" : "message";
    return "{\"__type\":\"" + std::string(type) + "\",\"" + name + "\":\"" + std::string(message) + "\"}";
}

/** A description without its "TableSizeBytes", which changes whenever pages are written to the files. */
inline std::string withoutSize(std::string description)
{
    constexpr std::string_view Name = "\"TableSizeBytes\":";
    if (const std::size_t at = description.find(Name); at != std::string::npos)
        description.erase(at, description.find(',', at) + 1 - at);
    return description;
}

/** The API without HTTP, in front of a real server, with a directory for plain names. For one thread at a time. */
class ApiTest : public testing::Test {
protected:
    using Clock = std::chrono::system_clock;

    void SetUp() override
    {
        ASSERT_TRUE(server_.start());
        start(directory_);
    }

    /** Restarts the API with empty caches and another directory. */
    void start(const std::string& directory)
    {
        Api::Settings settings;
        settings.directory = directory;
        settings.now = [this] { return now_ += step_; };
        api_ = std::make_unique<Api::Service>(
            [this](const QByteArray& operation, const QByteArray& body, QByteArray* reply, QString* error) {
                ++requests_;
                if (onRequest_)
                    onRequest_(operation);
                if (!connection_.isOpen())
                    connection_ = server_.connect();
                if (connection_.exchange(operation, body, reply)) {
                    if (onReply_)
                        onReply_(operation);
                    return Client::ExchangeResult::Done;
                }
                *error = connection_.error();
                return Client::ExchangeResult::Lost;
            },
            settings);
    }

    /** The reply to a request that succeeds. */
    std::string call(std::string_view operation, std::string_view body)
    {
        const Api::Reply reply = answer(operation, body);
        EXPECT_EQ(reply.status, 200) << operation << ' ' << body << ' ' << reply.body.toStdString();
        return reply.body.toStdString();
    }

    /** The reply to a request that fails with a status of 400. */
    std::string refusal(std::string_view operation, std::string_view body)
    {
        const Api::Reply reply = answer(operation, body);
        EXPECT_EQ(reply.status, 400) << operation << ' ' << body << ' ' << reply.body.toStdString();
        return reply.body.toStdString();
    }

    Api::Reply answer(std::string_view operation, std::string_view body)
    {
        return api_->answer(operation, "localhost:8000", QByteArray(body.data(), static_cast<qsizetype>(body.size())));
    }

    /** Creates a table with the key "id", and "at" if a type is given for that. */
    void makeTable(const std::string& name, const std::string& hashType = "S", const std::string& rangeType = "")
    {
        call("CreateTable", createTableBody(name, hashType, "at", rangeType));
    }

    ServerProcess server_{{.arguments = {"-n"}}}; // quicker
    const std::string directory_ = server_.makeDirectory("tables");
    Clock::time_point now_{std::chrono::milliseconds(1700000000250)};
    std::chrono::milliseconds step_{0};                          // by which the clock advances at each reading
    int requests_ = 0;                                           // that have gone to the server
    std::function<void(const QByteArray& operation)> onRequest_; // called before the server gets a request
    std::function<void(const QByteArray& operation)> onReply_;   // called before the API gets a reply
    Client::WireConnection connection_;
    std::unique_ptr<Api::Service> api_;
};

#endif
