// The formats of results.
#pragma once

#include <array>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "client/ResultSink.h"

enum class Format { kTable, kVertical, kCsv, kTsv, kJson, kJsonl, kMarkdown, kHtml };

struct NamedFormat {
    std::string_view name;
    Format format;
};

inline constexpr std::array<NamedFormat, 8> kFormats{{{"table", Format::kTable},
                                                      {"vertical", Format::kVertical},
                                                      {"csv", Format::kCsv},
                                                      {"tsv", Format::kTsv},
                                                      {"json", Format::kJson},
                                                      {"jsonl", Format::kJsonl},
                                                      {"markdown", Format::kMarkdown},
                                                      {"html", Format::kHtml}}};

/// Nothing where no format has that name.
std::optional<Format> FormatNamed(std::string_view name);

std::string_view NameOf(Format format);

/// How results look.
struct OutputSettings {
    Format format = Format::kTable;
    std::optional<std::string> null_text =
        {};                    // nothing: as the format has it; JSON always has null
    bool tuples_only = false;  // rows alone, without the names of columns
    char delimiter = ',';      // of csv
};

/// A sink that writes results to a stream as the rows come, several one after the other.
std::unique_ptr<ResultSink> MakeSink(const OutputSettings& settings, std::FILE* out);
