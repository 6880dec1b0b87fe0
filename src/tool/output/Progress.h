// How far a long task has come.
#pragma once

#include <chrono>
#include <cstdint>

/// Says on a terminal, on a line that it writes again and again, how many rows are done, how fast,
/// and how long the rest will take. Elsewhere it says nothing.
class Progress {
public:
    /// size: of all that is to be read, in bytes; 0: unknown.
    explicit Progress(std::uint64_t size);
    /// Leaves the line empty.
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// bytes: read so far.
    void Show(std::uint64_t rows, std::uint64_t bytes)
    {
        constexpr std::uint64_t kStep = 256;  // a look at the clock is not for each row
        if (is_terminal_ && rows % kStep == 0) {
            ShowInTime(rows, bytes);
        }
    }

private:
    using Clock = std::chrono::steady_clock;

    void ShowInTime(std::uint64_t rows, std::uint64_t bytes);

    std::uint64_t size_;
    bool is_terminal_;
    Clock::time_point start_ = Clock::now();
    Clock::time_point shown_ = start_;
};
