// Conversion of text between the forms that a host and ODBC use: 8-bit host text (Latin-1), 2-byte
// host characters (UTF-16 units, low byte first, never paired), wide characters (4-byte wchar_t)
// and the multibyte text of the process locale. Nothing here allocates; the caller owns every
// destination.
#pragma once

#include <cstddef>

/// Longest text, in characters, that goes through a conversion buffer.
inline constexpr std::size_t kConversionLimit = 3'641'144;
/// Size of a conversion buffer, in its own elements.
inline constexpr std::size_t kConversionBufferSize = 3'641'146;

/// Multibyte text to be written into a list (bytes). Process-wide, like every conversion buffer.
extern char ccbuf[kConversionBufferSize];

/// Widens n bytes as Latin-1 and terminates the result. Returns n, or 0 without writing anything if
/// they exceed capacity (wide characters, terminator included).
int VYRToWide(const unsigned char* source, int n, wchar_t* destination, int capacity);

/// Widens the 2-byte characters in byte_count bytes, low byte first; an odd last byte is ignored.
/// The result is terminated. Returns the character count, or 0 without writing anything if it
/// exceeds capacity by more than 1: with its terminator a text may take two more than capacity, so
/// destination must hold that many.
int uni2_uni4(const unsigned char* source, int byte_count, wchar_t* destination, int capacity);

/// As uni2_uni4, for 2-byte characters in the machine's byte order.
int uni2_uni4_no_swap(const unsigned char* source, int byte_count, wchar_t* destination,
                      int capacity);

/// Narrows n wide characters to their low 16 bits: characters above U+FFFF are truncated, not
/// paired. Terminated only if there is room for more than the terminator. Returns n; returns 0 and
/// writes nothing for a null pointer, equal pointers or 2n above capacity_bytes.
int uni4_uni2(const wchar_t* source, int n, unsigned short* destination, int capacity_bytes);

/// The same as uni4_uni2: both write units in the machine's byte order, which is the host's.
int uni4_uni2_no_swap(const wchar_t* source, int n, unsigned short* destination,
                      int capacity_bytes);

/// Characters before the terminating zero.
int ucslen(const wchar_t* text);

/// mbstowcs(destination, source, destination_count) with a customary argument list: code page,
/// flags and source length are ignored, so source must be terminated. Returns the characters
/// written without a terminator, or -1 if source is not valid text in the locale.
int MultiByteToWideChar(unsigned code_page, unsigned flags, const char* source, int source_length,
                        wchar_t* destination, int destination_count);

/// wcstombs(destination, source, destination_bytes), as above. Returns the bytes written without a
/// terminator, or -1 if the locale can't represent a character.
int WideCharToMultiByte(unsigned code_page, unsigned flags, const wchar_t* source,
                        int source_length, char* destination, int destination_bytes,
                        const char* default_char, char* used_default);
