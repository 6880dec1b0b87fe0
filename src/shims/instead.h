// What answers in the place of a function that the real driver does not have.
#pragma once

#include <sql.h>

/// A function of a given type that fails.
template <class Function>
struct Missing;

template <class... Arguments>
struct Missing<SQLRETURN(Arguments...)> {
    static SQLRETURN Answer(Arguments... /*arguments*/) { return SQL_ERROR; }
};

/// Where there is no driver: handles that stand for nothing, and the diagnostic record that says
/// why there is none; connecting fails, as all else does. Null: the function fails.
void* WithoutDriver(const char* function);
