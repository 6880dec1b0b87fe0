// What answers in the place of a function that the real driver does not have.
#pragma once

#include <sql.h>
#include <sqlext.h>

/// A function of a given type that fails.
template <class Function>
struct Missing;

template <class... Arguments>
struct Missing<SQLRETURN(Arguments...)> {
    static SQLRETURN Answer(Arguments... /*arguments*/) { return SQL_ERROR; }
};

/// Where there is a driver: functions of ODBC 2 by those of ODBC 3, which every driver has. iODBC
/// 3.52.9 calls them for ODBC 2 programs wherever a driver exports them. Null: there is none.
void* ByOdbc3(const char* function);

/// Where there is no driver: handles that stand for nothing, a refused connection, and the
/// diagnostic record that says why. Null: the function fails.
void* WithoutDriver(const char* function);
