// Wide text read from the driver manager, with iODBC's errors corrected. This is done only here.
#pragma once

#include <sql.h>
#include <sqlext.h>

#include <cstddef>

#include "encoding/ZeroedBuffer.h"

/// A column of the current row read as wide characters.
///
/// For a driver with narrow functions only, iODBC 3.52.9 reads narrow text and widens it in the
/// caller's buffer. It makes three errors, each shown by a test of tests/sources:
///   - it widens even where the driver wrote nothing (NULL, no data, an error), as a terminated
///     string, and overruns a buffer that doesn't start with a zero: WideRead.NullAfterLongValue;
///   - it multiplies the indicator of a NULL by four, to -4: WideRead.ReportsNull;
///   - it multiplies the number of narrow bytes by four, so for text outside ASCII it counts
///     characters that it didn't write: WideRead.CountsWrittenCharacters.
/// So a read starts with a zeroed buffer and an initialized indicator, and its outcome is corrected
/// at once. The memory is reused for the next read, which clears what the last one may have
/// written.
class WideRead {
public:
    /// SQLGetData with SQL_C_WCHAR; the driver is offered buffer_bytes, in room for at least that
    /// many characters. Returns its code. Throws std::bad_alloc.
    SQLRETURN Read(SQLHSTMT statement, SQLUSMALLINT column, SQLLEN buffer_bytes,
                   std::size_t characters);

    /// Bytes of the value last read (more than was offered if it was truncated), SQL_NULL_DATA or
    /// another negative indicator of the driver.
    SQLLEN Indicator() const { return indicator_; }

    /// The characters, followed by zeros from the driver's count to the end of the room, and one
    /// more.
    const wchar_t* Text() const { return reinterpret_cast<const wchar_t*>(storage_.Data()); }

    /// Frees the memory of a rare huge value.
    void Trim();

private:
    void Grow(std::size_t size);

    ZeroedBuffer storage_;
    std::size_t used_ = 0;  // bytes that the last read may have written
    SQLLEN indicator_ = 0;
};

/// The count without the zeros at the end: the number of characters written of a name or value
/// whose count iODBC derived from its narrow bytes.
std::size_t WrittenCharacters(const wchar_t* text, std::size_t counted);
