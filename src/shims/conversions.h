// Conversion of text between a driver's UTF-8 and 4-byte wide characters.
#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <optional>
#include <string_view>

/// What a wide character from the shim holds. In text for the driver, both are accepted.
enum class WideForm {
    kCodePoints,  // a character
    kUtf16        // a UTF-16 code unit; a character beyond U+FFFF takes two
};

/// The characters beyond U+FFFF, and their UTF-16 surrogates.
constexpr bool IsHighSurrogate(wchar_t unit)
{
    return unit >= 0xD800 && unit < 0xDC00;
}

/// The maximum size of one wide character in UTF-8.
inline constexpr std::size_t kLongestUtf8 = 4;

/// Wide characters in a caller's memory, which need not be aligned.
class WideView {
public:
    WideView() = default;
    WideView(const void* text, std::size_t size)
        : text_(static_cast<const char*>(text)), size_(size)
    {}
    /// Terminated text.
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

/// Room for wide characters, which likewise need not be aligned.
class WideRoom {
public:
    WideRoom(void* to, std::size_t size) : to_(static_cast<char*>(to)), size_(size) {}

    std::size_t Size() const { return size_; }
    void Put(std::size_t at, wchar_t character) const
    {
        std::memcpy(to_ + at * sizeof character, &character, sizeof character);
    }
    /// That many characters at once.
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

/// Writes wide characters as UTF-8 and returns the number of bytes; a surrogate pair is one
/// character. Nothing for text with a lone surrogate, or with a number that is not a character.
/// `to` has room for kLongestUtf8 bytes per wide character.
std::optional<std::size_t> Narrow(WideView text, char* to);

/// How many wide characters UTF-8 text becomes. Bytes that are not UTF-8 become U+FFFD, one for
/// each sequence that could have begun a character.
std::size_t CountWide(std::string_view text, WideForm form);

/// Writes UTF-8 text as wide characters, piece by piece.
class Widening {
public:
    /// How many bytes were consumed, and how many wide characters written.
    struct Progress {
        std::size_t bytes;
        std::size_t characters;
    };

    explicit Widening(WideForm form) : form_(form) {}

    /// Writes what fits. Bytes that may begin a character at the end of the text are left, unless
    /// no more text follows; if only half of a surrogate pair fits, the other half is kept.
    Progress Write(std::string_view text, bool is_all, WideRoom to);

    /// Whether half a surrogate pair is kept for the next piece.
    bool HasHalf() const { return half_ != 0; }

private:
    WideForm form_;
    wchar_t half_ = 0;
};
