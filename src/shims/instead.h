// Substitutes for functions that the real driver does not have.
#pragma once

#include <sql.h>

/// A function of a given type that fails.
template <class Function>
struct Missing;

template <class... Arguments>
struct Missing<SQLRETURN(Arguments...)> {
    static SQLRETURN Answer(Arguments... /*arguments*/) { return SQL_ERROR; }
};

/// Without a driver: dummy handles, and the diagnostic record that says why there is no driver;
/// connecting fails, as does everything else. Null: the function fails.
void* WithoutDriver(const char* function);
