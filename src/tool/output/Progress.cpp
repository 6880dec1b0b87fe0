#include "tool/output/Progress.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>

namespace {

constexpr char kEmptyLine[] = "\r\x1b[K";

}  // namespace

Progress::Progress(std::uint64_t size) : size_(size), is_terminal_(::isatty(STDERR_FILENO) == 1)
{}

Progress::~Progress()
{
    if (is_terminal_) {
        std::fputs(kEmptyLine, stderr);
    }
}

void Progress::ShowInTime(std::uint64_t rows, std::uint64_t bytes)
{
    constexpr std::chrono::milliseconds kPause(200);
    const auto now = Clock::now();
    if (now - shown_ < kPause) {
        return;
    }
    shown_ = now;
    const std::chrono::duration<double> elapsed = now - start_;
    fmt::print(stderr, "{}{} rows, {:.0f} a second", kEmptyLine, rows,
               static_cast<double>(rows) / elapsed.count());
    if (size_ > bytes && bytes > 0) {
        const auto left =
            elapsed * (static_cast<double>(size_ - bytes) / static_cast<double>(bytes));
        fmt::print(stderr, ", {:%H:%M:%S} left", std::chrono::round<std::chrono::seconds>(left));
    }
    std::fflush(stderr);
}
