#include "tool/output/MarkupWriter.h"

#include "text/byte_text.h"
#include "text/utf8.h"

namespace {

constexpr std::string_view kMarkdownSigns = "\\`*_[]|~";
constexpr std::string_view kNoSigns;

// Text that no reader takes for markup: a sign gets a backslash.
std::string Marked(std::string_view text, std::string_view signs)
{
    if (FirstInvalidByte(text)) {
        return Marked(WithReplacements(text), signs);
    }
    std::string marked;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '&') {
            marked += "&amp;";
        } else if (c == '<') {
            marked += "&lt;";
        } else if (c == '>') {
            marked += "&gt;";
        } else if (c == '\n' || c == '\r') {
            marked += "<br>";
            i += text.substr(i, 2) == "\r\n" ? 1U : 0U;
        } else {
            marked.append(signs.find(c) != std::string_view::npos ? 1 : 0, '\\') += c;
        }
    }
    return marked;
}

std::string Marked(const Cell& cell, const OutputSettings& settings, std::string_view signs)
{
    std::string hex;
    switch (cell.kind) {
        case Cell::kNull:
            return Marked(settings.null_text.value_or(kNullText), signs);
        case Cell::kUnreadable:
            return Marked(kUnreadableText, signs);
        case Cell::kBinary:
            AppendHex(hex, cell.value);
            return Marked(hex, signs);
        default:
            return Marked(cell.value, signs);
    }
}

}  // namespace

void MarkdownWriter::Begin(const std::vector<Column>& columns)
{
    TextSink::Begin(columns);
    std::string rule = "|";
    Text() += '|';
    for (const Column& column : columns) {
        Text().append(" ").append(Marked(column.name, kMarkdownSigns)).append(" |");
        rule += column.IsNumeric() ? " ---: |" : " --- |";
    }
    Text() += "\n" + rule + "\n";
    if (Settings().tuples_only) {
        Text().clear();
    }
    Write();
}

void MarkdownWriter::Take(Row row)
{
    Text() += '|';
    for (const Cell& cell : row) {
        Text().append(" ").append(Marked(cell, Settings(), kMarkdownSigns)).append(" |");
    }
    Text() += '\n';
    Write();
}

// A table ends at a blank line.
void MarkdownWriter::End()
{
    Text() += '\n';
    Write();
    TextSink::End();
}

void HtmlWriter::Begin(const std::vector<Column>& columns)
{
    TextSink::Begin(columns);
    Text() += "<table>\n";
    if (!Settings().tuples_only) {
        Text() += "<tr>";
        for (const Column& column : columns) {
            Text().append("<th>").append(Marked(column.name, kNoSigns)).append("</th>");
        }
        Text() += "</tr>\n";
    }
    Write();
}

void HtmlWriter::Take(Row row)
{
    Text() += "<tr>";
    for (std::size_t i = 0; i < row.size(); ++i) {
        Text() += row[i].kind == Cell::kNull ? "<td class=\"null\">"
                  : Columns()[i].IsNumeric() ? "<td style=\"text-align: right\">"
                                             : "<td>";
        Text().append(Marked(row[i], Settings(), kNoSigns)).append("</td>");
    }
    Text() += "</tr>\n";
    Write();
}

void HtmlWriter::End()
{
    Text() += "</table>\n";
    Write();
    TextSink::End();
}
