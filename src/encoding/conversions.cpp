#include "encoding/conversions.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>

char ccbuf[kConversionBufferSize];

namespace {

unsigned LowByteFirst(const unsigned char* unit)
{
    return unit[0] + 256U * unit[1];
}

unsigned MachineOrder(const unsigned char* unit)
{
    std::uint16_t value = 0;
    std::memcpy(&value, unit, sizeof value);
    return value;
}

template <unsigned (*ReadUnit)(const unsigned char*)>
int Widen(const unsigned char* source, int byte_count, wchar_t* destination, int capacity)
{
    const int n = byte_count / 2;
    if (n - 1 > capacity) {
        return 0;
    }
    for (int i = 0; i < n; ++i) {
        destination[i] =
            static_cast<wchar_t>(ReadUnit(source + 2 * static_cast<std::ptrdiff_t>(i)));
    }
    destination[n] = 0;
    return n;
}

}  // namespace

int VYRToWide(const unsigned char* source, int n, wchar_t* destination, int capacity)
{
    if (capacity <= n) {
        return 0;
    }
    for (int i = 0; i < n; ++i) {
        destination[i] = source[i];
    }
    destination[n] = 0;
    return n;
}

int uni2_uni4(const unsigned char* source, int byte_count, wchar_t* destination, int capacity)
{
    return Widen<LowByteFirst>(source, byte_count, destination, capacity);
}

int uni2_uni4_no_swap(const unsigned char* source, int byte_count, wchar_t* destination,
                      int capacity)
{
    return Widen<MachineOrder>(source, byte_count, destination, capacity);
}

int uni4_uni2(const wchar_t* source, int n, unsigned short* destination, int capacity_bytes)
{
    if (static_cast<const void*>(destination) == source || source == nullptr ||
        2LL * n > capacity_bytes || destination == nullptr) {
        return 0;
    }
    for (int i = 0; i < n; ++i) {
        destination[i] = static_cast<unsigned short>(source[i]);
    }
    if (n < capacity_bytes / 2 - 1) {
        destination[n] = 0;
    }
    return n;
}

int uni4_uni2_no_swap(const wchar_t* source, int n, unsigned short* destination, int capacity_bytes)
{
    return uni4_uni2(source, n, destination, capacity_bytes);
}

int ucslen(const wchar_t* text)
{
    return static_cast<int>(std::wcslen(text));
}

int MultiByteToWideChar(unsigned /*code_page*/, unsigned /*flags*/, const char* source,
                        int /*source_length*/, wchar_t* destination, int destination_count)
{
    return static_cast<int>(
        std::mbstowcs(destination, source, static_cast<std::size_t>(destination_count)));
}

int WideCharToMultiByte(unsigned /*code_page*/, unsigned /*flags*/, const wchar_t* source,
                        int /*source_length*/, char* destination, int destination_bytes,
                        const char* /*default_char*/, char* /*used_default*/)
{
    return static_cast<int>(
        std::wcstombs(destination, source, static_cast<std::size_t>(destination_bytes)));
}
