#ifndef QUORVA_TESTS_TOOLS_OUTPUTLINE_H
#define QUORVA_TESTS_TOOLS_OUTPUTLINE_H

#include <gtest/gtest.h>

#include <ctime>
#include <string>

/** The first line of a text that begins like this; a test failure if there is none. */
inline std::string lineOf(const std::string& text, const std::string& beginning)
{
    const std::size_t at = ('\n' + text).find('\n' + beginning);
    EXPECT_NE(at, std::string::npos) << beginning << " in\n" << text;
    return at == std::string::npos ? "" : text.substr(at, text.find('\n', at) - at);
}

/** A time as the tool prints it, in the local zone. */
inline std::string localDate(std::time_t time)
{
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", std::localtime(&time));
    return text;
}

#endif
