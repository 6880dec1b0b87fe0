#include "tool/shell/LineEditor.h"

#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cwchar>
#include <new>
#include <utility>

#include "text/terminal_text.h"
#include "tool/shell/PagedOutput.h"
#include "tool/shell/interrupts.h"

namespace {

constexpr int kMostRemembered = 2000;
constexpr std::size_t kMostListed = 200;

volatile std::sig_atomic_t is_resized = 0;

void NoteResize(int /*signal*/)
{
    is_resized = 1;
}

std::string CommonStart(const std::vector<std::string>& texts)
{
    std::string start = texts.front();
    for (const std::string& text : texts) {
        start.resize(
            static_cast<std::size_t>(std::ranges::mismatch(start, text).in1 - start.begin()));
    }
    while (!start.empty() && (static_cast<unsigned char>(start.back()) & 0x80U) != 0) {
        start.pop_back();  // perhaps part of a character
    }
    return start;
}

void List(const std::vector<std::string>& candidates)
{
    std::size_t width = 0;
    for (const std::string& candidate : candidates) {
        width = std::max(width, DisplayWidth(candidate) + 2);
    }
    const std::size_t columns = std::max<std::size_t>(SizeOfScreen().columns / width, 1);
    const std::size_t shown = std::min(candidates.size(), kMostListed);
    const std::size_t lines = (shown + columns - 1) / columns;
    std::string text = "\n";
    for (std::size_t line = 0; line < lines; ++line) {
        for (std::size_t at = line; at < shown; at += lines) {
            text += candidates[at] + std::string(width - DisplayWidth(candidates[at]), ' ');
        }
        text.erase(text.find_last_not_of(' ') + 1);
        text += "\n";
    }
    if (shown < candidates.size()) {
        text += "(and " + std::to_string(candidates.size() - shown) + " more)\n";
    }
    std::fputs(text.c_str(), stdout);
    std::fflush(stdout);
}

}  // namespace

LineEditor::LineEditor(Complete complete)
    : complete_(std::move(complete)),
      history_(::history_init()),
      editor_(::el_init("orvelgw", stdin, stdout, stderr))
{
    if (history_ == nullptr || editor_ == nullptr) {
        throw std::bad_alloc();
    }
    EditLine* editor = editor_.get();
    HistEvent event;
    ::history(history_.get(), &event, H_SETSIZE, kMostRemembered);
    ::history(history_.get(), &event, H_SETUNIQUE, 1);
    ::el_set(editor, EL_CLIENTDATA, this);
    ::el_set(editor, EL_PROMPT, &Prompt);
    ::el_set(editor, EL_EDITOR, "emacs");
    ::el_set(editor, EL_HIST, &::history, history_.get());
    ::el_set(editor, EL_GETCFN, &ReadCharacter);
    ::el_set(editor, EL_ADDFN, "complete", "Complete the word", &CompleteWord);
    ::el_set(editor, EL_BIND, "^I", "complete", nullptr);
    ::el_set(editor, EL_BIND, "^R", "em-inc-search-prev", nullptr);
    ::el_set(editor, EL_SIGNAL, 0);
    // What the terminal has announced is there to be read, also where ^C comes in between.
    ::el_set(editor, EL_SETTY, "-d", "+noflsh", nullptr);
    ::el_source(editor, nullptr);  // the user's own bindings, ~/.editrc
}

LineEditor& LineEditor::Of(EditLine* editor)
{
    void* data = nullptr;
    ::el_get(editor, EL_CLIENTDATA, &data);
    return *static_cast<LineEditor*>(data);
}

char* LineEditor::Prompt(EditLine* editor)
{
    return Of(editor).prompt_.data();
}

// A character of the locale's encoding, which is UTF-8; a signal ends the wait for it.
int LineEditor::ReadCharacter(EditLine* editor, wchar_t* character)
{
    std::mbstate_t state{};
    for (;;) {
        char byte = 0;
        // Signals come only while this waits, so that none is missed before it does.
        sigset_t signals;
        sigset_t usual;
        ::sigemptyset(&signals);
        ::sigaddset(&signals, SIGINT);
        ::sigaddset(&signals, SIGWINCH);
        ::pthread_sigmask(SIG_BLOCK, &signals, &usual);
        if (NotedInterrupts::Take()) {
            ::pthread_sigmask(SIG_SETMASK, &usual, nullptr);
            Of(editor).is_interrupted_ = true;
            return -1;
        }
        pollfd input{STDIN_FILENO, POLLIN, 0};
        const int ready = ::ppoll(&input, 1, nullptr, &usual);
        ::pthread_sigmask(SIG_SETMASK, &usual, nullptr);
        const ssize_t size = ready < 0 ? -1 : ::read(STDIN_FILENO, &byte, 1);
        if (is_resized != 0) {
            is_resized = 0;
            ::el_resize(editor);
            ::el_set(editor, EL_REFRESH);
        }
        if (size < 0 && errno == EINTR) {
            if (NotedInterrupts::Take()) {
                Of(editor).is_interrupted_ = true;
                return -1;
            }
            continue;
        }
        if (size <= 0) {
            return static_cast<int>(size);
        }
        const std::size_t made = std::mbrtowc(character, &byte, 1, &state);
        if (made == static_cast<std::size_t>(-1)) {
            state = {};  // no character: it is left out
        } else if (made != static_cast<std::size_t>(-2)) {
            return 1;
        }
    }
}

unsigned char LineEditor::CompleteWord(EditLine* editor, int /*character*/)
{
    const LineEditor& self = Of(editor);
    const LineInfo* line = ::el_line(editor);
    const std::string before(line->buffer, line->cursor);
    const Completion completion = self.complete_(before);
    if (completion.candidates.empty()) {
        if (completion.hint.empty()) {
            return CC_REFRESH_BEEP;
        }
        std::printf("\n%s\n", completion.hint.c_str());
        return CC_REDISPLAY;
    }
    const std::string typed = before.substr(before.size() - completion.replaced);
    const bool is_only = completion.candidates.size() == 1;
    std::string text = CommonStart(completion.candidates);
    if (!is_only && text.size() <= typed.size()) {
        List(completion.candidates);
        return CC_REDISPLAY;
    }
    text += is_only && completion.ends_word ? " " : "";
    // The editor counts characters.
    ::el_deletestr(editor, static_cast<int>(std::mbstowcs(nullptr, typed.c_str(), 0)));
    ::el_insertstr(editor, text.c_str());
    return CC_REFRESH;
}

LineEditor::End LineEditor::Read(const std::string& prompt, std::string& line)
{
    prompt_ = prompt;
    is_interrupted_ = false;
    const NotedInterrupts interrupts;
    struct sigaction resize {};
    struct sigaction before {};
    resize.sa_handler = &NoteResize;
    ::sigaction(SIGWINCH, &resize, &before);
    ::el_resize(editor_.get());
    // Before the prompt shows, so that no key that answers it is taken in the other mode.
    ::el_set(editor_.get(), EL_PREP_TERM, 1);
    int count = 0;
    const char* read = ::el_gets(editor_.get(), &count);
    ::sigaction(SIGWINCH, &before, nullptr);
    if (is_interrupted_ || NotedInterrupts::Take()) {
        ::tcflush(STDIN_FILENO, TCIFLUSH);
        std::fputs("^C\n", stdout);
        return End::kInterrupted;
    }
    if (read == nullptr || count <= 0) {
        std::fputs("\n", stdout);
        return End::kEndOfInput;
    }
    line = read;
    line.erase(line.find_last_not_of("\r\n") + 1);
    return End::kLine;
}

void LineEditor::Remember(const std::string& line)
{
    HistEvent event;
    ::history(history_.get(), &event, H_ENTER, line.c_str());
}
