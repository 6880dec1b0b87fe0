#include "tool/commands/catalog_records.h"

#include <utility>

#include "client/Statement.h"

namespace {

/// Ends a result before its last row.
struct EnoughRows {};

/// Collects the rows of a result for as long as it may.
class RecordCollector : public ResultSink {
public:
    RecordCollector(Records& records, const std::function<bool()>& may_go_on)
        : records_(records), may_go_on_(may_go_on)
    {}

    void Begin(const std::vector<Column>& /*columns*/) override {}
    void Take(Row row) override
    {
        if (may_go_on_ && !may_go_on_()) {
            throw EnoughRows();
        }
        records_.emplace_back(row);
    }
    void End() override {}

private:
    Records& records_;
    const std::function<bool()>& may_go_on_;
};

}  // namespace

Records RecordsOf(const Session& session, const std::string& entry,
                  const std::vector<Argument>& inputs, Reporter& reporter,
                  const std::function<bool()>& may_go_on)
{
    // Only the driver's warnings are reported: the rows are no result of their own.
    class Warnings : public NoReporter {
    public:
        explicit Warnings(Reporter& reporter) : reporter_(reporter) {}
        void Warned(const std::vector<std::string>& lines) override { reporter_.Warned(lines); }

    private:
        Reporter& reporter_;
    };
    Records records;
    RecordCollector collector(records, may_go_on);
    Warnings warnings(reporter);
    try {
        Statement::RunCatalog(session, entry, inputs, collector, warnings);
    } catch (const EnoughRows&) {
        // The rows so far are the answer.
    }
    return records;
}

Records Matching(const Session& session, const std::string& entry, const NamePattern& pattern,
                 const std::vector<Argument>& rest, Reporter& reporter)
{
    const std::string name = pattern.IsEmpty() ? "%" : pattern.ForDriver(session);
    Records found;
    const auto add_matching = [&](const std::string& catalog, const std::string& schema) {
        std::vector<Argument> inputs{catalog, schema, name};
        inputs.insert(inputs.end(), rest.begin(), rest.end());
        for (Record& record : RecordsOf(session, entry, inputs, reporter)) {
            if (pattern.Matches(record.At(kTable)) &&
                pattern.MatchesQualifier(record.At(kCatalog), record.At(kSchema))) {
                found.push_back(std::move(record));
            }
        }
    };
    if (!pattern.Catalog().empty()) {
        try {
            add_matching("", pattern.SchemaForDriver(session));
        } catch (const SqlError&) {
            // MariaDB's driver 3.1.15 refuses a schema: its sources have only catalogs.
        }
        if (found.empty()) {
            add_matching(pattern.Catalog(), "");
        }
    }
    if (found.empty()) {  // MariaDB's driver finds no procedure if a catalog is named
        add_matching("", "");
    }
    return found;
}

Records Relations(const Session& session, const NamePattern& pattern, const char* types,
                  Reporter& reporter)
{
    return Matching(session, "Tables", pattern, {types}, reporter);
}

std::string Qualifier(const Record& record)
{
    return record.At(kSchema).empty() ? record.At(kCatalog) : record.At(kSchema);
}

std::vector<Argument> Named(const Record& table)
{
    return {table.At(kCatalog), table.At(kSchema), table.At(kTable)};
}
