// How the wide shim connects: as requested, with UTF-8 as the encoding of the driver's narrow text.
#include <strings.h>

#include <sql.h>
#include <sqlext.h>
#include <sqlucode.h>

#include "shims/wide.h"
#include "shims/wide_text.h"

std::string_view ShimName()
{
    return "Wide shim";
}

namespace {

using Name = InText<SQLSMALLINT>;
using OutName = OutText<SQLSMALLINT>;

constexpr std::string_view kUtf16Prefix = "utf16-";

/// The key that makes a driver's narrow text UTF-8, whatever its environment: shown by
/// ConfiguredShim.AsksForUtf8UnlessConfiguredOtherwise. psqlodbca.so 13.02 uses the encoding of the
/// environment's locale; libmaodbc.so 3.1.15 uses utf8mb4 as built by Debian.
struct Encoding {
    const char* driver;
    const char* key;
    const char* value;
};
constexpr char kPostgresqlText[] = "SET client_encoding TO 'UTF8'";
constexpr Encoding kEncodings[] = {
    {"libmaodbc.so", "Charset", "utf8mb4"},
    {"libtdsodbc.so", "ClientCharset", "UTF-8"},
    {"psqlodbca.so", "ConnSettings", kPostgresqlText},
    {"psqlodbcw.so", "ConnSettings", kPostgresqlText},
};

const Encoding* OwnEncoding()
{
    const std::string& name = RealDriver::Instance().Name();
    const auto* found = std::ranges::find_if(
        kEncodings, [&](const Encoding& encoding) { return name == encoding.driver; });
    return found != std::end(kEncodings) ? found : nullptr;
}

/// The value of a key of a connection string; text in braces contains no keys.
std::optional<std::string> ValueOf(std::string_view string, const char* key)
{
    while (!string.empty()) {
        const std::size_t equals = string.find('=');
        if (equals == std::string_view::npos) {
            return std::nullopt;
        }
        const std::string name(string.substr(0, equals));
        string.remove_prefix(equals + 1);
        const std::size_t behind_braces = string.starts_with('{') ? string.find('}') : 0;
        const std::size_t end = std::min(string.find(';', behind_braces), string.size());
        if (::strcasecmp(name.c_str() + name.find_first_not_of("; "), key) == 0) {
            return std::string(string.substr(0, end));
        }
        string.remove_prefix(std::min(end + 1, string.size()));
    }
    return std::nullopt;
}

/// Whether a data source has a key. The drivers concerned read theirs with unixODBC's libodbcinst,
/// which they load themselves.
bool SourceHas(const std::string& source, const char* key)
{
    using Read = int(const char* section, const char* key, const char* otherwise, char* value,
                     int capacity, const char* file);
    auto* const read =
        reinterpret_cast<Read*>(RealDriver::Instance().Find("SQLGetPrivateProfileString"));
    char value[64] = "";
    return read != nullptr && read(source.c_str(), key, "", value, sizeof value, "odbc.ini") > 0 &&
           value[0] != '\0';
}

/// A further key of a connection string, if it has a value; a value with a semicolon is put in
/// braces.
std::string Item(const std::string& key, const std::string& value)
{
    const bool is_bare = value.find(';') == std::string::npos;
    return value.empty() ? "" : ";" + key + "=" + (is_bare ? value : "{" + value + "}");
}

/// What to add to a connection string, possibly nothing.
std::string Addition(const std::string& string)
{
    const Encoding* encoding = OwnEncoding();
    if (encoding == nullptr || ValueOf(string, encoding->key)) {
        return "";
    }
    const auto source = ValueOf(string, "DSN");
    return source && SourceHas(*source, encoding->key)
               ? ""
               : std::string(string.ends_with(';') ? "" : ";") + encoding->key + "=" +
                     encoding->value;
}

}  // namespace

std::span<const std::string_view> Prefixes()
{
    static constexpr std::string_view kPrefixes[] = {"wide-", kUtf16Prefix};
    return kPrefixes;
}

WideForm OwnForm()
{
    return RealDriver::Instance().Prefix() == kUtf16Prefix ? WideForm::kUtf16
                                                           : WideForm::kCodePoints;
}

void BeginCall(SQLHANDLE handle)
{
    Handles::Instance().Begin(handle);
}

#pragma GCC visibility push(default)

extern "C" {

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)

SQLRETURN SQLDriverConnectW(SQLHDBC handle, SQLHWND window, SQLWCHAR* in, SQLSMALLINT in_length,
                            SQLWCHAR* out, SQLSMALLINT capacity, SQLSMALLINT* out_length,
                            SQLUSMALLINT completion)
{
    Handles::Instance().Begin(handle);
    Name string(in, in_length);
    string.Append(Addition(string.Text()));
    return CallNarrow<&SQLDriverConnect>("SQLDriverConnect", handle, handle, window,
                                         std::move(string), OutName(out, capacity, out_length),
                                         completion);
}

// A data source's name alone can't carry further keys; a connection string with the name can.
SQLRETURN SQLConnectW(SQLHDBC handle, SQLWCHAR* source, SQLSMALLINT source_length, SQLWCHAR* user,
                      SQLSMALLINT user_length, SQLWCHAR* password, SQLSMALLINT password_length)
{
    Handles::Instance().Begin(handle);
    Name name(source, source_length);
    Name uid(user, user_length);
    Name pwd(password, password_length);
    const Encoding* encoding = OwnEncoding();
    if (encoding == nullptr || SourceHas(name.Text(), encoding->key)) {
        return CallNarrow<&SQLConnect>("SQLConnect", handle, handle, std::move(name),
                                       std::move(uid), std::move(pwd));
    }
    for (const Name* text : {&name, &uid, &pwd}) {
        if (text->Fault() != nullptr) {
            Handles::Instance().Diagnose(handle, *text->Fault());
            return SQL_ERROR;
        }
    }
    Name string(L"DSN=", SQL_NTS);
    string.Append(name.Text() + Item("UID", uid.Text()) + Item("PWD", pwd.Text()) +
                  Item(encoding->key, encoding->value));
    SQLCHAR* const no_text = nullptr;
    return CallNarrow<&SQLDriverConnect>(
        "SQLDriverConnect", handle, handle, SQLHWND{}, std::move(string), no_text, SQLSMALLINT{0},
        static_cast<SQLSMALLINT*>(nullptr), SQLUSMALLINT{SQL_DRIVER_NOPROMPT});
}

SQLRETURN SQLBrowseConnectW(SQLHDBC handle, SQLWCHAR* in, SQLSMALLINT in_length, SQLWCHAR* out,
                            SQLSMALLINT capacity, SQLSMALLINT* out_length)
{
    Handles::Instance().Begin(handle);
    Name string(in, in_length);
    string.Append(Addition(string.Text()));
    return CallNarrow<&SQLBrowseConnect>("SQLBrowseConnect", handle, handle, std::move(string),
                                         OutName(out, capacity, out_length));
}

// NOLINTEND(readability-inconsistent-declaration-parameter-name)

}  // extern "C"

#pragma GCC visibility pop
