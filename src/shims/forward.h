// Functions that pass their arguments to the driver's function of the same name.
#pragma once

#include <sql.h>
#include <sqlext.h>

#include <tuple>
#include <type_traits>

#include "shims/RealDriver.h"
#include "shims/instead.h"
#include "shims/self.h"

/// The types of a function's arguments, from its prototype in ODBC's headers.
template <class Function>
struct Arguments;

template <class... Types>
struct Arguments<SQLRETURN(Types...)> {
    template <std::size_t index>
    using At = std::tuple_element_t<index, std::tuple<Types...>>;
};

/// The function that does the work: the driver's, or its substitute.
template <class Function>
Function* Real(const char* name)
{
    const RealDriver& driver = RealDriver::Instance();
    void* found = driver.Find(name);
    if (!driver.IsLoaded()) {
        found = WithoutDriver(name);
    }
    return found != nullptr ? reinterpret_cast<Function*>(found) : &Missing<Function>::Answer;
}

/// The driver's function that corresponds to one of the shim's, by name.
template <auto* function>
auto* DriversOwn(const char* name)
{
    static auto* const real = Real<std::remove_pointer_t<decltype(function)>>(name);
    return real;
}
#define DRIVERS(f) DriversOwn<&f>(#f)

/// The handle that a function is called with, which comes first or after its type.
template <class First, class... Rest>
SQLHANDLE HandleAmong(First first, Rest... rest)
{
    if constexpr (std::is_same_v<First, SQLHANDLE>) {
        return first;
    } else {
        return HandleAmong(rest...);
    }
}

template <auto* function, class... Types>
SQLRETURN Forward(const char* name, Types... arguments)
{
    BeginCall(HandleAmong(arguments...));
    return DriversOwn<function>(name)(arguments...);
}

// clang-format off
// A function of the table, by the number of its arguments. The compiler checks each against its
// prototype.
#define AT(f, i) Arguments<decltype(f)>::At<i>
#define REAL(f, ...) { return Forward<&f>(#f, __VA_ARGS__); }
#define F1(f) SQLRETURN f(AT(f, 0) a) REAL(f, a)
#define F2(f) SQLRETURN f(AT(f, 0) a, AT(f, 1) b) REAL(f, a, b)
#define F3(f) SQLRETURN f(AT(f, 0) a, AT(f, 1) b, AT(f, 2) c) REAL(f, a, b, c)
#define FOUR(f) AT(f, 0) a, AT(f, 1) b, AT(f, 2) c, AT(f, 3) d
#define F4(f) SQLRETURN f(FOUR(f)) REAL(f, a, b, c, d)
#define F5(f) SQLRETURN f(FOUR(f), AT(f, 4) e) REAL(f, a, b, c, d, e)
#define F6(f) SQLRETURN f(FOUR(f), AT(f, 4) e, AT(f, 5) g) REAL(f, a, b, c, d, e, g)
#define F7(f) SQLRETURN f(FOUR(f), AT(f, 4) e, AT(f, 5) g, AT(f, 6) h) REAL(f, a, b, c, d, e, g, h)
#define EIGHT(f) FOUR(f), AT(f, 4) e, AT(f, 5) g, AT(f, 6) h, AT(f, 7) i
#define F8(f) SQLRETURN f(EIGHT(f)) REAL(f, a, b, c, d, e, g, h, i)
#define F9(f) SQLRETURN f(EIGHT(f), AT(f, 8) j) REAL(f, a, b, c, d, e, g, h, i, j)
#define F10(f) SQLRETURN f(EIGHT(f), AT(f, 8) j, AT(f, 9) k) REAL(f, a, b, c, d, e, g, h, i, j, k)
#define F11(f)                                                 \
    SQLRETURN f(EIGHT(f), AT(f, 8) j, AT(f, 9) k, AT(f, 10) l) \
        REAL(f, a, b, c, d, e, g, h, i, j, k, l)
#define F13(f)                                                                           \
    SQLRETURN f(EIGHT(f), AT(f, 8) j, AT(f, 9) k, AT(f, 10) l, AT(f, 11) m, AT(f, 12) n) \
        REAL(f, a, b, c, d, e, g, h, i, j, k, l, m, n)
// clang-format on
