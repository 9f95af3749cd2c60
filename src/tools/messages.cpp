#include "tools/messages.h"

#include "tools/exitcode.h"
#include "tools/terminalline.h"
#include "tools/terminaltext.h"

#include <cstdio>
#include <cstring>

namespace Ctl {

void complain(const std::string& message, const std::vector<std::string>& details)
{
    std::string text = "quorvactl: " + TerminalText::printable(message) + '\n';
    for (const std::string& detail : details)
        text += "  " + TerminalText::printable(detail) + '\n';
    TerminalLine::clear();
    std::fputs(text.c_str(), stderr);
}

int fail(const std::string& message, const std::vector<std::string>& details)
{
    complain(message, details);
    return ExitErrorReply;
}

int refuse(const std::string& error)
{
    if (error.empty())
        return ExitOk;
    complain(error);
    return ExitUsage;
}

std::string withReason(const std::string& what, int error)
{
    return what + ": " + std::strerror(error);
}

std::string counted(long long number, const std::string& noun)
{
    return counted(number, noun, noun + 's');
}

std::string counted(long long number, const std::string& noun, const std::string& plural)
{
    return std::to_string(number) + ' ' + (number == 1 ? noun : plural);
}

int say(const std::string& text)
{
    return sayLines({text});
}

int sayLines(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines)
        text += TerminalText::printable(line) + '\n';
    return printText(QByteArray::fromStdString(text));
}

int printLine(const QByteArray& text)
{
    return printText(text + '\n');
}

int printText(const QByteArray& text)
{
    const auto size = static_cast<size_t>(text.size());
    if (std::fwrite(text.constData(), 1, size, stdout) == size && std::fflush(stdout) == 0)
        return ExitOk;
    complain("cannot write standard output");
    return ExitNoReply;
}

} // namespace Ctl
