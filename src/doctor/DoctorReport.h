// The doctor's report as text.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

/// Writes a report: a subject, a verdict in a word, and what was found; below it more of that, and
/// what to do. Passwords are masked. Each line is written before the next is found.
class DoctorReport {
public:
    explicit DoctorReport(std::FILE* out) : out_(out) {}

    void Line(std::string_view subject, std::string_view verdict, std::string_view what) const;

    /// A driver's diagnostics, one a line, below the subject and the verdict.
    void Line(std::string_view subject, std::string_view verdict,
              const std::vector<std::string>& diagnostics) const;

    /// More of what was found.
    void More(std::string_view what) const;

    /// What to do about the line above.
    void Advise(std::string_view what) const;

    /// What to do about the table above.
    void AdviseOnTable(std::string_view what) const;

    /// A line of its own.
    void Text(const std::string& line) const;

    /// Text with blanks after it, to a width on the terminal.
    static std::string Padded(std::string_view text, std::size_t width);

private:
    std::FILE* out_;
};
