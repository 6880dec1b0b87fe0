// The shims' conversion between UTF-8 and wide characters, checked against utf8proc: the result is
// the same whole or in pieces, nothing outside the room is touched, and what is not text is
// replaced or refused.
#include "shims/conversions.h"

#include <fuzzer/FuzzedDataProvider.h>
#include <utf8proc.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr std::size_t kWidth = sizeof(wchar_t);
constexpr wchar_t kReplacement = 0xFFFD;
constexpr char kUntouched = '\x5A';
constexpr std::size_t kSizes[] = {1, 0, 2, 3, 7, 8, 9, 40};  // the first if no bytes are left

void Check(bool is_right)
{
    if (!is_right) {
        std::abort();
    }
}

// The character that text begins with; size 0 if there is none.
utf8proc_int32_t First(std::string_view text, std::size_t& size)
{
    utf8proc_int32_t character = 0;
    const auto used = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                       static_cast<utf8proc_ssize_t>(text.size()), &character);
    size = used < 1 ? 0 : static_cast<std::size_t>(used);
    return character;
}

// How many bytes could have begun a character that they don't complete.
std::size_t ReplacedStretch(std::string_view text)
{
    std::size_t whole = 0;
    for (std::size_t size = std::min<std::size_t>(3, text.size()); size > 1; --size) {
        First(std::string(text.substr(0, size)) + "\x80\x80", whole);
        if (whole > size) {
            return size;
        }
    }
    return 1;
}

std::wstring Expected(std::string_view text, WideForm form)
{
    std::wstring wide;
    while (!text.empty()) {
        std::size_t size = 0;
        auto character = First(text, size);
        if (size == 0) {
            character = kReplacement;
            size = ReplacedStretch(text);
        }
        text.remove_prefix(size);
        if (form == WideForm::kUtf16 && character > 0xFFFF) {
            wide += static_cast<wchar_t>(0xD800 + (character - 0x10000) / 0x400);
            character = 0xDC00 + character % 0x400;
        }
        wide += static_cast<wchar_t>(character);
    }
    return wide;
}

std::optional<std::string> Expected(const std::wstring& wide)
{
    std::string text;
    for (std::size_t i = 0; i < wide.size(); ++i) {
        utf8proc_int32_t character = wide[i];
        if (character >> 10 == 0xD800 >> 10 && i + 1 < wide.size() &&
            wide[i + 1] >> 10 == 0xDC00 >> 10) {
            character = 0x10000 + character % 0x400 * 0x400 + wide[++i] % 0x400;
        }
        utf8proc_uint8_t bytes[4];
        if (utf8proc_codepoint_valid(character) == 0) {
            return std::nullopt;
        }
        auto* const end = bytes + utf8proc_encode_char(character, bytes);
        text.append(bytes, end);
    }
    return text;
}

// Writes into memory of exactly the room granted, whatever its alignment.
Widening::Progress Write(Widening& widening, std::string_view text, bool is_all, std::size_t room,
                         std::size_t offset, std::wstring& wide)
{
    const std::vector<char> from(text.begin(), text.end());
    std::vector<char> to(offset + room * kWidth, kUntouched);
    const auto progress =
        widening.Write({from.data(), from.size()}, is_all, {to.data() + offset, room});
    Check(progress.bytes <= text.size() && progress.characters <= room);
    const auto end = to.begin() + static_cast<long>(offset + progress.characters * kWidth);
    Check(std::all_of(end, to.end(), [](char byte) { return byte == kUntouched; }));
    const WideView written(to.data() + offset, progress.characters);
    for (std::size_t i = 0; i < written.Size(); ++i) {
        wide += written[i];
    }
    return progress;
}

void WriteInPieces(FuzzedDataProvider& data, std::string_view text, WideForm form,
                   const std::wstring& expected)
{
    Widening widening(form);
    std::wstring wide;
    std::size_t at = 0;
    std::size_t there = 0;
    while (at < text.size() || widening.HasHalf()) {
        there = std::min(text.size(), there + data.PickValueInArray(kSizes));
        const std::size_t room = data.PickValueInArray(kSizes);
        at += Write(widening, text.substr(at, there - at), there == text.size(), room,
                    data.ConsumeIntegralInRange<std::size_t>(0, 3), wide)
                  .bytes;
        const std::size_t half = widening.HasHalf() ? 1 : 0;
        Check(wide.size() + half + CountWide(text.substr(at), form) == expected.size());
    }
    Check(wide == expected);
}

std::optional<std::string> CheckedNarrow(const std::wstring& wide, std::size_t offset)
{
    auto expected = Expected(wide);
    std::vector<char> from(offset + wide.size() * kWidth);
    std::copy_n(reinterpret_cast<const char*>(wide.data()), wide.size() * kWidth,
                from.data() + offset);
    std::vector<char> to(wide.size() * kLongestUtf8);
    const auto size = Narrow({from.data() + offset, wide.size()}, to.data());
    Check(size.has_value() == expected.has_value());
    Check(!size || std::string_view(to.data(), *size) == *expected);
    return expected;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, std::size_t size)
{
    FuzzedDataProvider data(bytes, size);
    const WideForm form = data.ConsumeBool() ? WideForm::kUtf16 : WideForm::kCodePoints;
    const auto offset = data.ConsumeIntegralInRange<std::size_t>(0, 3);
    const std::string text = data.ConsumeRandomLengthString(1000);
    std::wstring wide = Expected(text, form);
    Check(CountWide(text, form) == wide.size());
    Widening widening(form);
    std::wstring whole;
    Check(Write(widening, text, true, wide.size(), offset, whole).bytes == text.size());
    Check(whole == wide && !widening.HasHalf());
    WriteInPieces(data, text, form, wide);

    Check(CheckedNarrow(wide, offset) == text || wide.find(kReplacement) != std::wstring::npos);
    wide.insert(data.ConsumeIntegralInRange<std::size_t>(0, wide.size()), 1,
                data.ConsumeBool() ? data.ConsumeIntegral<wchar_t>()
                                   : data.ConsumeIntegralInRange<wchar_t>(0xD780, 0xE07F));
    CheckedNarrow(wide, offset);
    return 0;
}
