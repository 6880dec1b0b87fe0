// Readable results: a table as it grows, a page, a chart.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "Case.h"
#include "Measurement.h"
#include "encoding.h"
#include "rivals.h"

/// A line of the table: case, text mode, bare calls, gateway, ratio, number of pairs, goal, and
/// whether that is reached.
using Line = std::array<std::string, 8>;

/// A line of a case; goals are for SQLite.
Line LineOf(const Case& of, const Measurement& measured, bool has_goal);

/// A line of one figure.
Line LineOf(const std::string& what, double figure, const std::string& unit, double limit);

/// A line of a rival, in the columns of the gateway's lines.
Line LineOf(const Rival& rival);

/// Lines of one source, under its name.
struct Section {
    std::string title;
    std::vector<Line> lines;
};

/// A bar of the chart: a ratio, and the goal if one is set (0: none).
struct Bar {
    std::string group;
    std::string label;
    Quartiles ratio;
    double goal;
};

struct Report {
    std::vector<std::pair<std::string, std::string>> circumstances;
    std::vector<Section> sections;
    std::vector<EncodingFigure> encoding;
    std::vector<Rival> rivals;
    std::vector<Bar> bars;
};

/// The titles of a table's columns.
Line Titles();

/// Prints a line of the table on stdout, at once.
void Print(const Line& line);

/// A table of the encoding's figures for the page.
std::string EncodingTable(const std::vector<EncodingFigure>& figures);

/// The page; the chart is in a file of that name next to it.
std::string Page(const Report& report, const std::string& chart);

/// The chart of the report's bars, as SVG.
std::string Chart(const Report& report);
