#include "tools/shell.h"

#include "base/descriptor.h"
#include "tools/commandline.h"
#include "tools/completion.h"
#include "tools/messages.h"
#include "tools/pager.h"
#include "tools/shellwords.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Ctl {

namespace {

constexpr const char* Prompt = "quorvactl> ";
constexpr const char* OpenPrompt = "        -> "; // a quote is not closed

bool leaves(const std::string& text)
{
    const std::size_t begin = text.find_first_not_of(' ');
    const std::string word =
        begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(' ') + 1 - begin);
    return word == "\\q" || word == "exit" || word == "quit";
}

/** While a command runs, the shell ignores the keys that end the command, and SIGPIPE when its pager exits. */
class IgnoredSignals {
public:
    IgnoredSignals()
    {
        for (std::size_t i = 0; i < Signals.size(); ++i)
            before_[i] = ::signal(Signals[i], SIG_IGN);
    }
    ~IgnoredSignals() { restore(); }
    IgnoredSignals(const IgnoredSignals&) = delete;
    IgnoredSignals& operator=(const IgnoredSignals&) = delete;

    void restore() const
    {
        for (std::size_t i = 0; i < Signals.size(); ++i)
            ::signal(Signals[i], before_[i]);
    }

private:
    static constexpr std::array Signals{SIGINT, SIGQUIT, SIGPIPE};
    std::array<void (*)(int), Signals.size()> before_{};
};

std::string commonBeginning(const std::vector<std::string>& words)
{
    std::string common = words.front();
    for (const std::string& word : words)
        common.resize(static_cast<std::size_t>(
            std::mismatch(common.begin(), common.end(), word.begin(), word.end()).first - common.begin()));
    return common;
}

} // namespace

Shell::Shell(std::string version, const ServerAddress& server)
    : version_(std::move(version)), server_(server), history_(ShellHistory::usualPath()),
      editor_([this](const std::string& text) { return complete(text); })
{
    // The options of this shell apply to its commands, and to the completion of tables.
    ::setenv("QUORVA_HOST", server.host.c_str(), 1);
    ::setenv("QUORVA_PORT", std::to_string(server.port).c_str(), 1);
}

int Shell::run()
{
    (void)::signal(SIGINT, SIG_IGN); // between a command and the next prompt, Ctrl-C would still raise it
    std::printf("%s: help lists the commands, \\q or Ctrl-D leaves\n", version_.c_str());
    for (const std::string& line : history_.load())
        editor_.remember(line);
    for (;;) {
        std::string text;
        switch (readCommand(&text)) {
        case LineEditor::Result::Line:
            if (take(text) == Next::Leave)
                return ExitOk;
            break;
        case LineEditor::Result::Cancelled:
            break;
        case LineEditor::Result::End:
            std::printf("\n");
            return ExitOk;
        }
    }
}

/** Reads a line, and those that follow while a quote is open. */
LineEditor::Result Shell::readCommand(std::string* text)
{
    LineEditor::Result result = editor_.read(Prompt, text);
    while (result == LineEditor::Result::Line && ShellWords::split(*text).isOpen) {
        if (text->ends_with('\\'))
            text->pop_back(); // joins the lines
        else
            *text += '\n';
        std::string more;
        result = editor_.read(OpenPrompt, &more);
        *text += more;
    }
    return result;
}

Shell::Next Shell::take(const std::string& text)
{
    if (leaves(text))
        return Next::Leave;
    std::vector<std::string> words = ShellWords::split(text).words;
    // A line that was copied from elsewhere may begin with the program's name.
    if (!words.empty() && (words.front() == "quorvactl" || words.front().ends_with("/quorvactl")))
        words.erase(words.begin());
    if (words.empty())
        return Next::Continue;
    if (text != last_) {
        editor_.remember(text);
        history_.add(text);
        last_ = text;
    }
    runWords(words);
    return Next::Continue;
}

void Shell::runWords(const std::vector<std::string>& words) const
{
    CommandLine line(version_, server_);
    if (line.parse(words))
        return;
    std::cout.flush();
    std::fflush(nullptr);
    Pager pager;
    int ends[2] = {-1, -1};
    const bool isPaged = line.isPaged() && pager.isUsed() && ::pipe2(ends, O_CLOEXEC) == 0;
    Base::Descriptor reading(ends[0]);
    Base::Descriptor writing(ends[1]);
    const IgnoredSignals ignored;
    const pid_t id = ::fork();
    if (id == 0) {
        ignored.restore();
        (void)::signal(SIGINT, SIG_DFL);
        if (isPaged)
            ::dup2(writing.number(), STDOUT_FILENO);
        runInChild(line);
    }
    if (isPaged) {
        writing = {};
        if (id >= 0)
            pager.show(reading.number());
        reading = {}; // ends a command that still prints
    }
    if (id < 0) {
        complain(std::string("cannot run the command: ") + std::strerror(errno));
        return;
    }
    int status = 0;
    while (::waitpid(id, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGINT)
        std::printf("\n"); // the terminal shows ^C
    else if (WIFSIGNALED(status) && WTERMSIG(status) != SIGPIPE)
        complain("the command was ended by signal " + std::to_string(WTERMSIG(status)));
}

/** Does not return. */
void Shell::runInChild(const CommandLine& line)
{
    int code = ExitErrorReply;
    try {
        code = line.run();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "quorvactl: %s\n", error.what());
    }
    std::fflush(nullptr);
    ::_exit(code);
}

LineEditor::Completion Shell::complete(const std::string& text) const
{
    const ShellWords::Line line = ShellWords::split(text);
    std::vector<std::string> words = line.words;
    if (!line.endsInWord)
        words.emplace_back();
    const std::string word = words.back();
    if (words.size() > 1 && words.front() == "quorvactl")
        words.erase(words.begin());
    const CommandLine parser(version_, server_);
    const Completions::Answer answer = Completions::find(parser.parser(), words);
    std::vector<std::string> found = answer.words;
    if (answer.kind == Completions::Kind::Files)
        found = Completions::files(word.substr(answer.prefix.size()));
    else if (answer.kind == Completions::Kind::Tables)
        found = Completions::tables(word, answer.options);
    LineEditor::Completion completion{line.lastBegin, text.substr(line.lastBegin), found};
    if (found.empty())
        return completion;
    const std::string common = answer.prefix + commonBeginning(found);
    const bool isWhole = found.size() == 1 && !common.ends_with('/');
    if (common != word || isWhole)
        completion.text = ShellWords::quoted(common, !isWhole) + (isWhole ? " " : "");
    return completion;
}

} // namespace Ctl
