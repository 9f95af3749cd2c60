#ifndef QUORVA_TESTS_HTTP_HTTPFIXTURE_H
#define QUORVA_TESTS_HTTP_HTTPFIXTURE_H

#include "http/httpclient.h"
#include "http/httpprocess.h"
#include "support/serverprocess.h"

#include <gtest/gtest.h>

#include <string>

/** A real server with a table, and quorva-http in front of it. */
class HttpTest : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(server_.start());
        ASSERT_TRUE(http_.start(server_.port()));
        HttpClient client(http_.port());
        const HttpAnswer created = client.call(
            "CreateTable", R"({"TableName":")" + table() +
                               R"(","KeySchema":{"HashKeyElement":{"AttributeName":"hash","AttributeType":"S"},)"
                               R"("RangeKeyElement":{"AttributeName":"range","AttributeType":"S"}}})");
        ASSERT_EQ(created.status, 200) << created.body;
    }

    std::string table() const { return directory_.path() + "|items"; }

    /** A body that starts with the table's name. */
    std::string body(const std::string& rest) const { return R"({"TableName":")" + table() + "\"," + rest + '}'; }

    std::string putBody(const std::string& hash, const std::string& range, const std::string& attributes = "") const
    {
        return body(R"("Item":{"hash":{"S":")" + hash + R"("},"range":{"S":")" + range + R"("})" + attributes + '}');
    }

    static std::string key(const std::string& hash, const std::string& range)
    {
        return R"({"HashKeyElement":{"S":")" + hash + R"("},"RangeKeyElement":{"S":")" + range + R"("}})";
    }

    TempDir directory_; // the table's
    ServerProcess server_;
    HttpProcess http_;
};

#endif
