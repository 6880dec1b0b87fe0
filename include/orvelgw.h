/*
 * The callout interface of the Orvel SQL gateway, liborvelgw.so: what a host has to know to load
 * the library, find its entries and call them. Plain C11 or C++.
 *
 * A host opens the shared object, looks up GetZFTable, passes it a function table of its own and
 * receives the callout table. From then on it calls entries by their external names, marshalling
 * each argument as the entry's signature says.
 *
 * Conventions
 *
 *  1. Result. Every entry returns 0. What happened is told by the result argument (letter P), by
 *     the output arguments and by the entries "WasError", "GetLastSQLCode" and "GetSQLErrors",
 *     which describe the call before them. The codes stand below.
 *
 *  2. Threads. One thread at a time, whichever. The environment, the error record, the handle
 *     registry and the conversion buffers belong to the whole process and take no lock. A thread
 *     that is cancelled (pthread_cancel) while an entry waits for a driver ends after the entry.
 *     The library itself uses 16 KB of stack at most in a call; the driver manager and the driver
 *     need theirs beside that (iODBC 3.52.9 with SQLite's driver: 46 KB to connect, 6 KB else).
 *
 *  3. Widths and byte order. Length words and 2-byte characters are 16 bits, integers and the
 *     length of a long string 32, pointers and handles 64. All are little-endian. Counted strings
 *     start at an even address; nothing is assumed about the alignment of what lies in a list.
 *
 *  4. Ownership. Arguments belong to the host; the library keeps no pointer to them once the entry
 *     has returned, and changes none but outputs, with one exception: "DSNConnect" and
 *     "DSNConnectWithTimeout" cut a connection string of the keyword DRIVER or DSN to 254
 *     characters in place, so that text must be writable. The two pointers given to GetZFTable are
 *     kept: what they point to must live as long as the library is loaded.
 *
 *  5. Outputs carry no capacity. The library writes the length word and as many bytes as the value
 *     has, and trusts the host to have granted room behind the length word:
 *         a handle                                      8 bytes
 *         "FetchRows"                           3,641,144 bytes
 *         "GetOneRow"                               6,004 bytes a column
 *         "GetData", "GetDataW"                    32,766 bytes
 *         "GetDataEx", "GetDataExW"                as many units as asked for (of 2 bytes with
 *                                                      C type -8, else of 1), 2 bytes at the least
 *         "DescribeColumns"                           600 bytes, and as many again a column
 *         "DescribeParameters"                         50 bytes, and 20 a marker
 *         "StrColAttribute", "StrColAttributeW"     6,200 bytes
 *         "GetInfo"                                 2,051 bytes
 *         "DataSources"                               520 bytes
 *         "NumColAttribute", "ParamData"               12 bytes
 *         "GetSQLErrors"                              600 bytes a diagnostic record
 *     The area is the driver's during the call: beyond the value it may hold anything then.
 *     A length word has 16 bits. A longer list (of "FetchRows", "GetOneRow", "DescribeColumns",
 *     "DescribeParameters" or "GetSQLErrors") is there with all its bytes, the word holds the
 *     length modulo 65,536. A host that zeroes the area before the call finds the end by walking
 *     the elements: no element starts with seven zero bytes. "DataSources" traces in its END record
 *     what the output holds, also where it wrote nothing: the host sets the length word before.
 *
 *  6. Handles. A connection or a statement is the 8 bytes of its ODBC handle, carried as a counted
 *     byte string of length 8. As an input, 8 bytes must be readable behind the length word
 *     whatever the word says. Length 0 as an output means that there is no connection (where
 *     there is no statement, "AllocStatement" gives 8 zero bytes); as an input
 *     of "GetSQLErrors" or "Transact" it means that no handle is given. A handle that the library
 *     doesn't know is refused, but for the connection handle of "GetSQLErrors": it goes to the
 *     driver manager as it is, which reads freed memory where that connection was closed.
 *
 *  7. Long strings. An input long string (letter j) is handed back through the host's
 *     ReleaseLongString, exactly once for each call, on every path and after the call's last trace
 *     record; the host must not use it afterwards. Of an output long string the host supplies the
 *     text's storage before it calls "GetDataEx" or "GetDataExW"; "GetParameter" asks for it
 *     through AllocLongString and sets the pointer, and sets length 0 where it gets none.
 *
 *  8. Text. 8-bit text is passed to the driver as it stands, with one exception: with the Unicode
 *     option "SetParameter" widens it as Latin-1. Wherever the library converts between wide and
 *     multibyte text it follows LC_CTYPE of the process, which it never sets, and puts back where a
 *     driver sets it while it connects: the host does, and C.UTF-8 is the least that carries text
 *     outside ASCII. ASCII must be itself in that locale's encoding, as it is in all of glibc's. A
 *     wide name of a catalog entry (letter s) may be read beyond its end: 4 bytes are looked at by
 *     "DescribeProceduresW" and "DescribeProcedureColumnsW", and 4 bytes a character by drivers
 *     where a name goes out as it lies in the host's memory: in "StatisticsW", and the catalog of
 *     "DescribeProceduresW" where it starts with two zero characters. So many must be readable. A
 *     narrow name of a catalog entry (letter b) goes out as it lies there, too, and wants a zero
 *     byte behind it: psqlodbca.so 13.02 reads that of "PrimaryKeys" up to one.
 *
 *  9. Exceptions. Whatever is thrown inside an entry, by a driver or by the host's logging routine,
 *     ends in the exception flag ("WasError" says -1000). Only what the logging routine throws from
 *     an entry's last END record, from the single record of "Test" and of the option and version
 *     entries, from BEGIN of "DataSources", or from any record of "GetTypeInfo" but that of a
 *     failure, and what comes of failing memory while such a record is made, reaches the host.
 *     ReleaseLongString must not throw.
 *
 * 10. Lists. Results of more than one value, and lists as arguments, are the elements below, one
 *     behind the other, without a header or an end mark. A list in a list is a string element that
 *     holds the inner list's bytes. L is the number of payload bytes:
 *         L <= 253        byte L + 2,                           type byte, payload
 *         L <= 65,534     00, L + 1 in 16 bits,                 type byte, payload
 *         longer          00 00 00, L + 1 in 32 bits,           type byte, payload
 *         no value        01                                    (neither type byte nor payload)
 *     Types: 1 string of bytes; 2 string of 2-byte characters; 4 non-negative and 5 negative
 *     integer, the low bytes of the two's complement that differ from 00 or FF; 6 and 7 decimals
 *     (a signed exponent byte, then a mantissa as in 4 and 5); 8 IEEE 754 double.
 *     In rows a NULL is the empty string element 02 01, and an empty value is one zero byte.
 *
 * 11. Process. A server that is gone is an error of the call, though a driver's write to it
 *     raises SIGPIPE. Where the host leaves that signal to the system (SIG_DFL) as it connects, the
 *     library installs a handler: while an entry runs, its thread's SIGPIPE is swallowed; any other
 *     ends the process, as it would have. The handler goes when the environment does, at unloading
 *     or exit, unless the host has replaced it by then. A host that ignores the signal or handles
 *     it, set before or after, keeps what it has set, and a handler of its own sees the drivers'
 *     signals, too. A host that sets SIG_DFL after it has connected gives the protection up until
 *     it connects again; one that blocks the signal finds a driver's pending. A handler that the
 *     host installs later must not call the library's, and the host must not put that back, once
 *     the library is unloaded. A thread that a driver starts is not the library's: its SIGPIPE ends
 *     the process. exec() brings SIG_DFL back.
 *     Attributes go to the driver unchecked, and a driver follows an address. By "SetStmtOption" a
 *     host must set none whose value is one: 16, 17, 19, 20, 21, 23, 24, 25, 26, 10010 and 10011 of
 *     ODBC, nor by "SetConnectOption" one whose value is a text (105, 106 and 109). The text of
 *     "SetStrConnectOption" must not be null.
 *
 * 12. Lifetime. Loading makes no ODBC call; the environment comes with the first connection.
 *     dlclose() and exit() disconnect every connection that is left and free the environment; what
 *     was not committed is for the data source to decide. Both wait for the drivers, ignore what
 *     these throw or refuse, and call no slot of the host's. No entry may be running then, and
 *     afterwards the table, its rows and its functions are gone. Loaded again, the library starts
 *     afresh: options off, no connection, no error. At exit() a handler that the host gave to
 *     atexit() after it loaded the library runs before that and may still call entries; one given
 *     earlier must not. _exit(), quick_exit() and a signal that ends the process disconnect
 *     nothing.
 *     Connections are of the process that opened them: a child of fork() must call no entry before
 *     exec(), and its exit, or its unloading of the library, closes none of them.
 *
 * Entries
 *
 *     Every entry is an int32_t function; its arguments are the letters of its signature, explained
 *     below. docs/callouts.md has a section for each of the 73, with its arguments, its result, the
 *     ODBC calls it makes and the trace records it writes. By subject:
 *
 *     connections   Connect ConnectWithTimeout DSNConnect DSNConnectWithTimeout Disconnect
 *                   RemoveConnection SetConnectOption SetStrConnectOption Transact
 *     diagnostics   WasError GetSQLErrors GetLastSQLCode
 *     options       SetLogOption SetUnicodeOption SetLegacyOption; GetUV GetGTWVersion Test
 *     statements    AllocStatement DropStatement Prepare PrepareW PreparseSQL Execute MoreResults
 *                   CloseCursor RowCount NumResultCols SetStmtOption
 *     results       DescribeColumns NumColAttribute StrColAttribute StrColAttributeW Fetch
 *                   GetOneRow FetchRows GetData GetDataW GetDataEx GetDataExW
 *     parameters    BindParameters BindParameter UnbindParameters SetParameter SetParameterBinary
 *                   GetParameter ParamData PutData PutDataW DescribeParameters
 *     catalogs      Tables Columns ColumnPrivileges TablePrivileges DescribeProcedures
 *                   DescribeProcedureColumns PrimaryKeys SpecialColumns Statistics ForeignKeys,
 *                   and each with a W at its end, for 2-byte names
 *     information   GetInfo GetTypeInfo DataSources
 */
#ifndef ORVELGW_H
#define ORVELGW_H

#include <assert.h>
#include <stddef.h>
#include <stdint.h>

/* The version of this header, and of the library that belongs to it. The first number is that of
 * the interface, which "GetGTWVersion" reports of the library that was loaded. */
#define ORVEL_VERSION_MAJOR 10
#define ORVEL_VERSION_MINOR 0
#define ORVEL_VERSION_PATCH 0
#define ORVEL_INTERFACE_VERSION ORVEL_VERSION_MAJOR

/* The library's name for dlopen(): of this interface, and of whichever is installed. */
#define ORVEL_LIBRARY "liborvelgw.so.10"
#define ORVEL_LIBRARY_OF_ANY_VERSION "liborvelgw.so"

/* What the library exports. A host that finds it by dlsym() needs the types alone. */
#define ORVEL_EXPORT __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/* Argument layouts. The letters are those of a signature, one letter an argument:
 *
 *     c   const char *      in    text that ends in a zero byte
 *     b   const zarray *    in    counted byte string
 *     B   zarray *          out   counted byte string, filled by the library
 *     s   const zustring *  in    counted string of 2-byte characters
 *     S   zustring *        out   counted string of 2-byte characters, filled by the library
 *     i   int32_t           in    by value
 *     P   int32_t *         out   the result code; kept as it is where an entry says so
 *     j   ORVEL_EXSTR *     in    long string, released by the library (convention 7)
 *     J   ORVEL_EXSTR *     out   long string of bytes (convention 7)
 *     N   ORVEL_EXSTR *     out   long string of 2-byte characters (convention 7)
 */

/* C's arrays of no fixed length, which C++ has as an extension. */
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpedantic"

/* A counted byte string: the length in bytes, then the bytes. */
typedef struct zarray {
    uint16_t length;
    unsigned char bytes[];
} zarray;

/* A counted string of 2-byte characters: the length in characters, then the characters. Each is
 * one UTF-16 unit; the library never combines or makes surrogate pairs. */
typedef struct zustring {
    uint16_t length;
    uint16_t characters[];
} zustring;

#pragma GCC diagnostic pop

/* A long string: the length in bytes (in characters for letter N) and the address of the text. */
typedef struct ORVEL_EXSTR {
    uint32_t length;
    char* text;
} ORVEL_EXSTR;

static_assert(sizeof(zarray) == 2, "the bytes follow the length word directly");
static_assert(offsetof(zarray, length) == 0, "zarray.length");
static_assert(offsetof(zarray, bytes) == 2, "zarray.bytes");
static_assert(sizeof(zustring) == 2, "the characters follow the length word directly");
static_assert(offsetof(zustring, length) == 0, "zustring.length");
static_assert(offsetof(zustring, characters) == 2, "zustring.characters");
static_assert(sizeof(ORVEL_EXSTR) == 16, "a long string is two 8-byte words");
static_assert(offsetof(ORVEL_EXSTR, length) == 0, "ORVEL_EXSTR.length");
static_assert(offsetof(ORVEL_EXSTR, text) == 8, "ORVEL_EXSTR.text");

/* Any function, as the tables below hold it. The caller casts it to what it is. */
typedef void (*orvel_function)(void);

/* A row of the callout table, filled by the library. The last row holds three null pointers. */
typedef struct ORVEL_ZFE {
    const char* name;        /* external name, by which the host knows the entry */
    const char* signature;   /* one letter an argument, in argument order */
    orvel_function function; /* int32_t function(arguments of the signature) */
} ORVEL_ZFE;

static_assert(sizeof(ORVEL_ZFE) == 24, "a row is three pointers");
static_assert(offsetof(ORVEL_ZFE, name) == 0, "ORVEL_ZFE.name");
static_assert(offsetof(ORVEL_ZFE, signature) == 8, "ORVEL_ZFE.signature");
static_assert(offsetof(ORVEL_ZFE, function) == 16, "ORVEL_ZFE.function");

enum {
    ORVEL_TABLE_ROWS = 73,        /* rows of the callout table before the null row */
    ORVEL_ROOM_FOR_HANDLE = 8,    /* behind the length word of an output: convention 5 */
    ORVEL_ROOM_FOR_ROWS = 3641144 /* and of "FetchRows" */
};

/* The host function table: an array of pointers, filled by the host. The library calls the five
 * slots named here; the array must reach as far as the last of them. */
enum {
    ORVEL_SLOT_PUSH_STRING = 16,
    ORVEL_SLOT_ROUTINE_REF = 18,
    ORVEL_SLOT_CALL_ROUTINE = 38,
    ORVEL_SLOT_RELEASE_LONG_STRING = 117,
    ORVEL_SLOT_ALLOC_LONG_STRING = 118,
    ORVEL_HOST_SLOTS = 119 /* the least number of slots */
};

/* HostPushString: adds one string argument to the routine call being prepared. The text need not
 * end in a zero byte and is valid during this call only. The value returned is not used. */
typedef int32_t (*orvel_push_string)(int32_t length, const char* text);

/* HostRoutineRef: prepares a call of the routine at a label (the library asks for label "Log" of
 * routine "%ourLog") and stores a number of the host's choice, by which HostCallRoutine knows the
 * call. The value returned is not used. */
typedef int32_t (*orvel_routine_ref)(int32_t* call, int32_t label_length, const char* label,
                                     int32_t routine_length, const char* routine);

/* HostCallRoutine: performs the prepared call with the arguments pushed since. A trace record is
 * five strings: "", the level ("2", or "1" for "Test"), "Gateway", the record's name, and its data,
 * a list (for "Test" a text). The value returned is not used. */
typedef int32_t (*orvel_call_routine)(int32_t call, int32_t argument_count);

/* ReleaseLongString: takes back an input long string (convention 7). */
typedef void (*orvel_release_long_string)(ORVEL_EXSTR* string);

/* AllocLongString: returns storage for the text of an output long string, length bytes, or null.
 * It may use the 16 bytes at scratch as it likes; the library reads nothing there. */
typedef char* (*orvel_alloc_long_string)(void* scratch, uint16_t length);

static_assert(sizeof(orvel_function) == 8, "a slot is 8 bytes");
static_assert(ORVEL_SLOT_PUSH_STRING * sizeof(orvel_function) == 128, "HostPushString");
static_assert(ORVEL_SLOT_ROUTINE_REF * sizeof(orvel_function) == 144, "HostRoutineRef");
static_assert(ORVEL_SLOT_CALL_ROUTINE * sizeof(orvel_function) == 304, "HostCallRoutine");
static_assert(ORVEL_SLOT_RELEASE_LONG_STRING * sizeof(orvel_function) == 936, "ReleaseLongString");
static_assert(ORVEL_SLOT_ALLOC_LONG_STRING * sizeof(orvel_function) == 944, "AllocLongString");

/* Result codes: ODBC's return value, sign-extended, and the library's own. */
enum {
    ORVEL_SUCCESS = 0,
    ORVEL_SUCCESS_WITH_INFO = 1,
    ORVEL_NEED_DATA = 99,
    ORVEL_NO_DATA = 100,
    ORVEL_ERROR = -1,               /* also: no such parameter or column; a value or a catalog
                                       name that can't be passed */
    ORVEL_UNKNOWN_HANDLE = -2,      /* no connection or statement of this library */
    ORVEL_STATEMENT_TOO_LONG = -25, /* "PrepareW": 32,768 characters or more */
    ORVEL_TOO_MUCH_DATA = -28       /* "FetchRows": the list would reach 3,641,145 bytes */
};

/* What "WasError" reports of the call before it: the first of these that holds, in this order. So
 * 100 hides an error, and -1000 hides everything. */
enum {
    ORVEL_WAS_EXCEPTION = -1000, /* something was thrown inside the entry */
    ORVEL_WAS_BAD_TYPE = -27,    /* a C type that the entry does not serve */
    ORVEL_WAS_NO_DATA = 100,     /* "Fetch" found no further row */
    ORVEL_WAS_ERROR = -1,        /* an ODBC call failed, or a handle was not known */
    ORVEL_WAS_SUCCESS = 0
};

/* Stores the two host pointers and returns the first row of the callout table, which lives as long
 * as the library is loaded. Must be called before any entry; a later call replaces both pointers.
 *
 *     callbackp   the host's callback structure; kept and not used, may be null
 *     functabp    the host function table, ORVEL_HOST_SLOTS pointers at least
 */
ORVEL_EXPORT const ORVEL_ZFE* GetZFTable(const void* callbackp, const orvel_function* functabp);

/* What dlsym(library, "GetZFTable") finds. */
typedef const ORVEL_ZFE* (*orvel_get_table)(const void* callbackp, const orvel_function* functabp);

/* The callout table itself, which GetZFTable returns. It can be read without calling GetZFTable, by
 * a program that only lists it; its entries can't be called before. */
ORVEL_EXPORT extern const ORVEL_ZFE zfedll[ORVEL_TABLE_ROWS + 1];

#ifdef __cplusplus
}
#endif

#endif
