// What the parts of the wide shim share.
#pragma once

#include <sql.h>

#include <string>

#include "shims/conversions.h"

/// What the shim's file, by its name, puts into a wide character.
WideForm OwnForm();

/// SQLExecDirect of UTF-8 text, once a call has begun.
SQLRETURN Execute(SQLHSTMT handle, const std::string& text);
