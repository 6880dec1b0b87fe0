// Rows of the catalog entries.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "client/ResultSink.h"
#include "client/Session.h"
#include "tool/commands/NamePattern.h"

/// The columns of the results of ODBC's catalog functions that are read here, counted from 0.
enum Place : std::size_t {
    kCatalog = 0,
    kSchema = 1,
    kTable = 2,
    kTableType = 3,
    kTableRemarks = 4,
    kColumn = 3,
    kTypeName = 5,
    kColumnSize = 6,
    kDigits = 8,
    kNullable = 10,
    kDefault = 12,
    kKeyColumn = 3,
    kNonUnique = 3,
    kIndex = 5,
    kIndexType = 6,
    kIndexColumn = 8,
    kPrimaryTable = 2,
    kPrimaryColumn = 3,
    kForeignTable = 6,
    kForeignColumn = 7,
    kKeySequence = 8,
    kForeignName = 11,
    kProcedureRemarks = 6,
    kProcedureType = 7,
    kParameterKind = 4,
    kParameterType = 6,
    kGrantee = 4,
    kPrivilege = 5,
    kSpecialColumn = 1
};

/// An empty name. "" means that none is given.
inline const std::string kEmptyName(1, '\0');

inline constexpr char kTablesAndViews[] = "TABLE,VIEW";

/// A row as text. A NULL, or a column that the row does not have, is empty.
class Record {
public:
    explicit Record(Row row)
    {
        for (const Cell& cell : row) {
            cells_.emplace_back(cell.value);
        }
    }

    std::string At(std::size_t place) const
    {
        return place < cells_.size() ? cells_[place] : std::string();
    }

private:
    std::vector<std::string> cells_;
};

using Records = std::vector<Record>;

/// Calls a catalog entry and returns its rows. Warnings go to the reporter. may_go_on, if given, is
/// asked before each row; the rows end when it returns false. Throws SqlError.
Records RecordsOf(const Session& session, const std::string& entry,
                  const std::vector<Argument>& inputs, Reporter& reporter,
                  const std::function<bool()>& may_go_on = {});

/// The rows of an entry whose inputs begin with catalog, schema and name, as far as they match. The
/// qualifier of the pattern is a schema, or a catalog if that finds nothing. Throws SqlError.
Records Matching(const Session& session, const std::string& entry, const NamePattern& pattern,
                 const std::vector<Argument>& rest, Reporter& reporter);

/// The tables and views that match. types: as "Tables" takes them. Throws SqlError.
Records Relations(const Session& session, const NamePattern& pattern, const char* types,
                  Reporter& reporter);

/// The schema of a row, or its catalog if it has no schema.
std::string Qualifier(const Record& record);

/// A table's catalog, schema and name, as an entry takes them.
std::vector<Argument> Named(const Record& table);
