#include "tool/shell/PagedOutput.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <stdexcept>

namespace {

std::FILE* StartPager()
{
    ::setenv("LESS", "FRSX", 0);
    const char* pager = std::getenv("PAGER");
    std::fflush(stdout);
    return ::popen(pager != nullptr && *pager != '\0' ? pager : "less", "w");
}

}  // namespace

ScreenSize SizeOfScreen()
{
    winsize size{};
    ScreenSize screen;
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0 && size.ws_col > 0) {
        screen = {size.ws_row, size.ws_col};
    }
    return screen;
}

PagedOutput::PagedOutput(bool uses_pager) : uses_pager_(uses_pager)
{
    const cookie_io_functions_t functions{nullptr, &Write, nullptr, nullptr};
    stream_.reset(::fopencookie(this, "w", functions));
    if (stream_ == nullptr) {
        throw std::bad_alloc();
    }
}

PagedOutput::~PagedOutput()
{
    stream_.reset();
    if (pager_ == nullptr) {
        std::fwrite(held_.data(), 1, held_.size(), stdout);
        std::fflush(stdout);
        return;
    }
    // ^C is for the pager, as long as it is there.
    struct sigaction ignored {};
    struct sigaction before {};
    ignored.sa_handler = SIG_IGN;
    ::sigaction(SIGINT, &ignored, &before);
    ::pclose(pager_);
    ::sigaction(SIGINT, &before, nullptr);
}

ssize_t PagedOutput::Write(void* output, const char* bytes, std::size_t size)
{
    static_cast<PagedOutput*>(output)->Take({bytes, size});
    return static_cast<ssize_t>(size);
}

// A line that is wider than the screen takes several; its characters are at least as many as its
// columns but for wide ones, which a byte each makes up for.
bool PagedOutput::IsTaller(std::string_view text)
{
    for (const char c : text) {
        if (c == '\n') {
            lines_ += 1 + (column_ > 0 ? (column_ - 1) / screen_.columns : 0);
            column_ = 0;
        } else if ((static_cast<unsigned char>(c) & 0xC0U) != 0x80U) {
            ++column_;
        }
    }
    return lines_ >= screen_.lines;  // the prompt needs one
}

void PagedOutput::Take(std::string_view text)
{
    if (!uses_pager_ || pager_ != nullptr) {
        return PassOn(text);
    }
    if (held_.empty()) {
        screen_ = SizeOfScreen();
    }
    held_ += text;
    if (IsTaller(text)) {
        pager_ = StartPager();
        uses_pager_ = pager_ != nullptr;
        PassOn(held_);
        held_.clear();
    }
}

// SIGPIPE is ignored: a pager that is gone is seen by a write that fails.
void PagedOutput::PassOn(std::string_view text)
{
    std::FILE* to = pager_ != nullptr ? pager_ : stdout;
    std::fwrite(text.data(), 1, text.size(), to);
    is_left_ = std::fflush(to) != 0 && pager_ != nullptr;
}
