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
 * Reads lines from a terminal that can be edited, with a history and completion. It uses libedit: its licence, BSD's,
 * asks nothing of the program, while readline's would.
 */
class LineEditor {
public:
    enum class Result { Line, Cancelled, End };

    /** What the completion key does. */
    struct Completion {
        std::size_t begin = 0;          // of the word to complete, in the text in front of the cursor
        std::string text;               // what replaces it
        std::vector<std::string> words; // to show, when it can be completed in several ways
    };
    using Completer = std::function<Completion(const std::string& text)>;

    explicit LineEditor(Completer complete);
    ~LineEditor();
    LineEditor(const LineEditor&) = delete;
    LineEditor& operator=(const LineEditor&) = delete;

    /** Adds a line to those that the arrow keys bring back. */
    void remember(const std::string& line);

    /** Reads a line, without its line end. Ctrl-C cancels it; Ctrl-D on an empty one is the end. */
    [[nodiscard]] Result read(const std::string& prompt, std::string* line);

private:
    static LineEditor* of(editline* editor);
    static unsigned char onComplete(editline* editor, int key);
    static unsigned char onCancel(editline* editor, int key);
    static char* onPrompt(editline* editor);
    void show(const std::vector<std::string>& words) const;

    const Completer complete_;
    editline* editor_ = nullptr;
    struct history* history_ = nullptr;
    std::string prompt_;
    bool cancelled_ = false;
};

} // namespace Ctl

#endif
