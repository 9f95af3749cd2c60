#include "http/requestparser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <random>
#include <string>
#include <string_view>

using Http::Fault;
using Http::RequestParser;

namespace {

const Http::RequestLimits Limits{100, 400, 50};

/** Feeds bytes in pieces of this size, those not consumed again; returns what follows the request. */
std::string feed(RequestParser* parser, std::string_view bytes, std::size_t piece)
{
    std::string input;
    while (!parser->fault() && !parser->isWhole() && !bytes.empty()) {
        input += bytes.substr(0, piece);
        bytes.remove_prefix(std::min(piece, bytes.size()));
        std::size_t taken = 1;
        while (!parser->fault() && !parser->isWhole() && taken > 0 && !input.empty()) {
            taken = parser->parse(input);
            input.erase(0, taken);
        }
    }
    return input + std::string(bytes);
}

std::optional<Fault> faultOf(std::string_view bytes, std::size_t piece)
{
    RequestParser parser(Limits);
    (void)feed(&parser, bytes, piece); // ignored: what follows a fault does not matter
    return parser.fault();
}

std::string post(const std::string& headers, const std::string& body = "")
{
    return "POST / HTTP/1.1\r\n" + headers + "\r\n" + body;
}

} // namespace

TEST(RequestParser, RequestComesOutTheSameInWhateverPiecesItComes)
{
    const std::string next = "POST /next";
    const std::string bytes =
        "POST /a?b=c HTTP/1.1\r\nHost: localhost\r\nx-amz-TARGET:  Scan \r\nEmpty:\r\nContent-Length: 5\r\n\r\nhello" +
        next;
    for (const std::size_t piece : {std::size_t{1}, std::size_t{2}, std::size_t{7}, bytes.size()}) {
        RequestParser parser(Limits);
        EXPECT_FALSE(parser.hasBegun());
        EXPECT_EQ(feed(&parser, bytes, piece), next);
        ASSERT_TRUE(parser.isWhole()) << piece;
        EXPECT_EQ(parser.fault(), std::nullopt);
        EXPECT_EQ(parser.head().method, "POST");
        EXPECT_EQ(parser.head().target, "/a?b=c");
        EXPECT_EQ(parser.head().header("X-Amz-Target"), "Scan");
        EXPECT_EQ(parser.head().count("Empty"), 0U);
        EXPECT_TRUE(parser.head().isKeptAlive);
        EXPECT_FALSE(parser.head().isOld);
        EXPECT_EQ(parser.takeBody(), "hello");
    }
}

TEST(RequestParser, LeavesWhatBelongsToTheNextRequest)
{
    RequestParser parser(Limits);
    EXPECT_EQ(feed(&parser, post("Content-Length: 2\r\n", "{}POST / H"), 1000), "POST / H");
    EXPECT_TRUE(parser.isWhole());
}

TEST(RequestParser, StopsAfterTheHead)
{
    RequestParser parser(Limits);
    const std::string bytes = post("Expect: 100-Continue\r\nContent-Length: 2\r\n", "{}");
    EXPECT_EQ(parser.parse(bytes), bytes.size() - 2);
    EXPECT_TRUE(parser.hasHead());
    EXPECT_FALSE(parser.isWhole());
    EXPECT_TRUE(parser.expectsContinue());
    EXPECT_FALSE(parser.isTooLong());
    EXPECT_EQ(parser.parse("{}"), 2U);
    EXPECT_TRUE(parser.isWhole());
}

TEST(RequestParser, ChunksAreOneBodyAndTrailersAreNotHeaders)
{
    for (const std::size_t piece : {1U, 3U, 1000U}) {
        RequestParser parser(Limits);
        EXPECT_EQ(feed(&parser,
                       post("Transfer-Encoding: Chunked\r\nHost: a\r\n",
                            "2;x=y\r\nab\r\n3\r\ncde\r\n0\r\nHost: b\r\nConnection: close\r\n\r\n"),
                       piece),
                  "");
        ASSERT_TRUE(parser.isWhole()) << piece;
        EXPECT_EQ(parser.takeBody(), "abcde");
        EXPECT_EQ(parser.head().count("Host"), 1U);
        EXPECT_TRUE(parser.head().isKeptAlive);
    }
}

TEST(RequestParser, BodyBeyondTheLimitIsReadButNotKept)
{
    RequestParser parser(Limits);
    std::string chunks;
    for (int number = 0; number < 10; ++number)
        chunks += "a\r\n0123456789\r\n";
    EXPECT_EQ(feed(&parser, post("Transfer-Encoding: chunked\r\n", chunks + "0\r\n\r\nnext"), 1000), "next");
    EXPECT_TRUE(parser.isWhole());
    EXPECT_TRUE(parser.isTooLarge());
    EXPECT_EQ(parser.bodySize(), 0U);
}

TEST(RequestParser, LimitIsTheLargestBody)
{
    RequestParser fits(Limits);
    (void)feed(&fits, post("Content-Length: 50\r\n", std::string(50, 'x')), 1000);
    EXPECT_TRUE(fits.isWhole());
    EXPECT_FALSE(fits.isTooLong());
    EXPECT_FALSE(fits.isTooLarge());
    EXPECT_EQ(fits.bodySize(), 50U);

    RequestParser announced(Limits);
    (void)announced.parse(post("Content-Length: 51\r\n"));
    EXPECT_TRUE(announced.isTooLong());
}

TEST(RequestParser, ConnectionIsKeptAsTheClientWants)
{
    const auto isKept = [](const std::string& version, const std::string& wish) {
        RequestParser parser(Limits);
        (void)parser.parse("POST / HTTP/" + version + "\r\n" + wish + "\r\n");
        EXPECT_TRUE(parser.isWhole());
        EXPECT_EQ(parser.head().isOld, version == "1.0");
        return parser.head().isKeptAlive;
    };
    EXPECT_TRUE(isKept("1.1", ""));
    EXPECT_TRUE(isKept("1.1", "Connection: closed\r\n"));
    EXPECT_FALSE(isKept("1.1", "Connection: TE , CLOSE\r\n"));
    EXPECT_FALSE(isKept("1.0", ""));
    EXPECT_TRUE(isKept("1.0", "Connection: Keep-Alive\r\n"));
}

TEST(RequestParser, WhatIsNoRequestIsAFaultInWhateverPiecesItComes)
{
    const struct {
        std::string bytes;
        Fault fault;
    } cases[] = {
        {"\r\n\r\n", Fault::NotHttp},
        {"POST /\r\n\r\n", Fault::NotHttp},
        {"BREW / HTTP/1.1\r\n\r\n", Fault::NotHttp},
        {"POST / HTTP/2.0\r\n\r\n", Fault::NotHttp},
        {"POST / HTTP/1.1\r\nno header\r\n\r\n", Fault::NotHttp},
        {post("Host : a\r\n"), Fault::NotHttp},
        {post("Host: a\x1b[0m\r\n"), Fault::NotHttp},
        {post("Host: " + std::string(100, 'a') + "\r\n"), Fault::NotHttp},
        {"POST /" + std::string(100, 'a') + " HTTP/1.1\r\n\r\n", Fault::LineTooLong},
        {"POST /" + std::string(1000, 'a'), Fault::LineTooLong},
        {post("Content-Length: two\r\n"), Fault::BadLength},
        {post("Content-Length: -1\r\n"), Fault::BadLength},
        {post("Content-Length: 2, 2\r\n"), Fault::BadLength},
        {post("Content-Length: 2\r\nContent-Length: 2\r\n"), Fault::BadLength},
        {post("Content-Length: 99999999999999999999\r\n"), Fault::BadLength},
        {post("Content-Length: 2\r\nTransfer-Encoding: chunked\r\n"), Fault::BadLength},
        {post("Transfer-Encoding: chunked\r\nContent-Length: 2\r\n"), Fault::BadLength},
        {post("Transfer-Encoding: gzip, chunked\r\n"), Fault::BadLength},
        {post("Transfer-Encoding: identity\r\n"), Fault::BadLength},
        {post("Transfer-Encoding: chunked\r\n", "xyz\r\n"), Fault::BodyBroken},
        {post("Transfer-Encoding: chunked\r\n", "2\r\nabc\r\n0\r\n\r\n"), Fault::BodyBroken},
        {post("Transfer-Encoding: chunked\r\n", "0\r\nContent-Length: 2\r\n\r\n"), Fault::BodyBroken},
        {post("Transfer-Encoding: chunked\r\n", "2;x=" + std::string(1000, 'y')), Fault::BodyBroken},
        {post("Transfer-Encoding: chunked\r\n", "0\r\nx: " + std::string(1000, 'y')), Fault::BodyBroken},
    };
    for (const auto& [bytes, fault] : cases)
        for (const std::size_t piece : {std::size_t{1}, std::size_t{3}, bytes.size()})
            EXPECT_EQ(faultOf(bytes, piece), fault) << piece << ' ' << bytes;
}

TEST(RequestParser, HeadWithoutEndIsAFaultAtTheLimit)
{
    std::string bytes = "POST / HTTP/1.1\r\n";
    while (bytes.size() < 2 * Limits.head)
        bytes += "X-Filler: x\r\n";
    EXPECT_EQ(faultOf(bytes, 10), Fault::NotHttp);
    EXPECT_EQ(faultOf(bytes.substr(0, 300), 10), std::nullopt);
}

TEST(RequestParser, BytesChangedAnywhereMakeTheSameInWhateverPiecesTheyCome)
{
    const std::string request = post("Host: localhost\r\nConnection: keep-alive, TE\r\nTransfer-Encoding: chunked\r\n",
                                     "1;a=b\r\n{\r\n1\r\n}\r\n0\r\nx: y\r\n\r\n");
    const std::string replacements("\0\r\n :/?#%{}019fF;,=\"\x7f\xff", 23);
    std::minstd_rand random(20111205);
    for (int round = 0; round < 20000; ++round) {
        std::string bytes = request;
        for (int change = 0; change < round % 4; ++change) {
            const std::size_t at = random() % bytes.size();
            const std::size_t count = 1 + random() % 5;
            switch (random() % 3) {
            case 0:
                bytes[at] = replacements[random() % replacements.size()];
                break;
            case 1:
                bytes.insert(at, count, replacements[random() % replacements.size()]);
                break;
            default:
                bytes.erase(at, count);
            }
        }
        const auto wholeBody = [&](std::size_t piece) -> std::optional<QByteArray> {
            RequestParser parser(Limits);
            (void)feed(&parser, bytes, piece); // ignored: it may be too little or too much
            return parser.isWhole() ? std::optional(parser.takeBody()) : std::nullopt;
        };
        EXPECT_TRUE(wholeBody(1 + random() % 9) == wholeBody(bytes.size())) << round << ' ' << bytes;
    }
}
