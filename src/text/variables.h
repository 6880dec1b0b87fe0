// Variables in SQL text.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "client/sql_text.h"

using Variables = std::map<std::string, std::string, std::less<>>;

/// Whether a variable can have this name: letters, digits and underscores.
bool IsVariableName(std::string_view name);

/// The text with the values of its variables: :name is replaced by the value itself, :'name' by
/// the value as a literal and :"name" by the value as a quoted name. Inside quotes and comments,
/// after another colon (x::type) and if there is no such variable, the text is unchanged.
std::string WithVariables(std::string_view sql, const Variables& variables,
                          const SqlDialect& dialect = SqlDialect());
