// What Tab puts in.
#pragma once

#include <string_view>

#include "tool/shell/LineEditor.h"
#include "tool/shell/Workspace.h"

/// Completes commands and their arguments; in statements keywords, names of tables, and names of
/// columns of the tables that the statement names. statement: the lines before this one.
Completion Complete(Workspace& workspace, std::string_view statement,
                    std::string_view before_cursor);
