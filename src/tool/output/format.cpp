#include "tool/output/format.h"

#include <algorithm>

#include "tool/output/JsonWriter.h"
#include "tool/output/MarkupWriter.h"
#include "tool/output/SeparatedWriter.h"
#include "tool/output/TablePrinter.h"
#include "tool/output/VerticalPrinter.h"

std::optional<Format> FormatNamed(std::string_view name)
{
    const auto* const found = std::ranges::find(kFormats, name, &NamedFormat::name);
    return found != kFormats.end() ? std::optional(found->format) : std::nullopt;
}

std::string_view NameOf(Format format)
{
    return std::ranges::find(kFormats, format, &NamedFormat::format)->name;
}

std::unique_ptr<ResultSink> MakeSink(const OutputSettings& settings, std::FILE* out)
{
    switch (settings.format) {
        case Format::kVertical:
            return std::make_unique<VerticalPrinter>(settings, out);
        case Format::kCsv:
            return std::make_unique<CsvWriter>(settings, out);
        case Format::kTsv:
            return std::make_unique<TsvWriter>(settings, out);
        case Format::kJson:
        case Format::kJsonl:
            return std::make_unique<JsonWriter>(settings, out);
        case Format::kMarkdown:
            return std::make_unique<MarkdownWriter>(settings, out);
        case Format::kHtml:
            return std::make_unique<HtmlWriter>(settings, out);
        default:
            return std::make_unique<TablePrinter>(settings, out);
    }
}
