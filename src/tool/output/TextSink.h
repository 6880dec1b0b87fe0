// What the sinks that write text to a stream have in common.
#pragma once

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "client/ResultSink.h"
#include "tool/output/format.h"

/// NULL as a person reads it.
inline constexpr char kNullText[] = "NULL";

/// How every format shows a value that could not be read.
inline constexpr char kUnreadableText[] = "<ERROR>";

/// Collects text and writes it to the stream.
class TextSink : public ResultSink {
public:
    TextSink(OutputSettings settings, std::FILE* out) : settings_(std::move(settings)), out_(out) {}

    void Begin(const std::vector<Column>& columns) override { columns_ = columns; }
    void End() override { std::fflush(out_); }

protected:
    const OutputSettings& Settings() const { return settings_; }
    const std::vector<Column>& Columns() const { return columns_; }

    /// What is to be written next.
    std::string& Text() { return text_; }

    void Write()
    {
        std::fwrite(text_.data(), 1, text_.size(), out_);
        text_.clear();
    }

private:
    OutputSettings settings_;
    std::FILE* out_;
    std::vector<Column> columns_;
    std::string text_;
};
