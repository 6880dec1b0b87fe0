#include "shims/conversions.h"

#include <algorithm>
#include <cstdint>

namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kFirstBeyond = 0x10000;
constexpr char32_t kLast = 0x10FFFF;
constexpr unsigned char kFirstBeyondAscii = 0x80;
constexpr std::size_t kBlock = 8;

bool IsLowSurrogate(wchar_t unit)
{
    return unit >= 0xDC00 && unit < 0xE000;
}

bool IsAscii(const char* block)
{
    std::uint64_t bytes = 0;
    std::memcpy(&bytes, block, sizeof bytes);
    return (bytes & 0x8080808080808080U) == 0;
}

/// What a UTF-8 lead byte announces.
struct Lead {
    std::size_t size;  // of the whole character; 0: it begins none
    char32_t bits;
    unsigned char second_from;  // the second byte, which excludes overlong forms and surrogates
    unsigned char second_to;
};

constexpr Lead LeadOf(unsigned char byte)
{
    if (byte < 0xC2 || byte > 0xF4) {
        return {0, 0, 0, 0};
    }
    if (byte < 0xE0) {
        return {2, byte & 0x1FU, 0x80, 0xBF};
    }
    if (byte < 0xF0) {
        return {3, byte & 0x0FU, static_cast<unsigned char>(byte == 0xE0 ? 0xA0 : 0x80),
                static_cast<unsigned char>(byte == 0xED ? 0x9F : 0xBF)};
    }
    return {4, byte & 0x07U, static_cast<unsigned char>(byte == 0xF0 ? 0x90 : 0x80),
            static_cast<unsigned char>(byte == 0xF4 ? 0x8F : 0xBF)};
}

/// The character that text begins with, and its size; size 0 if it is not complete yet.
struct Decoded {
    char32_t character;
    std::size_t size;
};

Decoded Decode(std::string_view text, bool is_all)
{
    const auto first = static_cast<unsigned char>(text.front());
    if (first < 0x80) {
        return {first, 1};
    }
    const Lead lead = LeadOf(first);
    if (lead.size == 0) {
        return {kReplacement, 1};
    }
    char32_t character = lead.bits;
    for (std::size_t i = 1; i < lead.size; ++i) {
        if (i == text.size()) {
            return {kReplacement, is_all ? i : 0};
        }
        const auto byte = static_cast<unsigned char>(text[i]);
        const bool continues = i == 1 ? byte >= lead.second_from && byte <= lead.second_to
                                      : byte >= 0x80 && byte <= 0xBF;
        if (!continues) {
            return {kReplacement, i};
        }
        character = character << 6U | (byte & 0x3FU);
    }
    return {character, lead.size};
}

char* Encode(char32_t character, char* to)
{
    const auto put = [&to](char32_t byte) { *to++ = static_cast<char>(byte); };
    if (character < 0x80) {
        put(character);
        return to;
    }
    if (character < 0x800) {
        put(0xC0U | character >> 6U);
    } else if (character < kFirstBeyond) {
        put(0xE0U | character >> 12U);
        put(0x80U | (character >> 6U & 0x3FU));
    } else {
        put(0xF0U | character >> 18U);
        put(0x80U | (character >> 12U & 0x3FU));
        put(0x80U | (character >> 6U & 0x3FU));
    }
    put(0x80U | (character & 0x3FU));
    return to;
}

}  // namespace

WideView WideView::Terminated(const void* text)
{
    WideView view(text, 0);
    while (view[view.size_] != 0) {
        ++view.size_;
    }
    return view;
}

std::optional<std::size_t> Narrow(WideView text, char* to)
{
    char* const begin = to;
    for (std::size_t at = 0; at < text.Size(); ++at) {
        auto character = static_cast<char32_t>(text[at]);
        const bool is_pair =
            IsHighSurrogate(text[at]) && at + 1 < text.Size() && IsLowSurrogate(text[at + 1]);
        if (is_pair) {
            ++at;
            character = kFirstBeyond + ((character & 0x3FFU) << 10U) +
                        (static_cast<char32_t>(text[at]) & 0x3FFU);
        } else if (IsHighSurrogate(text[at]) || IsLowSurrogate(text[at]) || character > kLast) {
            return std::nullopt;
        }
        to = Encode(character, to);
    }
    return static_cast<std::size_t>(to - begin);
}

std::size_t CountWide(std::string_view text, WideForm form)
{
    std::size_t count = 0;
    while (!text.empty()) {
        if (text.size() >= kBlock && IsAscii(text.data())) {
            text.remove_prefix(kBlock);
            count += kBlock;
            continue;
        }
        const auto [character, size] = Decode(text, true);
        text.remove_prefix(size);
        count += form == WideForm::kUtf16 && character >= kFirstBeyond ? 2 : 1;
    }
    return count;
}

Widening::Progress Widening::Write(std::string_view text, bool is_all, WideRoom to)
{
    std::size_t in = 0;
    std::size_t out = 0;
    if (half_ != 0 && to.Size() > 0) {
        to.Put(out++, half_);
        half_ = 0;
    }
    while (in < text.size() && out < to.Size()) {
        if (text.size() - in >= kBlock && to.Size() - out >= kBlock && IsAscii(&text[in])) {
            std::array<wchar_t, kBlock> block{};
            std::copy_n(&text[in], kBlock, block.begin());
            to.Put(out, block);
            in += kBlock;
            out += kBlock;
            continue;
        }
        if (static_cast<unsigned char>(text[in]) < kFirstBeyondAscii) {
            to.Put(out++, static_cast<wchar_t>(text[in++]));
            continue;
        }
        const auto [character, size] = Decode(text.substr(in), is_all);
        if (size == 0) {
            break;
        }
        in += size;
        if (form_ == WideForm::kCodePoints || character < kFirstBeyond) {
            to.Put(out++, static_cast<wchar_t>(character));
            continue;
        }
        to.Put(out++, static_cast<wchar_t>(0xD7C0U + (character >> 10U)));
        half_ = static_cast<wchar_t>(0xDC00U | (character & 0x3FFU));
        if (out < to.Size()) {
            to.Put(out++, half_);
            half_ = 0;
        }
    }
    return {in, out};
}
