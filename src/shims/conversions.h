// Text between a driver's UTF-8 and 4-byte wide characters.
#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <optional>
#include <string_view>

/// What a wide character holds on its way out. On their way in both are understood.
enum class WideForm {
    kCodePoints,  // a character
    kUtf16        // a unit of UTF-16; a character beyond U+FFFF takes two
};

/// The characters beyond U+FFFF, and the halves that UTF-16 makes of them.
constexpr bool IsHighSurrogate(wchar_t unit)
{
    return unit >= 0xD800 && unit < 0xDC00;
}

/// The longest form of one wide character in UTF-8.
inline constexpr std::size_t kLongestUtf8 = 4;

/// Wide characters in a caller's memory, which need not be aligned.
class WideView {
public:
    WideView() = default;
    WideView(const void* text, std::size_t size)
        : text_(static_cast<const char*>(text)), size_(size)
    {}
    /// Text that ends in a zero.
    static WideView Terminated(const void* text);

    std::size_t Size() const { return size_; }
    wchar_t operator[](std::size_t at) const
    {
        wchar_t character = 0;
        std::memcpy(&character, text_ + at * sizeof character, sizeof character);
        return character;
    }
    WideView First(std::size_t size) const { return {text_, size}; }
    WideView From(std::size_t at) const { return {text_ + at * sizeof(wchar_t), size_ - at}; }

private:
    const char* text_ = nullptr;
    std::size_t size_ = 0;
};

/// Room for wide characters, as above.
class WideRoom {
public:
    WideRoom(void* to, std::size_t size) : to_(static_cast<char*>(to)), size_(size) {}

    std::size_t Size() const { return size_; }
    void Put(std::size_t at, wchar_t character) const
    {
        std::memcpy(to_ + at * sizeof character, &character, sizeof character);
    }
    /// So many characters at once.
    template <std::size_t size>
    void Put(std::size_t at, const std::array<wchar_t, size>& characters) const
    {
        std::memcpy(to_ + at * sizeof(wchar_t), characters.data(), sizeof characters);
    }
    WideRoom First(std::size_t size) const { return {to_, size}; }
    WideRoom From(std::size_t at) const { return {to_ + at * sizeof(wchar_t), size_ - at}; }

private:
    char* to_;
    std::size_t size_;
};

/// Writes wide characters as UTF-8 and returns how many bytes; a pair of UTF-16 halves is one
/// character. Nothing for text that has half a pair, or a number that is no character. `to` has
/// room for kLongestUtf8 bytes a wide character.
std::optional<std::size_t> Narrow(WideView text, char* to);

/// How many wide characters UTF-8 text makes. Bytes that are no UTF-8 make U+FFFD, one for each
/// stretch that could have begun a character.
std::size_t CountWide(std::string_view text, WideForm form);

/// Writes UTF-8 text as wide characters, piece by piece.
class Widening {
public:
    /// How many bytes were used up, and how many wide characters written.
    struct Progress {
        std::size_t bytes;
        std::size_t characters;
    };

    explicit Widening(WideForm form) : form_(form) {}

    /// Writes what fits. Bytes that may begin a character at the end of the text are left unless
    /// that is all there will be; of a pair that finds room for one half the other is kept.
    Progress Write(std::string_view text, bool is_all, WideRoom to);

    /// Whether half a pair is kept for the next piece.
    bool HasHalf() const { return half_ != 0; }

private:
    WideForm form_;
    wchar_t half_ = 0;
};
