// Results as tables of markup languages.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tool/output/TextSink.h"

/// A table as GitHub's Markdown has it.
class MarkdownWriter : public TextSink {
public:
    using TextSink::TextSink;

    void Begin(const std::vector<Column>& columns) override;
    void Take(Row row) override;
    void End() override;
};

/// An HTML table, for a page around it.
class HtmlWriter : public TextSink {
public:
    using TextSink::TextSink;

    void Begin(const std::vector<Column>& columns) override;
    void Take(Row row) override;
    void End() override;
};
