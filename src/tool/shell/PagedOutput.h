// Output at a terminal, in a pager where it is taller than the screen.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

/// The terminal's lines and columns; 24 and 80 where it doesn't tell.
struct ScreenSize {
    std::size_t lines = 24;
    std::size_t columns = 80;
};
ScreenSize SizeOfScreen();

/// Holds text back until it is clear whether it fits the screen. From there on, or at the end, it
/// goes to the terminal, or to the pager ($PAGER, or else less), which is waited for.
class PagedOutput {
public:
    /// uses_pager: otherwise all goes out as it comes.
    explicit PagedOutput(bool uses_pager);
    ~PagedOutput();
    PagedOutput(const PagedOutput&) = delete;
    PagedOutput& operator=(const PagedOutput&) = delete;

    std::FILE* Stream() const { return stream_.get(); }

    /// Whether the pager has ended, and what is written now is read by nobody.
    bool IsLeft() const { return is_left_; }

private:
    struct CloseFile {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    static ssize_t Write(void* output, const char* bytes, std::size_t size);
    void Take(std::string_view text);
    bool IsTaller(std::string_view text);
    void PassOn(std::string_view text);

    bool uses_pager_;
    ScreenSize screen_;       // as the first text comes
    std::size_t lines_ = 0;   // of the screen, that the text takes so far
    std::size_t column_ = 0;  // bytes of its last line
    std::string held_;
    std::FILE* pager_ = nullptr;
    bool is_left_ = false;
    std::unique_ptr<std::FILE, CloseFile> stream_;
};
