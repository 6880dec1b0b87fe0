#include "shims/Statement.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>

#include "shims/forward.h"

namespace {

constexpr SQLLEN kWidth = sizeof(wchar_t);

constexpr char kParameter[] = "parameter";
constexpr char kColumn[] = "column";
constexpr Diagnosis kCutText{"01004", "the text was cut"};
constexpr Diagnosis kNeedsIndicator{"22002", "a NULL came, and there is no indicator for it"};

Diagnosis InvalidText(int parameter)
{
    return {"22018", "the text has half a pair of UTF-16, or what is no character", kParameter,
            parameter};
}

Diagnosis InvalidLength(int parameter)
{
    return {"HY090", "its length is not that of 4-byte characters", kParameter, parameter};
}

/// A driver without wide functions doesn't know wide types either.
SQLSMALLINT TypeForDriver(SQLSMALLINT sql_type)
{
    static const bool knows_wide_types = RealDriver::Instance().Find("SQLConnectW") != nullptr;
    if (knows_wide_types) {
        return sql_type;
    }
    switch (sql_type) {
        case SQL_WCHAR:
            return SQL_CHAR;
        case SQL_WVARCHAR:
            return SQL_VARCHAR;
        case SQL_WLONGVARCHAR:
            return SQL_LONGVARCHAR;
        default:
            return sql_type;
    }
}

}  // namespace

SQLRETURN Statement::BindParameter(SQLUSMALLINT number, const ParameterShape& shape,
                                   const Buffers& caller)
{
    Parameter parameter{shape, BoundText(caller), {}};
    const SQLLEN output = parameter.IsOutput() ? std::max<SQLLEN>(caller.size, 0) : 0;
    parameter.text.MakeRoom(static_cast<std::size_t>(output), sets_);
    parameter.text.SetIndicator(0, 0);
    const SQLRETURN code = Bind(number, parameter);
    if (SQL_SUCCEEDED(code)) {
        used_end_ = parameters_.end();
        parameters_.insert_or_assign(number, std::move(parameter));
    }
    return code;
}

SQLRETURN Statement::BindColumn(SQLUSMALLINT number, const Buffers& caller)
{
    Column column{BoundText(caller), {}};
    column.text.MakeRoom(static_cast<std::size_t>(std::max<SQLLEN>(caller.size, 0)), rows_);
    const SQLRETURN code = Bind(number, column);
    if (SQL_SUCCEEDED(code)) {
        columns_.insert_or_assign(number, std::move(column));
    }
    return code;
}

// Buffers are bound again only if they have moved.
SQLRETURN Statement::Bind(SQLUSMALLINT number, Parameter& parameter)
{
    const Buffers buffers = parameter.text.ForDriver();
    if (buffers == parameter.bound) {
        return SQL_SUCCESS;
    }
    const ParameterShape& shape = parameter.shape;
    const SQLRETURN code = DRIVERS(SQLBindParameter)(
        handle_, number, shape.io_type, SQL_C_CHAR, TypeForDriver(shape.sql_type), shape.size,
        shape.digits, buffers.text, buffers.size, buffers.indicator);
    parameter.bound = SQL_SUCCEEDED(code) ? buffers : Buffers{};
    return code;
}

SQLRETURN Statement::Bind(SQLUSMALLINT number, Column& column)
{
    const Buffers buffers = column.text.ForDriver();
    if (buffers == column.bound) {
        return SQL_SUCCESS;
    }
    const SQLRETURN code = DRIVERS(SQLBindCol)(handle_, number, SQL_C_CHAR, buffers.text,
                                               buffers.size, buffers.indicator);
    column.bound = SQL_SUCCEEDED(code) ? buffers : Buffers{};
    return code;
}

void Statement::Free(SQLUSMALLINT option)
{
    if (option == SQL_UNBIND) {
        columns_.clear();
    } else if (option == SQL_RESET_PARAMS) {
        StopCollecting();
        parameters_.clear();
        used_end_ = parameters_.end();
    } else {
        held_.Forget();
    }
}

void Statement::NoteAttribute(SQLINTEGER attribute, SQLPOINTER value)
{
    const auto number = reinterpret_cast<SQLULEN>(value);
    switch (attribute) {
        case SQL_ATTR_PARAMSET_SIZE:
            sets_.rows = std::max<SQLULEN>(number, 1);
            break;
        case SQL_ATTR_PARAM_BIND_TYPE:
            sets_.row_bytes = number;
            break;
        case SQL_ATTR_PARAM_BIND_OFFSET_PTR:
            sets_.offset = static_cast<const SQLLEN*>(value);
            break;
        case SQL_ATTR_PARAM_OPERATION_PTR:
            sets_.use = static_cast<const SQLUSMALLINT*>(value);
            break;
        case SQL_ATTR_ROW_ARRAY_SIZE:
            rows_.rows = std::max<SQLULEN>(number, 1);
            break;
        case SQL_ROWSET_SIZE:
            extended_rows_ = std::max<SQLULEN>(number, 1);
            break;
        case SQL_ATTR_ROW_BIND_TYPE:
            rows_.row_bytes = number;
            break;
        case SQL_ATTR_ROW_BIND_OFFSET_PTR:
            rows_.offset = static_cast<const SQLLEN*>(value);
            break;
        default:
            break;
    }
}

void Statement::ForgetParameter(SQLUSMALLINT number)
{
    used_end_ = parameters_.end();
    parameters_.erase(number);
}

SQLRETURN Statement::ExecutePrepared()
{
    SQLSMALLINT markers = 0;
    const bool are_known =
        !parameters_.empty() && SQL_SUCCEEDED(DRIVERS(SQLNumParams)(handle_, &markers));
    return Execute(
        are_known ? static_cast<std::size_t>(std::max<SQLSMALLINT>(markers, 0)) : SIZE_MAX,
        DRIVERS(SQLExecute));
}

SQLRETURN Statement::Execute(std::size_t markers, Run run)
{
    constexpr std::size_t kMaxMarkers = std::numeric_limits<SQLUSMALLINT>::max();
    held_.Forget();
    StopCollecting();
    used_end_ = parameters_.upper_bound(static_cast<SQLUSMALLINT>(std::min(markers, kMaxMarkers)));
    for (auto at = parameters_.begin(); at != used_end_; ++at) {
        auto& [number, parameter] = *at;
        if (!Convert(number, parameter)) {
            return SQL_ERROR;
        }
        is_collecting_ = is_collecting_ || parameter.is_awaited;
    }
    if (is_collecting_) {
        awaited_run_ = std::move(run);
        return SQL_NEED_DATA;
    }
    return RunWithParameters(run);
}

SQLRETURN Statement::RunWithParameters(const Run& run)
{
    for (auto at = parameters_.begin(); at != used_end_; ++at) {
        auto& [number, parameter] = *at;
        const SQLRETURN code = Bind(number, parameter);
        if (!SQL_SUCCEEDED(code)) {
            return code;
        }
    }
    return DeliverParameters(run(handle_));
}

// Converts the text of every row for the driver, into buffers that all of them fit into.
bool Statement::Convert(SQLUSMALLINT number, Parameter& parameter)
{
    BoundText& text = parameter.text;
    const SQLLEN output = parameter.IsOutput() ? std::max<SQLLEN>(text.Caller().size, 0) : 0;
    auto room = static_cast<std::size_t>(output);
    for (SQLULEN row = 0; parameter.IsInput() && row < sets_.rows; ++row) {
        if (sets_.IsUsed(row)) {
            room = std::max(room, kLongestUtf8 * text.At(row, sets_).text.Size() + 1);
        }
    }
    text.MakeRoom(room, sets_);
    parameter.is_awaited = false;
    for (SQLULEN row = 0; row < sets_.rows; ++row) {
        text.SetIndicator(row, SQL_NULL_DATA);  // for unused rows, and until output arrives
        if (parameter.IsInput() && sets_.IsUsed(row) && !ConvertRow(number, parameter, row)) {
            return false;
        }
    }
    return true;
}

bool Statement::ConvertRow(SQLUSMALLINT number, Parameter& parameter, SQLULEN row)
{
    BoundText& text = parameter.text;
    const auto source = text.At(row, sets_);
    text.SetIndicator(row, source.indicator);
    if (source.kind == BoundText::Source::kAwaited && sets_.rows > 1) {
        diagnosis = {"HYC00", "data at execution, of wide text, comes for one row only", kParameter,
                     number};
        return false;
    }
    if (source.kind == BoundText::Source::kMalformed) {
        diagnosis = InvalidLength(number);
        return false;
    }
    if (source.kind == BoundText::Source::kAwaited) {
        parameter.is_awaited = true;
        text.ClearPieces();
    }
    if (source.kind != BoundText::Source::kText) {
        return true;
    }
    const auto size = ::Narrow(source.text, text.Text(row).data());
    if (!size) {
        diagnosis = InvalidText(number);
        return false;
    }
    text.Text(row)[*size] = '\0';
    text.SetIndicator(row, static_cast<SQLLEN>(*size));
    return true;
}

// Ends the pieces of one parameter and begins those of the next; after the last one the statement
// runs.
SQLRETURN Statement::NextAwaited(SQLPOINTER* token)
{
    if (collected_ != nullptr && collected_->text.EndsInHalf()) {
        const int number = collected_number_;
        StopCollecting();
        return Fail(InvalidText(number));
    }
    const auto next = std::find_if(parameters_.upper_bound(collected_number_), used_end_,
                                   [](const auto& entry) { return entry.second.is_awaited; });
    if (next != used_end_) {
        collected_number_ = next->first;
        collected_ = &next->second;
        if (token != nullptr) {
            *token = collected_->text.Caller().text;
        }
        return SQL_NEED_DATA;
    }
    const Run run = std::exchange(awaited_run_, nullptr);
    StopCollecting();
    const SQLRETURN code = RunWithParameters(run);
    return code == SQL_NEED_DATA ? DRIVERS(SQLParamData)(handle_, token) : code;
}

SQLRETURN Statement::TakePiece(SQLPOINTER data, SQLLEN size)
{
    if (collected_ == nullptr) {
        return Fail({"HY010", "SQLParamData tells first which parameter the data is for"});
    }
    BoundText& text = collected_->text;
    if (size == SQL_NULL_DATA || size == SQL_DEFAULT_PARAM) {
        text.SetIndicator(0, size);
        return SQL_SUCCESS;
    }
    const int number = collected_number_;
    if (data == nullptr || (size < 0 && size != SQL_NTS) || (size > 0 && size % kWidth != 0)) {
        StopCollecting();
        return Fail(InvalidLength(number));
    }
    if (!text.Append(size == SQL_NTS ? WideView::Terminated(data)
                                     : WideView(data, static_cast<std::size_t>(size / kWidth)))) {
        StopCollecting();
        return Fail(InvalidText(number));
    }
    return SQL_SUCCESS;
}

void Statement::StopCollecting()
{
    is_collecting_ = false;
    collected_ = nullptr;
    collected_number_ = 0;
    awaited_run_ = nullptr;
}

SQLRETURN Statement::DeliverParameters(SQLRETURN code)
{
    if (!SQL_SUCCEEDED(code) && code != SQL_NO_DATA) {
        return code;
    }
    for (auto at = parameters_.begin(); at != used_end_; ++at) {
        auto& [number, parameter] = *at;
        for (SQLULEN row = 0; parameter.IsOutput() && row < sets_.rows; ++row) {
            const auto outcome = parameter.text.Deliver(row, sets_, form_);
            if (outcome == BoundText::Outcome::kCut) {
                code = Note(outcome, kParameter, number, code);
            }
        }
    }
    return code;
}

SQLRETURN Statement::Fetch(SQLULEN rows, const Run& fetch)
{
    held_.Forget();
    if (columns_.empty()) {
        return fetch(handle_);
    }
    RowLayout layout = rows_;
    layout.rows = rows;
    for (auto& [number, column] : columns_) {
        const SQLLEN size = std::max<SQLLEN>(column.text.Caller().size, 0);
        column.text.MakeRoom(static_cast<std::size_t>(size), layout);
        for (SQLULEN row = 0; row < rows; ++row) {
            column.text.SetUntouched(row);
        }
        if (const SQLRETURN code = Bind(number, column); !SQL_SUCCEEDED(code)) {
            return code;
        }
    }
    SQLRETURN code = fetch(handle_);
    if (!SQL_SUCCEEDED(code)) {
        return code;
    }
    for (auto& [number, column] : columns_) {
        for (SQLULEN row = 0; row < rows; ++row) {
            code = Note(column.text.Deliver(row, layout, form_), kColumn, number, code);
        }
    }
    return code;
}

// Combines the outcome of one text with the code of the whole call.
SQLRETURN Statement::Note(BoundText::Outcome outcome, const char* subject, int number,
                          SQLRETURN code)
{
    if (outcome == BoundText::Outcome::kWhole) {
        return code;
    }
    diagnosis = outcome == BoundText::Outcome::kCut ? kCutText : kNeedsIndicator;
    diagnosis.subject = subject;
    diagnosis.number = number;
    const bool is_failure = code == SQL_ERROR || outcome == BoundText::Outcome::kNeedsIndicator;
    return is_failure ? SQL_ERROR : SQL_SUCCESS_WITH_INFO;
}

SQLRETURN Statement::Read(SQLUSMALLINT column, SQLPOINTER to, SQLLEN size, SQLLEN* indicator)
{
    const auto places =
        to != nullptr ? static_cast<std::size_t>(std::max<SQLLEN>(size, 0) / kWidth) : 0;
    const auto answer = held_.Read(handle_, column, {to, places});
    if (!SQL_SUCCEEDED(answer.code)) {
        return answer.code;
    }
    if (answer.is_cut) {
        diagnosis = kCutText;
        diagnosis.subject = kColumn;
        diagnosis.number = column;
    }
    if (indicator != nullptr) {
        *indicator = answer.indicator;
    } else if (answer.indicator == SQL_NULL_DATA) {
        return Note(BoundText::Outcome::kNeedsIndicator, kColumn, column, answer.code);
    }
    return answer.code;
}
