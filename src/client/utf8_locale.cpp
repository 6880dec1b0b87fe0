#include "client/utf8_locale.h"

#include <langinfo.h>

#include <clocale>
#include <cstdlib>
#include <memory>
#include <type_traits>

namespace {

constexpr char kUtf8[] = "UTF-8";
constexpr char kLocale[] = "C.UTF-8";

std::string ReadEncoding()
{
    const std::unique_ptr<std::remove_pointer_t<locale_t>, void (*)(locale_t)> locale(
        ::newlocale(LC_CTYPE_MASK, "", nullptr), &::freelocale);
    return locale != nullptr ? ::nl_langinfo_l(CODESET, locale.get()) : "ANSI_X3.4-1968";
}

}  // namespace

std::string EncodingOfEnvironment()
{
    static const std::string encoding = ReadEncoding();
    return encoding;
}

void UseUtf8Locale()
{
    if (EncodingOfEnvironment() != kUtf8) {
        const char* all = std::getenv("LC_ALL");
        const bool is_overridden = all != nullptr && *all != '\0';
        ::setenv(is_overridden ? "LC_ALL" : "LC_CTYPE", kLocale, 1);
    }
    std::setlocale(LC_CTYPE, kLocale);
}
