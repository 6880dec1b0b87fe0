// A column's value in the current row, of any length, piece by piece.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "client/Entry.h"
#include "client/Session.h"

/// Reads with "GetDataEx": text as a narrow driver's bytes, or with "GetDataExW" from a driver with
/// wide functions, whose narrow text is in a code page.
class ValueReader {
public:
    enum class Form { kText, kBinary };

    /// What a piece is: the last one, or one before others; a NULL (or empty binary data, which
    /// looks the same); nothing, since everything was read before; or a failure, for which the
    /// statement has diagnostics.
    enum class Piece { kLast, kMore, kNull, kNone, kFailed };

    ValueReader(const Session& session, const HandleArgument& statement);

    /// Reads the next piece, in room for that many bytes of text or data. column: from 1.
    Piece Read(std::int32_t column, Form form, std::size_t room);

    /// Whether the value is a NULL; to be called before it is read.
    bool IsNull(std::int32_t column);

    /// The bytes of the piece; text in UTF-8. Valid until the next one.
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
    std::string half_pair_;  // the high surrogate of a pair split between two pieces
    std::string_view bytes_;
};
