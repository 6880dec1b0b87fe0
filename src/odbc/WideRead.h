// Wide text out of the driver manager, with what iODBC does to it undone. The one place for that.
#pragma once

#include <sql.h>
#include <sqlext.h>

#include <cstddef>
#include <span>

/// A column of the current row read as wide characters.
///
/// For a driver with narrow functions only, iODBC 3.52.9 reads narrow text and widens it in the
/// caller's buffer. Three things come out wrong, each shown by a test of tests/sqlite_test.cpp:
///   - it widens even where the driver wrote nothing (NULL, no data, an error), as a terminated
///     string, and overruns a buffer that doesn't start with a zero: WideRead.NullAfterLongValue;
///   - it multiplies the indicator of a NULL by four, to -4: WideRead.NullIsTold;
///   - it multiplies the narrow bytes by four, so text outside ASCII counts characters that nobody
///     wrote: WideRead.CountsWrittenCharacters.
/// So a read starts from zeroed storage and a set indicator, and its outcome is mended before
/// anybody looks at it.
class WideRead {
public:
    /// Reads into storage, which is zero-filled here and must outlive this object. Its last
    /// character is never offered to the driver: what is read always ends in a zero.
    explicit WideRead(std::span<wchar_t> storage);
    /// The same for storage that is zero-filled already: of a large one, only what is used is
    /// touched.
    struct ZeroFilled {
        std::span<wchar_t> storage;
    };
    explicit WideRead(ZeroFilled zeros) : storage_(zeros.storage) {}

    /// SQLGetData with SQL_C_WCHAR; buffer_bytes (within the storage, less its last character) is
    /// what the driver is offered. Returns its code.
    SQLRETURN Read(SQLHSTMT statement, SQLUSMALLINT column, SQLLEN buffer_bytes);

    /// Bytes of the value read last (more than was offered where it was cut), SQL_NULL_DATA or
    /// another negative indicator of the driver.
    SQLLEN Indicator() const { return indicator_; }
    const wchar_t* Text() const { return storage_.data(); }

private:
    std::span<wchar_t> storage_;
    std::size_t used_ = 0;  // characters that the last read may have written
    SQLLEN indicator_ = 0;
};

/// Counted characters less the zeros at their end: of a name or value whose count iODBC took from
/// its narrow bytes, the characters that were written.
std::size_t WrittenCharacters(const wchar_t* text, std::size_t counted);
