#include "client/HostList.h"

#include <utf8proc.h>

#include <bit>
#include <cmath>
#include <optional>

namespace {

constexpr char32_t kReplacement = 0xFFFD;

std::uint64_t LittleEndian(std::string_view bytes)
{
    std::uint64_t value = 0;
    for (std::size_t i = bytes.size(); i > 0; --i) {
        value = value << 8 | static_cast<unsigned char>(bytes[i - 1]);
    }
    return value;
}

// A two's complement number whose low bytes alone are stored.
std::int64_t StoredInteger(std::string_view bytes, bool negative)
{
    if (bytes.size() > sizeof(std::int64_t)) {
        throw ListError("an integer of " + std::to_string(bytes.size()) + " bytes");
    }
    std::uint64_t value = LittleEndian(bytes);
    if (negative && bytes.size() < sizeof value) {
        value |= ~std::uint64_t{0} << (8 * bytes.size());
    }
    return static_cast<std::int64_t>(value);
}

[[noreturn]] void Fail(std::size_t at, const std::string& what)
{
    throw ListError("list element at byte " + std::to_string(at) + " " + what);
}

struct Extent {
    std::size_t header = 0;  // prefix and type byte
    std::size_t payload = 0;

    std::size_t Size() const { return header + payload; }
};

// Reads an element's prefix; nothing at seven zeros, or fewer at the end, which start no element.
std::optional<Extent> ReadPrefix(std::string_view bytes, std::size_t at)
{
    const auto byte = [&](std::size_t i) -> std::size_t {
        return at + i < bytes.size() ? static_cast<unsigned char>(bytes[at + i]) : 0;
    };
    if (byte(0) == 1) {
        return Extent{1, 0};
    }
    if (byte(0) != 0) {
        return Extent{2, byte(0) - 2};
    }
    if (const std::size_t stored = byte(1) + (byte(2) << 8); stored != 0) {
        return Extent{4, stored - 1};
    }
    const std::size_t stored = byte(3) + (byte(4) << 8) + (byte(5) << 16) + (byte(6) << 24);
    return stored != 0 ? std::optional(Extent{8, stored - 1}) : std::nullopt;
}

// The element at a position, or nothing if no element starts there.
std::optional<Extent> ReadElement(std::string_view bytes, std::size_t at)
{
    const auto extent = ReadPrefix(bytes, at);
    if (extent && extent->Size() > bytes.size() - at) {
        Fail(at, "claims " + std::to_string(extent->Size()) + " bytes where " +
                     std::to_string(bytes.size() - at) + " are left");
    }
    return extent;
}

void AppendUtf8(std::string& text, char32_t character)
{
    utf8proc_uint8_t bytes[4];
    const auto size = utf8proc_encode_char(static_cast<utf8proc_int32_t>(character), bytes);
    text.append(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size));
}

}  // namespace

std::int64_t ListElement::Integer() const
{
    if (!IsInteger()) {
        throw ListError("an integer is expected, not type " + std::to_string(type));
    }
    return StoredInteger(payload, type == kNegative);
}

double ListElement::Number() const
{
    if (type == kDouble && payload.size() == sizeof(double)) {
        return std::bit_cast<double>(LittleEndian(payload));
    }
    if ((type != kNonNegativeDecimal && type != kNegativeDecimal) || payload.empty()) {
        throw ListError("a number is expected, not type " + std::to_string(type));
    }
    const auto exponent = static_cast<std::int8_t>(payload.front());
    return static_cast<double>(StoredInteger(payload.substr(1), type == kNegativeDecimal)) *
           std::pow(10.0, exponent);
}

std::string ListElement::Text() const
{
    return type == kUnits ? Utf8FromUnits(payload) : std::string(payload);
}

namespace {

void AppendLowBytes(std::string& list, std::uint64_t value, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i) {
        list.push_back(static_cast<char>(value >> (8 * i)));
    }
}

void AppendTyped(std::string& list, ListElement::Type type, std::string_view payload)
{
    constexpr std::size_t kLongestShort = 253;
    const std::size_t size = payload.size();
    if (size <= kLongestShort) {
        AppendLowBytes(list, size + 2, 1);
    } else if (size <= kLongestElement) {
        list.push_back('\0');
        AppendLowBytes(list, size + 1, 2);
    } else {
        list.append(3, '\0');
        AppendLowBytes(list, size + 1, 4);
    }
    list.append(1, static_cast<char>(type)).append(payload);
}

// The fewest bytes of the two's complement that determine the rest.
void AppendInteger(std::string& list, std::int64_t value)
{
    const std::int64_t fill = value < 0 ? -1 : 0;
    std::size_t count = sizeof value;
    while (count > 0 && value >> (8 * (count - 1)) == fill) {
        --count;
    }
    std::string bytes;
    AppendLowBytes(bytes, static_cast<std::uint64_t>(value), count);
    AppendTyped(list, value < 0 ? ListElement::kNegative : ListElement::kNonNegative, bytes);
}

struct Encoder {
    std::string& list;

    void operator()(std::monostate) const { AppendTyped(list, ListElement::kBytes, ""); }
    void operator()(std::int64_t value) const { AppendInteger(list, value); }
    void operator()(double value) const
    {
        std::string bytes;
        AppendLowBytes(bytes, std::bit_cast<std::uint64_t>(value), sizeof value);
        AppendTyped(list, ListElement::kDouble, bytes);
    }
    void operator()(const std::string& bytes) const { AppendElement(list, bytes); }
    void operator()(const std::u16string& units) const { AppendElement(list, units); }
};

}  // namespace

void AppendElement(std::string& list, std::string_view bytes)
{
    AppendTyped(list, ListElement::kBytes, bytes);
}

void AppendElement(std::string& list, const std::u16string& units)
{
    AppendTyped(list, ListElement::kUnits,
                {reinterpret_cast<const char*>(units.data()), units.size() * sizeof(char16_t)});
}

std::string EncodeList(const std::vector<ListValue>& values)
{
    std::string list;
    for (const ListValue& value : values) {
        std::visit(Encoder{list}, value);
    }
    return list;
}

std::vector<ListElement> DecodeList(std::string_view bytes)
{
    std::vector<ListElement> elements;
    for (std::size_t at = 0; at < bytes.size();) {
        const auto extent = ReadElement(bytes, at);
        if (!extent) {
            Fail(at, "has a prefix of zeros");
        }
        ListElement element;
        if (extent->header > 1) {
            element.type = static_cast<unsigned char>(bytes[at + extent->header - 1]);
            element.payload = bytes.substr(at + extent->header, extent->payload);
        }
        elements.push_back(element);
        at += extent->Size();
    }
    return elements;
}

std::size_t ListLength(std::string_view zeroed_area, std::uint16_t length_word)
{
    std::size_t length = 0;
    while (const auto extent = ReadElement(zeroed_area, length)) {
        length += extent->Size();
    }
    if (static_cast<std::uint16_t>(length) != length_word) {
        throw ListError("a list of " + std::to_string(length) + " bytes has the length word " +
                        std::to_string(length_word));
    }
    return length;
}

std::string Utf8FromUnits(std::string_view units)
{
    const auto unit = [&](std::size_t i) -> char32_t {
        return 2 * i + 1 < units.size()
                   ? static_cast<char32_t>(LittleEndian(units.substr(2 * i, 2)))
                   : 0;
    };
    const auto is_high = [](char32_t c) { return (c & 0xFC00) == 0xD800; };
    const auto is_low = [](char32_t c) { return (c & 0xFC00) == 0xDC00; };
    std::string text;
    for (std::size_t i = 0; i < units.size() / 2; ++i) {
        const char32_t first = unit(i);
        if (is_high(first) && is_low(unit(i + 1))) {
            AppendUtf8(text, 0x10000 + ((first & 0x3FF) << 10) + (unit(++i) & 0x3FF));
        } else {
            AppendUtf8(text, is_high(first) || is_low(first) ? kReplacement : first);
        }
    }
    return text;
}

std::u16string UnitsFromUtf8(std::string_view text)
{
    std::u16string units;
    const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
    for (std::size_t at = 0; at < text.size();) {
        utf8proc_int32_t point = 0;
        const auto size =
            utf8proc_iterate(bytes + at, static_cast<utf8proc_ssize_t>(text.size() - at), &point);
        at += size > 0 ? static_cast<std::size_t>(size) : 1;
        const char32_t character = size > 0 ? static_cast<char32_t>(point) : kReplacement;
        if (character < 0x10000) {
            units.push_back(static_cast<char16_t>(character));
        } else {
            units.push_back(static_cast<char16_t>(0xD800 + ((character - 0x10000) >> 10)));
            units.push_back(static_cast<char16_t>(0xDC00 + (character & 0x3FF)));
        }
    }
    return units;
}
