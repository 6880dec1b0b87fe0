// A CSV file of any bytes: records, or an error that says which one is malformed.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "text/CsvReader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, std::size_t size)
{
    const int file = ::memfd_create("csv", 0);
    if (::write(file, bytes, size) != static_cast<ssize_t>(size)) {
        std::abort();
    }
    try {
        CsvReader reader("/proc/self/fd/" + std::to_string(file));
        std::size_t number = 0;
        while (reader.Next()) {
            if (reader.Line() < ++number || reader.Fields().empty()) {
                std::abort();
            }
        }
    } catch (const CsvError&) {
    }
    ::close(file);
    return 0;
}
