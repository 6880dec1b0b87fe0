// The lines that a person reads.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

/// Writes a report: a subject, a verdict in a word, and what was found; below it what belongs to
/// it, and what to do, all without passwords. Each line is out before the next is found.
class DoctorReport {
public:
    explicit DoctorReport(std::FILE* out) : out_(out) {}

    void Line(std::string_view subject, std::string_view verdict, std::string_view what) const;

    /// The same of a driver's diagnostics, one a line.
    void Line(std::string_view subject, std::string_view verdict,
              const std::vector<std::string>& diagnostics) const;

    /// More of what was found.
    void More(std::string_view what) const;

    /// What to do, of the line above.
    void Advise(std::string_view what) const;

    /// What to do, of a table above.
    void Note(std::string_view what) const;

    /// A line of its own.
    void Text(const std::string& line) const;

    /// Text with blanks behind it, to a width on the terminal.
    static std::string Padded(std::string_view text, std::size_t width);

private:
    std::FILE* out_;
};
