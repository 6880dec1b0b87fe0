// Results as fields with a separator between them, a row a line.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "tool/output/TextSink.h"

/// Writes a line with the names of the columns, and one for each row.
class SeparatedWriter : public TextSink {
public:
    SeparatedWriter(const OutputSettings& settings, std::FILE* out, char separator,
                    std::string null_field);

    void Begin(const std::vector<Column>& columns) override;
    void Take(Row row) override;

protected:
    /// Appends a field, told apart from NULL's and unable to end its line.
    virtual void AppendField(std::string_view text) = 0;

private:
    void AppendCell(const Cell& cell);

    char separator_;
    std::string null_field_;
    std::string hex_;
};

/// Comma-separated values (RFC 4180, lines end in \n): NULL is an empty field or the text set for
/// it, the empty text is "", and bytes are \x and hexadecimal digits.
class CsvWriter : public SeparatedWriter {
public:
    CsvWriter(const OutputSettings& settings, std::FILE* out);

protected:
    void AppendField(std::string_view text) override;

private:
    std::array<bool, 256> needs_quotes_{};  // by the byte
};

/// Tab-separated values with \t, \n, \r and \\ in their fields: NULL is \N or the text set for it,
/// bytes are \\x and hexadecimal digits.
class TsvWriter : public SeparatedWriter {
public:
    TsvWriter(const OutputSettings& settings, std::FILE* out);

protected:
    void AppendField(std::string_view text) override;
};
