#include "tool/output/JsonWriter.h"

#include <fmt/format.h>

#include <set>

#include "client/odbc_numbers.h"
#include "text/byte_text.h"
#include "text/json_text.h"

namespace {

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
        AppendJsonString(key, *used.insert(Unused(used, column.name)).first);
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
            AppendJsonString(json, kUnreadableText);
            break;
        case Cell::kBinary:
            json += '"';
            AppendBase64(json, cell.value);
            json += '"';
            break;
        default:
            if ((column.IsNumeric() || column.sql_type == kBitType) && IsJsonNumber(cell.value)) {
                json += cell.value;
            } else {
                AppendJsonString(json, cell.value);
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
