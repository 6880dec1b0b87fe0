// A column's value of the current row, piece by piece, of any length.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "client/Entry.h"
#include "client/Session.h"

/// Reads with "GetDataEx": text as the bytes of a narrow driver, or by "GetDataExW" of a driver of
/// wide functions, whose narrow text is that of a code page.
class ValueReader {
public:
    enum class Form { kText, kBinary };

    /// What a piece is: the last one, or one before others; a NULL (or binary data of no bytes,
    /// which look alike); nothing, since all was read before; or a failure, of which the statement
    /// has diagnostics.
    enum class Piece { kLast, kMore, kNull, kNone, kFailed };

    ValueReader(const Session& session, const HandleArgument& statement);

    /// Reads on, in room for so many bytes of text or data. column: from 1.
    Piece Read(std::int32_t column, Form form, std::size_t room);

    /// Whether the value is a NULL, asked before it is read.
    bool IsNull(std::int32_t column);

    /// The bytes of the piece; text in UTF-8. They last until the next one.
    std::string_view Bytes() const { return bytes_; }

    /// Whether text is read as 2-byte characters.
    bool IsWide() const { return is_wide_; }

private:
    Piece ReadBytes(std::int32_t column, std::int32_t c_type, std::size_t room);
    Piece ReadUnits(std::int32_t column, std::size_t characters);
    Piece WithoutBytes() const;

    using GetDataEntry = Entry<const char*, std::int32_t, std::int32_t, std::int32_t, ORVEL_EXSTR*>;

    const HandleArgument& statement_;
    bool is_wide_;
    GetDataEntry get_data_;
    GetDataEntry get_data_wide_;
    Entry<> was_error_;
    Entry<> last_code_;
    std::vector<char> area_;
    std::string text_;
    std::string half_pair_;  // the first half of a surrogate pair that two pieces share
    std::string_view bytes_;
};
