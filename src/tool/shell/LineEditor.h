// Lines that a person edits at a terminal.
#pragma once

#include <histedit.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// What can stand at the end of a text in place of its last characters.
struct Completion {
    std::size_t replaced = 0;             // bytes at the end
    std::vector<std::string> candidates;  // whole
    std::string hint;                     // said where there is nothing to choose
    bool ends_word = true;                // a blank follows a candidate that is the only one
};

/// The editor of one terminal, standard input and output.
class LineEditor {
public:
    enum class End { kLine, kInterrupted, kEndOfInput };

    using Complete = std::function<Completion(std::string_view before_cursor)>;

    explicit LineEditor(Complete complete);

    /// Shows the prompt and lets a line be edited, which is then without its end.
    End Read(const std::string& prompt, std::string& line);

    /// A line that the editor brings back.
    void Remember(const std::string& line);

private:
    struct EndEditor {
        void operator()(EditLine* editor) const { ::el_end(editor); }
    };
    struct EndHistory {
        void operator()(History* history) const { ::history_end(history); }
    };

    static LineEditor& Of(EditLine* editor);
    static char* Prompt(EditLine* editor);
    static int ReadCharacter(EditLine* editor, wchar_t* character);
    static unsigned char CompleteWord(EditLine* editor, int character);

    Complete complete_;
    std::string prompt_;
    bool is_interrupted_ = false;
    std::unique_ptr<History, EndHistory> history_;
    std::unique_ptr<EditLine, EndEditor> editor_;
};
