// Wide text out of the driver manager, with what iODBC does to it undone. The one place for that.
#pragma once

#include <sql.h>
#include <sqlext.h>

#include <cstddef>

#include "encoding/ZeroedBuffer.h"

/// A column of the current row read as wide characters.
///
/// For a driver with narrow functions only, iODBC 3.52.9 reads narrow text and widens it in the
/// caller's buffer. Three things come out wrong, each shown by a test of tests/sources:
///   - it widens even where the driver wrote nothing (NULL, no data, an error), as a terminated
///     string, and overruns a buffer that doesn't start with a zero: WideRead.NullAfterLongValue;
///   - it multiplies the indicator of a NULL by four, to -4: WideRead.NullIsTold;
///   - it multiplies the narrow bytes by four, so text outside ASCII counts characters that nobody
///     wrote: WideRead.CountsWrittenCharacters.
/// So a read starts from zeros and a set indicator, and its outcome is mended before anybody looks
/// at it. The memory is kept from one read to the next, which clears what the last one may have
/// written.
class WideRead {
public:
    /// SQLGetData with SQL_C_WCHAR; buffer_bytes is what the driver is offered, in room for at
    /// least so many characters. Returns its code. Throws std::bad_alloc.
    SQLRETURN Read(SQLHSTMT statement, SQLUSMALLINT column, SQLLEN buffer_bytes,
                   std::size_t characters);

    /// Bytes of the value read last (more than was offered where it was cut), SQL_NULL_DATA or
    /// another negative indicator of the driver.
    SQLLEN Indicator() const { return indicator_; }

    /// The characters, with zeros behind what the driver counted to the end of the room, and one
    /// more.
    const wchar_t* Text() const { return reinterpret_cast<const wchar_t*>(storage_.Data()); }

    /// Gives back the memory of a rare huge value.
    void Trim();

private:
    void Grow(std::size_t size);

    ZeroedBuffer storage_;
    std::size_t used_ = 0;  // bytes that the last read may have written
    SQLLEN indicator_ = 0;
};

/// Counted characters less the zeros at their end: of a name or value whose count iODBC took from
/// its narrow bytes, the characters that were written.
std::size_t WrittenCharacters(const wchar_t* text, std::size_t counted);
