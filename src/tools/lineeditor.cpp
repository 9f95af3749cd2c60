#include "tools/lineeditor.h"

#include "tools/shellhistory.h"
#include "tools/terminaltext.h"

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cstdlib>

#include <histedit.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace Ctl {

namespace {

/** libedit counts characters, of which each byte but those of 10xxxxxx begins one. */
int charactersIn(const std::string& text)
{
    return static_cast<int>(std::count_if(text.begin(), text.end(),
                                          [](char byte) { return (static_cast<unsigned char>(byte) & 0xc0) != 0x80; }));
}

int terminalColumns()
{
    constexpr int Usual = 80;
    winsize size{};
    return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : Usual;
}

} // namespace

LineEditor::LineEditor(Completer complete) : complete_(std::move(complete))
{
    // Keys arrive as UTF-8, like everything that is sent to a server.
    if (std::setlocale(LC_CTYPE, "") == nullptr || MB_CUR_MAX == 1)
        std::setlocale(LC_CTYPE, "C.UTF-8");
    editor_ = el_init("quorvactl", stdin, stdout, stderr);
    history_ = history_init();
    HistEvent event;
    ::history(history_, &event, H_SETSIZE, static_cast<int>(ShellHistory::MostLines));
    ::history(history_, &event, H_SETUNIQUE, 1); // a repeated line is stored once
    el_set(editor_, EL_CLIENTDATA, this);
    el_set(editor_, EL_PROMPT, &LineEditor::onPrompt);
    el_set(editor_, EL_HIST, &::history, history_);
    el_set(editor_, EL_EDITOR, "emacs");
    el_set(editor_, EL_SIGNAL, 1); // restores the terminal when a signal ends the program, and follows its size
    el_set(editor_, EL_ADDFN, "quorvactl-complete", "completes the word", &LineEditor::onComplete);
    el_set(editor_, EL_ADDFN, "quorvactl-cancel", "cancels the line", &LineEditor::onCancel);
    el_set(editor_, EL_BIND, "^I", "quorvactl-complete", nullptr);
    el_set(editor_, EL_BIND, "^R", "em-inc-search-prev", nullptr);
    // While a line is edited, Ctrl-C is a key. It is a signal again for the command that the line becomes.
    el_set(editor_, EL_SETTY, "-d", "-isig", nullptr);
    el_set(editor_, EL_BIND, "^C", "quorvactl-cancel", nullptr);
    el_source(editor_, nullptr); // the user's ~/.editrc
}

LineEditor::~LineEditor()
{
    history_end(history_);
    el_end(editor_);
}

void LineEditor::remember(const std::string& line)
{
    HistEvent event;
    ::history(history_, &event, H_ENTER, line.c_str());
}

LineEditor::Result LineEditor::read(const std::string& prompt, std::string* line)
{
    prompt_ = prompt;
    cancelled_ = false;
    int size = 0;
    el_set(editor_, EL_PREP_TERM, 1); // el_gets() does so only after the prompt, when a Ctrl-C may already have arrived
    const char* text = el_gets(editor_, &size);
    // cppcheck-suppress knownConditionTrueFalse ; onCancel() sets it during el_gets()
    if (cancelled_)
        return Result::Cancelled;
    if (text == nullptr || size <= 0)
        return Result::End;
    *line = text;
    if (line->ends_with('\n'))
        line->pop_back();
    return Result::Line;
}

LineEditor* LineEditor::of(editline* editor)
{
    void* data = nullptr;
    el_get(editor, EL_CLIENTDATA, &data);
    return static_cast<LineEditor*>(data);
}

unsigned char LineEditor::onComplete(editline* editor, int)
{
    const LineInfo* info = el_line(editor);
    const std::string text(info->buffer, info->cursor);
    const Completion completion = of(editor)->complete_(text);
    const std::string before = text.substr(completion.begin);
    if (completion.text != before) {
        el_deletestr(editor, charactersIn(before));
        el_insertstr(editor, completion.text.c_str());
        return CC_REFRESH;
    }
    if (completion.words.empty())
        return CC_REFRESH_BEEP;
    show(completion.words);
    return CC_REDISPLAY;
}

unsigned char LineEditor::onCancel(editline* editor, int)
{
    of(editor)->cancelled_ = true;
    std::fputs("^C\n", stdout);
    std::fflush(stdout);
    return CC_EOF;
}

char* LineEditor::onPrompt(editline* editor)
{
    return of(editor)->prompt_.data();
}

/** Below the line, in columns; the line is then drawn again. */
void LineEditor::show(const std::vector<std::string>& words)
{
    int widest = 0;
    for (const std::string& word : words)
        widest = std::max(widest, TerminalText::width(TerminalText::escaped(QString::fromStdString(word))));
    const int perLine = std::max(1, terminalColumns() / (widest + 2));
    QString text = QStringLiteral("\n");
    for (std::size_t i = 0; i < words.size(); ++i) {
        const QString shown = TerminalText::escaped(QString::fromStdString(words[i]));
        const bool isLast = i + 1 == words.size() || (i + 1) % static_cast<std::size_t>(perLine) == 0;
        text += shown + (isLast ? QStringLiteral("\n") : QString(widest + 2 - TerminalText::width(shown), u' '));
    }
    std::fputs(text.toUtf8().constData(), stdout);
    std::fflush(stdout);
}

} // namespace Ctl
