#include "tool/commands/script.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <fstream>
#include <iostream>
#include <optional>
#include <system_error>
#include <utility>

#include "client/odbc_numbers.h"
#include "text/terminal_text.h"
#include "text/utf8.h"
#include "text/value_syntax.h"
#include "tool/failures.h"

namespace {

std::string ReadWhole(std::istream& in, const std::string& name)
{
    std::string text;
    std::array<char, 65'536> block{};
    errno = 0;
    while (in.read(block.data(), block.size()) || in.gcount() > 0) {
        text.append(block.data(), static_cast<std::size_t>(in.gcount()));
    }
    if (!in.eof()) {
        throw ScriptError(fmt::format("{}: {}", name, std::generic_category().message(errno)));
    }
    return text;
}

// A zero byte would end the statement that it is in.
void CheckText(const Script& script)
{
    const std::string& text = script.text;
    const auto at = std::min(FirstInvalidByte(text).value_or(std::string::npos), text.find('\0'));
    if (at == std::string::npos) {
        return;
    }
    const std::string_view before = std::string_view(text).substr(0, at);
    const auto line_begin = before.rfind('\n') + 1;  // or 0
    const auto is_first_byte = [](char c) { return (static_cast<unsigned char>(c) >> 6) != 2; };
    throw ScriptError(fmt::format(
        "{}: line {}, column {}: {}", script.name, std::ranges::count(before, '\n') + 1,
        std::ranges::count_if(before.substr(line_begin), is_first_byte) + 1,
        text[at] == '\0'
            ? "a zero byte"
            : fmt::format("\\x{:02X} is not UTF-8", static_cast<unsigned char>(text[at]))));
}

// As it is, but for characters that would do something to a terminal.
std::string Echoed(std::string_view sql)
{
    std::string echoed;
    while (!sql.empty()) {
        const auto end = std::min(sql.find_first_of("\n\t\r"), sql.size());
        echoed += Printable(sql.substr(0, end));
        echoed += sql.substr(end, 1);
        sql.remove_prefix(std::min(end + 1, sql.size()));
    }
    return echoed;
}

/// How long the steps of a statement took.
class Stopwatch {
public:
    void Prepared() { prepared_ = Clock::now(); }
    /// The first result is there, or the first one after others.
    void Executed() { executed_ = executed_ ? executed_ : Clock::now(); }

    std::string Text() const
    {
        const auto end = Clock::now();
        const auto executed = executed_.value_or(end);
        return fmt::format("(prepare {:.3f} ms, execute {:.3f} ms, fetch {:.3f} ms)",
                           Milliseconds(prepared_ - start_), Milliseconds(executed - prepared_),
                           Milliseconds(end - executed));
    }

private:
    using Clock = std::chrono::steady_clock;

    static double Milliseconds(Clock::duration time)
    {
        return std::chrono::duration<double, std::milli>(time).count();
    }

    Clock::time_point start_ = Clock::now();
    Clock::time_point prepared_ = start_;
    std::optional<Clock::time_point> executed_;
};

/// Passes results on, and notes when the first one begins.
class TimedSink : public ResultSink {
public:
    TimedSink(ResultSink& inner, Stopwatch& watch) : inner_(inner), watch_(watch) {}

    void Begin(const std::vector<Column>& columns) override
    {
        watch_.Executed();
        inner_.Begin(columns);
    }
    void Take(Row row) override { inner_.Take(row); }
    void End() override { inner_.End(); }

private:
    ResultSink& inner_;
    Stopwatch& watch_;
};

/// A script on its way.
class ScriptRun {
public:
    ScriptRun(ScriptContext& context, const Script& script)
        : context_(context), name_(script.name), splitter_(context.dialect)
    {
        splitter_.Feed(script.text);
    }

    /// Runs the next statement or command; nothing where none is left.
    std::optional<ExitCode> Step()
    {
        std::size_t line = 0;
        try {
            auto piece = splitter_.Next();
            piece = piece ? piece : splitter_.Finish();
            if (!piece) {
                return std::nullopt;
            }
            line = piece->line;
            if (piece->kind == StatementSplitter::Piece::kStatement) {
                return RunSql(context_, piece->text);
            }
            context_.on_command(*piece, splitter_);
            return kDone;
        } catch (SqlError& error) {
            error.place = error.place.empty() ? Place(line) : error.place;
            throw;
        } catch (const SplitError& error) {
            throw Failure(error, error.line);
        } catch (const UsageError& error) {
            throw Failure(error, line);
        }
    }

private:
    std::string Place(std::size_t line) const { return fmt::format("{}: line {}", name_, line); }

    SqlError Failure(const std::runtime_error& error, std::size_t line) const
    {
        SqlError failure(error.what());
        failure.place = Place(line);
        return failure;
    }

    ScriptContext& context_;
    const std::string& name_;
    StatementSplitter splitter_;
};

}  // namespace

SqlDialect DialectOf(const Session& session)
{
    try {
        return SqlDialect(session.Information(kIdentifierQuote));
    } catch (const SqlError&) {
        return {};
    }
}

Script ReadScript(const std::string& file)
{
    Script script;
    if (file == "-") {
        script.name = "standard input";
        script.text = ReadWhole(std::cin, script.name);
    } else {
        script.name = file;
        std::ifstream in(file, std::ios::binary);
        if (!in) {
            throw ScriptError(fmt::format("{}: {}", file, std::generic_category().message(errno)));
        }
        script.text = ReadWhole(in, file);
    }
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (script.text.starts_with(kByteOrderMark)) {
        script.text.erase(0, kByteOrderMark.size());
    }
    CheckText(script);
    return script;
}

ExitCode RunSql(ScriptContext& context, std::string_view sql)
{
    const std::string text = WithVariables(sql, context.variables, context.dialect);
    if (!HasStatement(text, context.dialect) && context.values.empty()) {
        return kDone;
    }
    if (context.session == nullptr) {
        throw UsageError("there is no connection; \\connect makes one, \\l lists data sources");
    }
    context.last_sql = sql;
    const auto values = std::exchange(context.values, {});
    if (context.echoes) {
        context.messages->Say(Echoed(text));
    }
    Stopwatch watch;
    Statement statement(*context.session, text, *context.messages);
    statement.Bind(values);
    watch.Prepared();
    TimedSink sink(*context.sink, watch);
    const Outcome outcome = statement.Run(sink);
    if (context.shows_times) {
        context.messages->Say(watch.Text());
    }
    return outcome.has_unreadable_values ? kSqlFailed : kDone;
}

ExitCode Attempt(ScriptContext& context, const std::function<ExitCode()>& step)
{
    try {
        return step();
    } catch (const SqlError& error) {
        context.last_error = error;
        if (!context.keeps_going) {
            throw;
        }
        Report(error);
        return kSqlFailed;
    }
}

ExitCode RunScript(ScriptContext& context, const Script& script)
{
    ScriptRun run(context, script);
    ExitCode exit_code = kDone;
    for (bool has_more = true; has_more;) {
        const ExitCode code = Attempt(context, [&] {
            const auto ran = run.Step();
            has_more = ran.has_value();
            return ran.value_or(kDone);
        });
        exit_code = std::max(exit_code, code);
    }
    return exit_code;
}
