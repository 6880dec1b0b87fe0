#include "client/Statement.h"

#include <utility>

#include "client/HostList.h"
#include "client/RowReader.h"
#include "client/UnicodeOption.h"
#include "client/odbc_numbers.h"

namespace {

Column ColumnOf(std::string_view description)
{
    const auto items = DecodeList(description);
    constexpr std::size_t kItems = 8;
    if (items.size() != kItems) {
        throw ListError("a column description of " + std::to_string(items.size()) + " items");
    }
    return {items[0].Text(), items[1].Integer(), items[2].Integer(), items[3].Integer()};
}

}  // namespace

Statement::Statement(const Session& session, Reporter& reporter, StatementTraits traits)
    : session_(session),
      reporter_(reporter),
      traits_(traits),
      handle_(session.Library().Call("AllocStatement", {session.Connection()}).Bytes()),
      execute_(session.Library(), "Execute", "bP"),
      set_parameter_(session.Library(), "SetParameter", "bjiP"),
      set_binary_(session.Library(), "SetParameterBinary", "bjiP")
{
    if (handle_.IsNull()) {
        throw SqlError("the driver supplies no statement for this connection",
                       session.Diagnostics());
    }
}

// From here on there is a statement to drop, whatever the outcome of preparing it.
Statement::Statement(const Session& session, const std::string& sql, Reporter& reporter)
    : Statement(session, reporter, TraitsOf(sql))
{
    Check("Prepare", Call("Prepare", {sql}).code);
}

Statement::~Statement()
{
    try {
        Call("DropStatement");
    } catch (...) {
        // The outcome already on its way matters more.
    }
}

Reply Statement::Call(const std::string& entry, const std::vector<Argument>& rest) const
{
    return session_.Library().CallOn(handle_.Bytes(), entry, rest);
}

Reply Statement::CheckedCall(const std::string& entry, const std::vector<Argument>& rest) const
{
    Reply reply = Call(entry, rest);
    session_.CheckFlags(entry, handle_.Bytes());
    return reply;
}

void Statement::Check(const std::string& entry, std::int32_t code) const
{
    session_.Check(entry, code, handle_.Bytes(), reporter_);
}

std::int32_t Statement::ExecuteCode()
{
    const std::int32_t code = execute_(handle_);
    return code == ORVEL_NEED_DATA ? SendFiles() : code;
}

void Statement::Execute()
{
    const std::int32_t code = ExecuteCode();
    if (code != ORVEL_NO_DATA) {  // a searched change that found no row
        Check("Execute", code);
    }
}

Outcome Statement::Run(ResultSink& sink)
{
    Outcome outcome;
    const bool may_have_more = traits_.may_have_more && session_.HasSeveralResults();
    std::int32_t code = ExecuteCode();
    if (code == ORVEL_NO_DATA) {  // a searched change that found no row
        reporter_.Changed(0);
        code = may_have_more ? Call("MoreResults").code : code;
    }
    for (const char* step = "Execute"; code != ORVEL_NO_DATA; step = "MoreResults") {
        Check(step, code);
        PassResult(sink, outcome);
        ++outcome.result_sets;
        code = may_have_more ? Call("MoreResults").code : ORVEL_NO_DATA;
    }
    return outcome;
}

void Statement::RunCatalog(const Session& session, const std::string& entry,
                           const std::vector<Argument>& inputs, ResultSink& sink,
                           Reporter& reporter)
{
    Statement statement(session, reporter, StatementTraits{});
    statement.Check(entry, statement.Call(entry, inputs).code);
    Outcome outcome;
    statement.PassResult(sink, outcome);
}

void Statement::PassResult(ResultSink& sink, Outcome& outcome)
{
    if (CheckedCall("NumResultCols").code > 0) {
        PassRows(sink, outcome);
        return;
    }
    const std::int32_t rows = CheckedCall("RowCount").code;
    if (rows > 0 || (rows == 0 && traits_.changes_rows)) {
        reporter_.Changed(rows);
    } else {
        reporter_.Done();
    }
}

void Statement::PassRows(ResultSink& sink, Outcome& outcome)
{
    const auto columns = Describe();
    RowReader rows(session_, handle_, columns, reporter_);
    sink.Begin(columns);
    const auto end = [&] {
        sink.End();
        reporter_.Returned(rows.Summary());
    };
    try {
        while (rows.Next()) {
            sink.Take(rows.Cells());
        }
    } catch (const SqlError&) {
        end();  // the rows before the error are not lost
        throw;
    }
    end();
    outcome.has_unreadable_values |= !rows.Summary().unreadable.empty();
    outcome.has_truncated_values |= !rows.Summary().truncated.empty();
}

// iODBC 3.52.9 truncates names outside ASCII of a driver with wide functions, unless it is asked
// for wide ones (tests/sources, Tool.NamesColumnsOutsideAscii).
std::vector<Column> Statement::Describe() const
{
    const UnicodeOption option(session_, !session_.DriverIsNarrow() || session_.Options().unicode);
    const Reply reply = CheckedCall("DescribeColumns");
    std::vector<Column> columns;
    const auto list = DecodeList(reply.List());
    for (std::size_t i = 1; i < list.size(); ++i) {  // after the header
        columns.push_back(ColumnOf(list[i].payload));
    }
    return columns;
}

bool Statement::Fetch()
{
    const std::int32_t code = Call("Fetch").code;
    if (code != ORVEL_NO_DATA) {
        Check("Fetch", code);
    }
    return code != ORVEL_NO_DATA;
}
