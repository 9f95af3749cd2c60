#ifndef QUORVA_TESTS_API_ITEMFIXTURE_H
#define QUORVA_TESTS_API_ITEMFIXTURE_H

#include "api/createtablebody.h"
#include "api/service.h"
#include "http/serverpool.h"
#include "protocol/endpoint.h"
#include "support/serverprocess.h"
#include "json/jsonreader.h"
#include "json/jsonwriter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>

/**
 * A real server, and the API in front of it, through the exchange of quorva-http. The API's clock is stopped, so it
 * caches a description until it has a reason to read it again.
 */
class ApiItems : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(server_.start());
        pool_ = std::make_unique<Http::ServerPool>(
            Http::Upstream{QString::fromLatin1(Endpoint::Host), server_.port(), Timeout, Timeout}, Connections);
        service_ = std::make_unique<Api::Service>(
            [this](const QByteArray& operation, const QByteArray& body, QByteArray* reply, QString* error) {
                ++exchanges_;
                return pool_->exchange(operation, body, reply, error);
            },
            Api::Settings{.directory = directory_.path(),
                          .now = [] { return std::chrono::system_clock::time_point(); }});
        createTable("items", "S", "N");
    }

    /** `range` is empty for a table with a hash key alone. The keys are named "id" and "ax". */
    void createTable(const std::string& name, const std::string& hash, const std::string& range)
    {
        const Api::Reply reply = call("CreateTable", createTableBody(name, hash, "ax", range));
        ASSERT_EQ(reply.status, 200) << reply.body.toStdString();
    }

    Api::Reply call(const std::string& operation, const std::string& body) const
    {
        return service_->answer(operation, "127.0.0.1", QByteArray::fromStdString(body));
    }

    /** The reply to a request that must succeed, in one canonical form. */
    std::string done(const std::string& operation, const std::string& body) const
    {
        const Api::Reply reply = call(operation, body);
        EXPECT_EQ(reply.status, 200) << operation << ' ' << body.substr(0, 1000) << '\n' << reply.body.toStdString();
        return canonical(reply.body.toStdString());
    }

    /** The error of a request that must fail: "ValidationException: text". */
    std::string failed(const std::string& operation, const std::string& body) const
    {
        const Api::Reply reply = call(operation, body);
        EXPECT_EQ(reply.status, 400) << operation << ' ' << body.substr(0, 1000) << '\n' << reply.body.toStdString();
        const QVariantMap error = parsed(reply.body.toStdString());
        const QString type = error.value("__type").toString();
        return (type.mid(type.indexOf('#') + 1) + ": " + error.value("message").toString()).toStdString();
    }

    /** A body for the table "items"; `rest` are further members. */
    static std::string body(const std::string& rest) { return R"({"TableName":"items",)" + rest + '}'; }
    static std::string keyText(const std::string& id, const std::string& at)
    {
        return R"("id":{"S":")" + id + R"("},"ax":{"N":")" + at + "\"}";
    }
    static std::string key(const std::string& id, const std::string& at) { return "\"Key\":{" + keyText(id, at) + '}'; }
    static std::string item(const std::string& id, const std::string& at, const std::string& attributes = "")
    {
        return "\"Item\":{" + keyText(id, at) + (attributes.empty() ? "" : ',' + attributes) + '}';
    }
    static std::string put(const std::string& id, const std::string& at, const std::string& attributes = "")
    {
        return body(item(id, at, attributes));
    }
    /** The members of the item, without those of its keys; "none" if there is no such item. */
    std::string attributesOf(const std::string& id, const std::string& at) const
    {
        QVariantMap found = parsed(done("GetItem", body(key(id, at))));
        if (!found.contains("Item"))
            return "none";
        QVariantMap attributes = found.value("Item").toMap();
        EXPECT_EQ(attributes.take("id").toMap().value("S").toString().toStdString(), id);
        attributes.remove("ax");
        return Json::serialize(attributes).toStdString();
    }

    /** The item that the server stores under two keys, as it sends it; empty if there is none. */
    std::string storedText(const std::string& table, const std::string& hash, const std::string& range) const
    {
        QByteArray reply;
        QString error;
        const QVariantMap request{
            {"TableName", QString::fromStdString(directory_.path() + '|' + table)},
            {"Key", QVariantMap{{"HashKeyElement", QVariantMap{{"S", QString::fromStdString(hash)}}},
                                {"RangeKeyElement", QVariantMap{{"S", QString::fromStdString(range)}}}}}};
        EXPECT_EQ(pool_->exchange(Operations::GetItem.fullName(), Json::serialize(request), &reply, &error),
                  Client::ExchangeResult::Done);
        const std::string text = reply.toStdString();
        const std::string front = "{\"Item\":";
        const std::string back = R"(,"__rc":200,"__rcstr":"OK"})";
        if (!text.starts_with(front) || !text.ends_with(back))
            return {};
        return text.substr(front.size(), text.size() - front.size() - back.size());
    }

    static QVariantMap parsed(const std::string& json)
    {
        QVariant value;
        EXPECT_TRUE(Json::parse(QByteArray::fromStdString(json), &value)) << json;
        return value.toMap();
    }
    static std::string canonical(const std::string& json) { return Json::serialize(parsed(json)).toStdString(); }

    static constexpr int Timeout = 60'000; // milliseconds
    static constexpr int Connections = 64;
    TempDir directory_; // of the tables
    ServerProcess server_;
    std::unique_ptr<Http::ServerPool> pool_;
    std::unique_ptr<Api::Service> service_;
    mutable std::atomic<int> exchanges_{0};
};

#endif
