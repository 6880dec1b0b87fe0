// CStatement: parameters.
#include <sqlext.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "encoding/ZConstList.h"
#include "encoding/ZString.h"
#include "odbc/Parameter.h"
#include "odbc/Shape.h"
#include "odbc/Statement.h"
#include "odbc/result.h"

namespace {

// Binds a parameter again if its value changed its buffer or type.
SQLRETURN BindAgain(CParameter& parameter, int changed)
{
    return changed != 0 || parameter.WantsBinding() ? parameter.Bind() : SQLRETURN{SQL_SUCCESS};
}

}  // namespace

// Removes a parameter from its place, but keeps it if the driver may still read and write through
// it: the one bound last for each number. If memory runs out it stays where it is.
void CStatement::Retire(std::size_t index)
{
    auto& parameter = parameters_[index];
    if (parameter == nullptr || !parameter->IsBound()) {
        parameter.reset();
        return;
    }
    if (retired_.size() <= index) {
        retired_.resize(index + 1);
    }
    retired_[index] = std::move(parameter);
}

SQLRETURN CStatement::UnbindParameters()
{
    for (std::size_t index = 0; index < parameters_.size(); ++index) {
        Retire(index);
    }
    parameters_.clear();
    const SQLRETURN code = SQLFreeStmt(handle_, SQL_RESET_PARAMS);
    if (Succeeded(code)) {
        retired_.clear();
    }
    return code;
}

SQLRETURN CStatement::BindParamList(ZConstList& lengths, ZConstList& sql_types, ZConstList& scales,
                                    ZConstList& io_types, ZConstList& column_sizes)
{
    UnbindParameters();
    SQLRETURN code = SQL_SUCCESS;
    for (long number = 1; code == SQL_SUCCESS && lengths.MoveTo(number) != 0; ++number) {
        auto parameter = std::make_unique<CParameter>(this, number);
        parameter->SetLenFromList(lengths);
        parameter->SetDTPFromList(sql_types);
        parameter->SetScaleFromList(scales);
        parameter->SetIOTypeFromList(io_types);
        parameter->SetColDefFromList(column_sizes);
        parameters_.push_back(std::move(parameter));
        code = parameters_.back()->Bind();
    }
    return code;
}

SQLRETURN CStatement::BindParameter(int number, int io_type, int c_type, int sql_type,
                                    int column_size, int decimal_digits, int length)
{
    if (number < 1 || number > UINT16_MAX) {
        return kOutOfRange;
    }
    const auto size = static_cast<std::size_t>(number);
    if (size > parameters_.size()) {
        parameters_.resize(size);
    }
    auto made = std::make_unique<CParameter>(this, number, io_type, c_type, sql_type, column_size,
                                             decimal_digits, length);
    Retire(size - 1);
    auto& place = parameters_[size - 1];
    place = std::move(made);
    const SQLRETURN code = place->Bind();
    if (Succeeded(code) && retired_.size() >= size) {
        retired_[size - 1].reset();
    }
    return code;
}

// The parameter for the first element of a value list; null if either is missing, or if the element
// is of the long form.
CParameter* CStatement::ParameterFor(ZConstList& value, long number) const
{
    const bool exists = number >= 1 && number <= static_cast<long>(parameters_.size());
    if (!exists || value.MoveTo(1) == 0 || value.PayloadLength() < 0) {
        return nullptr;
    }
    return parameters_[static_cast<std::size_t>(number) - 1].get();
}

SQLRETURN CStatement::SetParam(ZConstList& value, long number)
{
    CParameter* parameter = ParameterFor(value, number);
    return parameter != nullptr ? BindAgain(*parameter, parameter->SetFromList(value))
                                : kOutOfRange;
}

SQLRETURN CStatement::SetParamBinary(ZConstList& value, long number)
{
    CParameter* parameter = ParameterFor(value, number);
    return parameter != nullptr ? BindAgain(*parameter, parameter->SetBinaryFromList(value))
                                : kOutOfRange;
}

SQLRETURN CStatement::GetParamList(long index, ORVEL_EXSTR* output, TextAllocator allocate) const
{
    if (index < 0 || index >= static_cast<long>(parameters_.size())) {
        return kOutOfRange;
    }
    const auto& parameter = parameters_[static_cast<std::size_t>(index)];
    if (parameter == nullptr) {
        return kOutOfRange;
    }
    ZString list;
    parameter->AppendValue(list);
    const auto length = static_cast<std::uint16_t>(list.size());
    char* text = allocate(length);
    output->length = text != nullptr ? length : 0;
    if (text != nullptr) {
        output->text = text;
        std::memcpy(text, list.data(), length);
    }
    return SQL_SUCCESS;
}

SQLRETURN CStatement::DescribeParams(zarray* output)
{
    ZString list;
    ZString row;
    SQLSMALLINT count = 0;
    SQLRETURN code = SQLNumParams(handle_, &count);
    if (Succeeded(code)) {
        row.AppendLong(count);
        for (const char* title : {"SqlType", "Precision", "Scale", "Nullable"}) {
            row.AppendNTString(title);
        }
        list.AppendString(row.data(), row.size());
    }
    for (int number = 1; Succeeded(code) && number <= count; ++number) {
        Shape shape;
        code = SQLDescribeParam(handle_, static_cast<SQLUSMALLINT>(number), &shape.type,
                                &shape.size, &shape.digits, &shape.nullable);
        if (Succeeded(code)) {
            row.clear();
            shape.AppendTo(row);
            list.AppendString(row.data(), row.size());
        }
    }
    list.CopyTo(output);
    return code;
}
