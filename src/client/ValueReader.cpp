#include "client/ValueReader.h"

#include <algorithm>
#include <utility>

#include "client/HostList.h"
#include "client/odbc_numbers.h"

namespace {

constexpr std::size_t kUnit = sizeof(char16_t);

// A driver is offered as many bytes as units are asked for, and writes 4-byte characters.
constexpr std::size_t kUnitsForCharacter = 4;

bool IsHighHalf(std::string_view unit)
{
    return unit.size() == kUnit && (static_cast<unsigned char>(unit[1]) & 0xFC) == 0xD8;
}

}  // namespace

ValueReader::ValueReader(const Session& session, const HandleArgument& statement)
    : statement_(statement),
      is_wide_(session.ReadsWideText()),
      get_data_(session.Library(), "GetDataEx", "biiiJ"),
      get_data_wide_(session.Library(), "GetDataExW", "biiiN"),
      was_error_(session.Library(), "WasError", "P"),
      last_code_(session.Library(), "GetLastSQLCode", "P")
{}

ValueReader::Piece ValueReader::Read(std::int32_t column, Form form, std::size_t room)
{
    if (form == Form::kText && is_wide_) {
        return ReadUnits(column, room);
    }
    return ReadBytes(column, form == Form::kText ? kCharacterCType : kBinaryCType, room);
}

bool ValueReader::IsNull(std::int32_t column)
{
    constexpr std::size_t kTerminatorAlone = 1;
    return ReadBytes(column, kCharacterCType, kTerminatorAlone) == Piece::kNull;
}

ValueReader::Piece ValueReader::ReadBytes(std::int32_t column, std::int32_t c_type,
                                          std::size_t room)
{
    area_.resize(std::max(area_.size(), room + 1));
    ORVEL_EXSTR output{0, area_.data()};
    get_data_(statement_, column, c_type, static_cast<std::int32_t>(room), &output);
    bytes_ = {area_.data(), std::min<std::size_t>(output.length, room)};
    if (bytes_.empty()) {
        return WithoutBytes();
    }
    const bool is_text = c_type == kCharacterCType;
    if (is_text && bytes_ == std::string_view("\0", 1)) {
        bytes_ = {};  // empty text
    }
    if (bytes_.size() < room || last_code_() != ORVEL_SUCCESS_WITH_INFO) {
        return Piece::kLast;
    }
    if (is_text && bytes_.ends_with('\0')) {
        bytes_.remove_suffix(1);  // a piece of text before others ends in a terminator
    }
    return bytes_.empty() ? Piece::kFailed : Piece::kMore;
}

ValueReader::Piece ValueReader::ReadUnits(std::int32_t column, std::size_t characters)
{
    const std::size_t room = kUnitsForCharacter * (characters + 1);
    area_.resize(std::max(area_.size(), kUnit * room));
    ORVEL_EXSTR output{0, area_.data()};
    get_data_wide_(statement_, column, kWideCType, static_cast<std::int32_t>(room), &output);
    bytes_ = {};
    if (output.length == 0) {
        return WithoutBytes();
    }
    std::string_view units(area_.data(), kUnit * std::min<std::size_t>(output.length, characters));
    if (half_pair_.empty() && units == std::string_view("\0\0", kUnit)) {
        return Piece::kLast;  // empty text
    }
    const bool goes_on = output.length > characters;
    const std::string joined = std::exchange(half_pair_, {}).append(units);
    units = joined;
    if (goes_on && IsHighHalf(units.substr(units.size() - kUnit))) {
        half_pair_ = units.substr(units.size() - kUnit);
        units.remove_suffix(kUnit);
    }
    text_ = Utf8FromUnits(units);
    bytes_ = text_;
    return goes_on ? Piece::kMore : Piece::kLast;
}

ValueReader::Piece ValueReader::WithoutBytes() const
{
    if (was_error_() == ORVEL_WAS_EXCEPTION) {
        return Piece::kFailed;
    }
    const std::int32_t code = last_code_();
    return code == ORVEL_NO_DATA   ? Piece::kNone
           : code == ORVEL_SUCCESS ? Piece::kNull
                                   : Piece::kFailed;
}
