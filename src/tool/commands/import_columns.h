// The columns of a table that is imported into.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "client/Session.h"
#include "client/Statement.h"

/// The columns of a table. Throws SqlError.
std::vector<Column> ColumnsOf(const Session& session, const std::string& table, Reporter& reporter);

/// The table's column of a name: the one that is the same, or else the same but for case. Throws
/// SqlError, which suggests what may have been meant.
const Column& ColumnNamed(const std::vector<Column>& columns, std::string_view name,
                          const std::string& table);

/// How a column's values are bound. A date goes as text: what its described type lacks, such as an
/// offset from UTC, would be lost.
ParameterShape ShapeOf(const Column& column, const SourceTraits& source);
