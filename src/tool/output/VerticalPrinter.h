// Results as a line for each value.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tool/output/TextSink.h"

/// Prints each row as lines, the column's name before the value.
class VerticalPrinter : public TextSink {
public:
    VerticalPrinter(const OutputSettings& settings, std::FILE* out);

    void Begin(const std::vector<Column>& columns) override;
    void Take(Row row) override;

private:
    std::string null_text_;
    std::vector<std::string> titles_;  // of one width
    std::uint64_t rows_ = 0;
};
