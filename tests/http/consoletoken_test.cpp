#include "http/consoletoken.h"

#include <gmock/gmock.h>

#include <string>

TEST(ConsoleToken, IsRandom)
{
    const Http::ConsoleToken one;
    const Http::ConsoleToken other;
    EXPECT_THAT(one.text(), testing::MatchesRegex("[0-9a-f]{48}"));
    EXPECT_NE(one.text(), other.text());
    EXPECT_FALSE(one.matches(other.text()));
}

TEST(ConsoleToken, MatchesItselfAlone)
{
    const Http::ConsoleToken token;
    EXPECT_TRUE(token.matches(token.text()));
    EXPECT_FALSE(token.matches(""));
    EXPECT_FALSE(token.matches(token.text() + '0'));
    EXPECT_FALSE(token.matches(token.text().substr(1)));
    for (std::size_t at = 0; at < token.text().size(); ++at) {
        std::string changed = token.text();
        changed[at] = changed[at] == '0' ? '1' : '0';
        EXPECT_FALSE(token.matches(changed)) << at;
    }
}
