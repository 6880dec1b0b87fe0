// Shared by the parts of the wide shim.
#pragma once

#include <sql.h>

#include <string>

#include "shims/conversions.h"

/// What a wide character holds, according to the shim's file name.
WideForm OwnForm();

/// SQLExecDirect of UTF-8 text, after a call has begun.
SQLRETURN Execute(SQLHSTMT handle, const std::string& text);
