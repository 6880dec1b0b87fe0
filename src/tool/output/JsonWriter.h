// Results as JSON.
#pragma once

#include <string>
#include <vector>

#include "tool/output/TextSink.h"

/// Writes each row as an object on a line of its own, and for json each result as an array, one
/// after the other. A value of a numeric type is a number where its text is one in JSON; bytes are
/// base64; a byte that is no UTF-8 is U+FFFD. A name that an earlier column has gets _2, _3 and so
/// on.
class JsonWriter : public TextSink {
public:
    JsonWriter(const OutputSettings& settings, std::FILE* out);

    void Begin(const std::vector<Column>& columns) override;
    void Take(Row row) override;
    void End() override;

private:
    void AppendCell(const Cell& cell, const Column& column);

    bool has_arrays_;
    std::vector<std::string> keys_;  // with what stands before and behind them
    bool has_rows_ = false;
};
