#include "tool/output/JsonWriter.h"

#include <fmt/format.h>

#include <set>

#include "client/odbc_numbers.h"
#include "text/byte_text.h"
#include "text/utf8.h"

namespace {

bool IsPlain(char c)
{
    return static_cast<unsigned char>(c) >= ' ' && c != '"' && c != '\\';
}

void AppendString(std::string& json, std::string_view text)
{
    if (FirstInvalidByte(text)) {
        AppendString(json, WithReplacements(text));
        return;
    }
    json += '"';
    for (const char c : text) {
        if (IsPlain(c)) {
            json += c;
        } else if (c == '"' || c == '\\') {
            (json += '\\') += c;
        } else if (c == '\n') {
            json += "\\n";
        } else {
            fmt::format_to(std::back_inserter(json), "\\u{:04x}", static_cast<unsigned char>(c));
        }
    }
    json += '"';
}

std::size_t DigitCount(std::string_view text)
{
    return std::min(text.find_first_not_of("0123456789"), text.size());
}

// As the grammar of JSON has it: 0 alone or before a point, digits behind a point.
bool IsNumber(std::string_view text)
{
    text.remove_prefix(text.starts_with('-') ? 1 : 0);
    const std::size_t whole = DigitCount(text);
    if (whole == 0 || (whole > 1 && text[0] == '0')) {
        return false;
    }
    text.remove_prefix(whole);
    if (text.starts_with('.')) {
        const std::size_t fraction = DigitCount(text.substr(1));
        if (fraction == 0) {
            return false;
        }
        text.remove_prefix(1 + fraction);
    }
    if (text.starts_with('e') || text.starts_with('E')) {
        text.remove_prefix(1);
        text.remove_prefix(text.starts_with('-') || text.starts_with('+') ? 1 : 0);
        return !text.empty() && DigitCount(text) == text.size();
    }
    return text.empty();
}

std::string Unused(const std::set<std::string>& used, const std::string& name)
{
    std::string unused = name;
    for (int number = 2; used.contains(unused); ++number) {
        unused = fmt::format("{}_{}", name, number);
    }
    return unused;
}

}  // namespace

JsonWriter::JsonWriter(const OutputSettings& settings, std::FILE* out)
    : TextSink(settings, out), has_arrays_(settings.format == Format::kJson)
{}

void JsonWriter::Begin(const std::vector<Column>& columns)
{
    TextSink::Begin(columns);
    has_rows_ = false;
    keys_.clear();
    std::set<std::string> used;
    for (const Column& column : columns) {
        std::string& key = keys_.emplace_back(keys_.empty() ? "{" : ",");
        AppendString(key, *used.insert(Unused(used, column.name)).first);
        key += ':';
    }
    Text() += has_arrays_ ? "[" : "";
}

void JsonWriter::Take(Row row)
{
    if (has_arrays_) {
        Text() += has_rows_ ? ",\n" : "\n";
    }
    has_rows_ = true;
    for (std::size_t i = 0; i < row.size(); ++i) {
        Text() += keys_[i];
        AppendCell(row[i], Columns()[i]);
    }
    Text() += has_arrays_ ? "}" : "}\n";
    Write();
}

void JsonWriter::AppendCell(const Cell& cell, const Column& column)
{
    std::string& json = Text();
    switch (cell.kind) {
        case Cell::kNull:
            json += "null";
            break;
        case Cell::kUnreadable:
            AppendString(json, kUnreadableText);
            break;
        case Cell::kBinary:
            json += '"';
            AppendBase64(json, cell.value);
            json += '"';
            break;
        default:
            if ((column.IsNumeric() || column.sql_type == kBitType) && IsNumber(cell.value)) {
                json += cell.value;
            } else {
                AppendString(json, cell.value);
            }
            break;
    }
}

void JsonWriter::End()
{
    if (has_arrays_) {
        Text() += has_rows_ ? "\n]\n" : "]\n";
        Write();
    }
    TextSink::End();
}
