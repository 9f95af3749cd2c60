#ifndef QUORVA_TOOLS_LINEEDITOR_H
#define QUORVA_TOOLS_LINEEDITOR_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

struct editline;
struct history;

namespace Ctl {

/**
 * Reads editable lines from a terminal, with a history and completion. It uses libedit, whose BSD licence puts no
 * conditions on the program, unlike that of readline.
 */
class LineEditor {
public:
    enum class Result { Line, Cancelled, End };

    /** What the completion key does. */
    struct Completion {
        std::size_t begin = 0;          // of the word to complete, in the text before the cursor
        std::string text;               // what replaces it
        std::vector<std::string> words; // to show, when it can be completed in several ways
    };
    using Completer = std::function<Completion(const std::string& text)>;

    explicit LineEditor(Completer complete);
    ~LineEditor();
    LineEditor(const LineEditor&) = delete;
    LineEditor& operator=(const LineEditor&) = delete;

    /** Adds a line to those that the arrow keys recall. */
    void remember(const std::string& line);

    /** Reads a line, without its line feed. Ctrl-C cancels it; Ctrl-D on an empty line is the end of input. */
    [[nodiscard]] Result read(const std::string& prompt, std::string* line);

private:
    static LineEditor* of(editline* editor);
    static unsigned char onComplete(editline* editor, int key);
    static unsigned char onCancel(editline* editor, int key);
    static char* onPrompt(editline* editor);
    static void show(const std::vector<std::string>& words);

    const Completer complete_;
    editline* editor_ = nullptr;
    struct history* history_ = nullptr;
    std::string prompt_;
    bool cancelled_ = false;
};

} // namespace Ctl

#endif
