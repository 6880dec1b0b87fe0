#include "tool/output/SeparatedWriter.h"

#include <algorithm>
#include <utility>

#include "text/byte_text.h"

SeparatedWriter::SeparatedWriter(const OutputSettings& settings, std::FILE* out, char separator,
                                 std::string null_field)
    : TextSink(settings, out), separator_(separator), null_field_(std::move(null_field))
{}

void SeparatedWriter::Begin(const std::vector<Column>& columns)
{
    TextSink::Begin(columns);
    if (Settings().tuples_only) {
        return;
    }
    for (const Column& column : columns) {
        AppendField(column.name);
        Text() += separator_;
    }
    Text().back() = '\n';
    Write();
}

void SeparatedWriter::Take(Row row)
{
    for (const Cell& cell : row) {
        AppendCell(cell);
        Text() += separator_;
    }
    Text().back() = '\n';
    Write();
}

void SeparatedWriter::AppendCell(const Cell& cell)
{
    switch (cell.kind) {
        case Cell::kNull:
            Text() += null_field_;
            break;
        case Cell::kUnreadable:
            AppendField(kUnreadableText);
            break;
        case Cell::kBinary:
            hex_.clear();
            AppendHex(hex_, cell.value);
            AppendField(hex_);
            break;
        default:
            AppendField(cell.value);
            break;
    }
}

CsvWriter::CsvWriter(const OutputSettings& settings, std::FILE* out)
    : SeparatedWriter(settings, out, settings.delimiter, settings.null_text.value_or(""))
{
    for (const char c : {settings.delimiter, '"', '\r', '\n'}) {
        needs_quotes_[static_cast<unsigned char>(c)] = true;
    }
}

void CsvWriter::AppendField(std::string_view text)
{
    const bool is_plain =
        !text.empty() && text != Settings().null_text && std::ranges::none_of(text, [&](char c) {
            return needs_quotes_[static_cast<unsigned char>(c)];
        });
    if (is_plain) {
        Text() += text;
        return;
    }
    Text() += '"';
    for (const char c : text) {
        Text().append(c == '"' ? 2 : 1, c);
    }
    Text() += '"';
}

TsvWriter::TsvWriter(const OutputSettings& settings, std::FILE* out)
    : SeparatedWriter(settings, out, '\t', settings.null_text.value_or("\\N"))
{}

void TsvWriter::AppendField(std::string_view text)
{
    for (const char c : text) {
        switch (c) {
            case '\\':
                Text() += "\\\\";
                break;
            case '\t':
                Text() += "\\t";
                break;
            case '\n':
                Text() += "\\n";
                break;
            case '\r':
                Text() += "\\r";
                break;
            default:
                Text() += c;
                break;
        }
    }
}
