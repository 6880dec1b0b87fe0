// The wide shim over a driver that follows a test's script, and over SQLite.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <sql.h>
#include <sqlext.h>
#include <sqlucode.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <random>

#include "client/HostList.h"
#include "narrow_driver.h"
#include "shim_folder.h"
#include "shims/conversions.h"

namespace {

std::atomic<int> allocations;

}  // namespace

// If inlined, the compiler would report that free does not match new.
[[gnu::noinline]] void* operator new(std::size_t size)
{
    ++allocations;
    void* const made = std::malloc(size);
    return made != nullptr ? made : throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void* made) noexcept
{
    std::free(made);
}

[[gnu::noinline]] void operator delete(void* made, std::size_t /*size*/) noexcept
{
    std::free(made);
}

namespace {

constexpr auto kWidth = static_cast<SQLLEN>(sizeof(wchar_t));

std::wstring Wide(const std::string& utf8, WideForm form = WideForm::kUtf16)
{
    std::wstring text(utf8.size() + 1, 0);
    text.resize(Widening(form).Write(utf8, true, {text.data(), text.size()}).characters);
    return text;
}

/// Checks that the rest of the buffers given to a shim is unchanged.
constexpr wchar_t kUntouched = 0xAAAAAAA;

TEST(Conversions, ReplaceWhatIsNotUtf8)
{
    const struct {
        std::string utf8;
        std::wstring points;
    } cases[] = {
        {"", L""},
        {"plain text of ASCII", L"plain text of ASCII"},
        {"é\u07FF\u0800\uFFFF", L"é\u07FF\u0800\uFFFF"},
        {"\xC3", L"\uFFFD"},
        {"\xC0\x80", L"\uFFFD\uFFFD"},
        {"\xE0\x80\x80", L"\uFFFD\uFFFD\uFFFD"},
        {"\xED\xA0\x80z", L"\uFFFD\uFFFD\uFFFDz"},
        {"\xE6\x97", L"\uFFFD"},
        {"\xE6\x97\x41", L"\uFFFDA"},
        {"\xF0\x9F\x98", L"\uFFFD"},
        {"\xF4\x90\x80\x80", L"\uFFFD\uFFFD\uFFFD\uFFFD"},
        {"\xF5\xFF", L"\uFFFD\uFFFD"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Wide(c.utf8), c.points) << c.utf8;
        EXPECT_EQ(CountWide(c.utf8, WideForm::kUtf16), c.points.size()) << c.utf8;
    }
    EXPECT_EQ(Wide("😀", WideForm::kCodePoints), L"\U0001F600");
    EXPECT_EQ(Wide("😀\U0010FFFF"), std::wstring({0xD83D, 0xDE00, 0xDBFF, 0xDFFF}));
}

// A function of a face; a call of one; a call of one on its statement.
#define OF(f) Call<decltype(f)>(#f)
#define CALL(f, ...) face.OF(f)(__VA_ARGS__)
#define ON(f, ...) CALL(f, face.Statement() __VA_OPT__(, ) __VA_ARGS__)

/// A face of the wide shim over a driver's copy, called as a driver manager calls it.
class Face {
public:
    Face(const ShimFolder& folder, const std::string& name)
        : library_(dlopen(folder.Copy(ORVELGW_WIDE_SHIM, name).c_str(), RTLD_NOW), &dlclose)
    {
        EXPECT_NE(library_, nullptr) << dlerror();
        Allocate(SQL_HANDLE_ENV, nullptr);
        Allocate(SQL_HANDLE_DBC, handles_[SQL_HANDLE_ENV]);
        if (name.find("sqlite") != std::string::npos) {
            Connect();
        }
        Allocate(SQL_HANDLE_STMT, Connection());
    }
    ~Face()
    {
        Free(SQL_HANDLE_STMT);
        OF(SQLDisconnect)(Connection());
        Free(SQL_HANDLE_DBC);
        Free(SQL_HANDLE_ENV);
    }
    Face(const Face&) = delete;
    Face& operator=(const Face&) = delete;

    template <class Function>
    Function* Call(const char* name) const
    {
        void* found = dlsym(library_.get(), name);
        EXPECT_NE(found, nullptr) << name;
        return reinterpret_cast<Function*>(found);
    }

    SQLHSTMT Statement() const { return handles_.at(SQL_HANDLE_STMT); }
    SQLHDBC Connection() const { return handles_.at(SQL_HANDLE_DBC); }

    /// The first record of a handle: its SQLSTATE and its message.
    std::string Record(SQLSMALLINT type = SQL_HANDLE_STMT) const
    {
        std::array<wchar_t, 6> state{};
        std::array<wchar_t, 200> text{};
        SQLINTEGER native = 0;
        SQLSMALLINT length = 0;
        const SQLRETURN code = OF(SQLGetDiagRecW)(type, handles_.at(type), 1, state.data(), &native,
                                                  text.data(), text.size(), &length);
        std::string bytes(4 * text.size(), '\0');
        bytes.resize(Narrow(WideView::Terminated(text.data()), bytes.data()).value_or(0));
        return SQL_SUCCEEDED(code) ? std::string(state.begin(), state.begin() + 5) + " " + bytes
                                   : "";
    }

private:
    void Allocate(SQLSMALLINT type, SQLHANDLE input)
    {
        EXPECT_EQ(OF(SQLAllocHandle)(type, input, &handles_[type]), SQL_SUCCESS);
    }
    void Free(SQLSMALLINT type) { OF(SQLFreeHandle)(type, handles_[type]); }
    void Connect()
    {
        OF(SQLSetEnvAttr)
        (handles_.at(SQL_HANDLE_ENV), SQL_ATTR_ODBC_VERSION, reinterpret_cast<void*>(SQL_OV_ODBC3),
         0);
        std::wstring string = L"Database=:memory:";
        EXPECT_EQ(OF(SQLDriverConnectW)(Connection(), nullptr, string.data(), SQL_NTS, nullptr, 0,
                                        nullptr, SQL_DRIVER_NOPROMPT),
                  SQL_SUCCESS);
    }

    std::unique_ptr<void, int (*)(void*)> library_;
    std::map<int, SQLHANDLE> handles_;
};
using Calls = std::vector<std::string>;

class WideShim : public testing::Test {
protected:
    explicit WideShim(const std::string& name = "utf16-driver.so",
                      const std::string& driver_name = "driver.so")
        : library(dlopen(folder.Link(NARROW_DRIVER, driver_name).c_str(), RTLD_NOW), &dlclose),
          driver(*reinterpret_cast<decltype(&TestDriver)>(dlsym(library.get(), "TestDriver"))()),
          face(folder, name)
    {
        driver = {};
    }

    /// The calls since the last time they were taken.
    Calls TakeCalls() { return std::exchange(driver.calls, {}); }

    SQLRETURN Bind(SQLUSMALLINT number, SQLSMALLINT io_type, void* text, SQLLEN size,
                   SQLLEN* indicator)
    {
        return ON(SQLBindParameter, number, io_type, SQL_C_WCHAR, SQL_WVARCHAR, 30, 0, text, size,
                  indicator);
    }
    /// What is sent when the statement is executed, successfully.
    Calls Executed()
    {
        TakeCalls();
        EXPECT_EQ(ON(SQLExecute), SQL_SUCCESS) << face.Record();
        return TakeCalls();
    }
    /// The beginning of the record of a call that fails.
    std::string Refusal(SQLRETURN code, std::size_t size = 5, SQLSMALLINT type = SQL_HANDLE_STMT)
    {
        EXPECT_EQ(code, SQL_ERROR);
        return face.Record(type).substr(0, size);
    }
    SQLRETURN Set(SQLINTEGER attribute, SQLULEN value)
    {
        return ON(SQLSetStmtAttrW, attribute, reinterpret_cast<void*>(value), 0);
    }

    const ShimFolder folder{};
    std::unique_ptr<void, int (*)(void*)> library;
    NarrowDriver& driver;
    Face face;
};

TEST_F(WideShim, SendsTextsByTheirLengths)
{
    std::wstring text = Wide("Ω😀z");
    ON(SQLPrepareW, text.data(), SQL_NTS);
    ON(SQLPrepareW, text.data(), 3);
    ON(SQLTablesW, text.data(), 1, nullptr, 0, text.data(), 0, text.data(), SQL_NTS);
    CALL(SQLSetConnectAttrW, face.Connection(), SQL_ATTR_CURRENT_CATALOG, text.data(), 3 * kWidth);
    EXPECT_EQ(TakeCalls(),
              (Calls{"Prepare|Ω😀z", "Prepare|Ω😀", "Tables|Ω|-||Ω😀z", "SetConnectAttr|Ω😀"}));

    EXPECT_EQ(Refusal(ON(SQLPrepareW, text.data(), 2)), "22018") << "half a pair";
    SQLINTEGER count = 0;
    EXPECT_EQ(CALL(SQLGetDiagFieldW, SQL_HANDLE_STMT, face.Statement(), 0, SQL_DIAG_NUMBER, &count,
                   0, nullptr),
              SQL_SUCCESS);
    EXPECT_EQ(count, 1);
    const SQLRETURN refused = CALL(SQLSetConnectAttrW, face.Connection(), SQL_ATTR_CURRENT_CATALOG,
                                   text.data(), 2 * kWidth);
    EXPECT_EQ(Refusal(refused, 5, SQL_HANDLE_DBC), "22018");
    EXPECT_EQ(TakeCalls(), Calls{});
    ON(SQLNumParams, std::array<SQLSMALLINT, 1>{}.data());
    EXPECT_EQ(face.Record().substr(0, 5), "HY000") << "the driver's again";
}

TEST_F(WideShim, ReceivesTextsInTheUnitsOfEachFunction)
{
    driver.text = "Ω😀z";
    const std::wstring whole = Wide(driver.text);
    std::wstring sql = L"q";
    for (const int places : {0, 1, 2, 3, 4, 5, 6}) {
        std::wstring to(9, kUntouched);
        SQLSMALLINT length = 0;
        SQLINTEGER long_length = 0;
        SQLINTEGER native = 0;
        SQLSMALLINT type = 0;
        const auto expect = [&](const char* function, SQLRETURN code, SQLLEN reported,
                                std::wstring text, SQLLEN unit) {
            const auto all = static_cast<int>(text.size());
            EXPECT_EQ(code, places > all || places == 0 ? SQL_SUCCESS : SQL_SUCCESS_WITH_INFO)
                << function << places;
            EXPECT_EQ(reported, unit * all) << function << places;
            text.resize(static_cast<std::size_t>(std::clamp(places - 1, 0, all)));
            text.resize(static_cast<std::size_t>(text.size()) + (places > 0 ? 1 : 0), 0);
            text.resize(to.size(), kUntouched);
            EXPECT_EQ(to, text) << function << places;
            to.assign(9, kUntouched);
        };
        const auto room = static_cast<SQLSMALLINT>(places);
        const auto bytes = static_cast<SQLSMALLINT>(kWidth * places);
        SQLRETURN code =
            ON(SQLDescribeColW, 1, to.data(), room, &length, &type, nullptr, nullptr, nullptr);
        expect("SQLDescribeColW", code, length, whole, 1);
        code = CALL(SQLGetInfoW, face.Connection(), SQL_DBMS_NAME, to.data(), bytes, &length);
        expect("SQLGetInfoW", code, length, whole, kWidth);
        code =
            CALL(SQLNativeSqlW, face.Connection(), sql.data(), 1, to.data(), places, &long_length);
        expect("SQLNativeSqlW", code, long_length, L"q" + whole, 1);
        ON(SQLCancel);
        std::array<wchar_t, 6> state{};
        code = CALL(SQLGetDiagRecW, SQL_HANDLE_STMT, face.Statement(), 1, state.data(), &native,
                    to.data(), room, &length);
        expect("SQLGetDiagRecW", code, length, whole, 1);
        EXPECT_STREQ(state.data(), L"HY000");
    }
    SQLUSMALLINT number = 0;
    CALL(SQLGetInfoW, face.Connection(), SQL_MAX_COLUMN_NAME_LEN, &number, 2, nullptr);
    EXPECT_EQ(number, 63) << "no text";
}

TEST_F(WideShim, ConvertsParametersAtExecution)
{
    std::wstring text = Wide("Ω😀");
    const std::wstring before = text;
    SQLLEN indicators[] = {SQL_NTS, kWidth, SQL_NULL_DATA, SQL_DEFAULT_PARAM};
    for (SQLUSMALLINT i = 0; i < 4; ++i) {
        ASSERT_EQ(Bind(i + 1, SQL_PARAM_INPUT, text.data(), 0, &indicators[i]), SQL_SUCCESS);
    }
    EXPECT_EQ(TakeCalls().front(), "BindParameter|1|1|12") << "a narrow driver knows no wide type";
    Executed();
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(Executed(),
                  (Calls{"Execute 1|Ω😀", "Execute 2|Ω", "Execute 3|-1", "Execute 4|-5"}))
            << "bound once for as much text";
    }
    EXPECT_EQ(text, before);

    indicators[1] = 2 * kWidth;
    EXPECT_EQ(Refusal(ON(SQLExecute), 42), "22018 [Orvel][Wide shim]parameter 2: the t");
    indicators[1] = 3;
    EXPECT_EQ(Refusal(ON(SQLExecute)), "HY090");
    EXPECT_EQ(TakeCalls(), Calls{}) << "nothing is sent";

    driver.markers = 1;  // the bindings beyond it belong to another statement
    Executed();
    std::wstring sql = L"SELECT ?";
    EXPECT_EQ(ON(SQLExecDirectW, sql.data(), SQL_NTS), SQL_SUCCESS);
    EXPECT_EQ(face.Record().substr(0, 5), "HY000");
    EXPECT_EQ(TakeCalls().back(), "ExecDirect 4");
    ON(SQLFreeStmt, SQL_RESET_PARAMS);
}

TEST_F(WideShim, ConvertsArraysOfParameters)
{
    wchar_t columns[3][4] = {L"Ω", L"ab", L"😀"};
    SQLLEN column_indicators[] = {SQL_NTS, SQL_NULL_DATA, kWidth};
    struct Row {
        SQLLEN indicator;
        wchar_t text[5];
    } rows[] = {{SQL_NTS, L"Ω"}, {SQL_NULL_DATA, L""}, {kWidth, L"😀"}};
    SQLUSMALLINT use[] = {SQL_PARAM_PROCEED, SQL_PARAM_PROCEED, SQL_PARAM_PROCEED};
    Set(SQL_ATTR_PARAMSET_SIZE, 3);
    Set(SQL_ATTR_PARAM_OPERATION_PTR, reinterpret_cast<SQLULEN>(use));
    for (const bool by_row : {false, true}) {
        Set(SQL_ATTR_PARAM_BIND_TYPE, by_row ? sizeof(Row) : 0);
        Bind(1, SQL_PARAM_INPUT, by_row ? rows->text : columns[0], sizeof columns[0],
             by_row ? &rows->indicator : column_indicators);
        EXPECT_EQ(Executed().back(), "Execute 1|Ω|-1|😀") << by_row;
    }
    use[0] = SQL_PARAM_IGNORE;
    EXPECT_EQ(Executed().back(), "Execute 1|-1|-1|😀");
    const SQLLEN one_row = sizeof(Row);
    Set(SQL_ATTR_PARAM_BIND_OFFSET_PTR, reinterpret_cast<SQLULEN>(&one_row));
    Set(SQL_ATTR_PARAMSET_SIZE, 2);
    use[0] = SQL_PARAM_PROCEED;
    rows[1] = {SQL_NTS, L"zz"};
    EXPECT_EQ(Executed().back(), "Execute 1|zz|😀");
}

TEST_F(WideShim, ReturnsOutputParameters)
{
    std::wstring text(6, kUntouched);
    text[0] = 'q';
    text[1] = 0;
    SQLLEN indicator = SQL_NTS;
    driver.text = "Ω😀";
    ASSERT_EQ(Bind(1, SQL_PARAM_INPUT_OUTPUT, text.data(), 5 * kWidth, &indicator), SQL_SUCCESS);
    EXPECT_EQ(Executed().back(), "Execute 1|q");
    EXPECT_EQ(indicator, 3 * kWidth);
    EXPECT_EQ(text.substr(0, 4), Wide("Ω😀") + L'\0');

    ASSERT_EQ(Bind(1, SQL_PARAM_OUTPUT, text.data(), 3 * kWidth, &indicator), SQL_SUCCESS);
    EXPECT_EQ(ON(SQLExecute), SQL_SUCCESS_WITH_INFO);
    EXPECT_EQ(indicator, 3 * kWidth);
    EXPECT_EQ(text[2], 0);
    EXPECT_EQ(face.Record(), "01004 [Orvel][Wide shim]parameter 1: the text was cut");
    driver.text = std::string(50, 'x');
    EXPECT_EQ(ON(SQLExecute), SQL_SUCCESS_WITH_INFO);
    EXPECT_EQ(indicator, SQL_NO_TOTAL);
    EXPECT_EQ(text.back(), kUntouched);
}

TEST_F(WideShim, TakesDataAtExecutionItself)
{
    int tokens[2];
    SQLLEN indicators[] = {SQL_DATA_AT_EXEC, SQL_LEN_DATA_AT_EXEC(8)};
    Bind(1, SQL_PARAM_INPUT, &tokens[0], 0, &indicators[0]);
    Bind(2, SQL_PARAM_INPUT, &tokens[1], 0, &indicators[1]);
    std::wstring pair = Wide("😀");
    SQLPOINTER token = nullptr;
    const auto next = [&] { return ON(SQLParamData, &token); };
    const auto put = [&](void* data, SQLLEN size) { return ON(SQLPutData, data, size); };
    TakeCalls();
    for (const bool is_whole : {true, false}) {
        EXPECT_EQ(ON(SQLExecute), SQL_NEED_DATA);
        EXPECT_EQ(put(pair.data(), kWidth), SQL_ERROR) << "for which parameter?";
        EXPECT_EQ(next(), SQL_NEED_DATA);
        EXPECT_EQ(token, &tokens[0]);
        EXPECT_EQ(put(pair.data(), kWidth), SQL_SUCCESS);
        EXPECT_EQ(put(&pair[1], 0), SQL_SUCCESS);
        if (!is_whole) {
            EXPECT_EQ(Refusal(put(std::wstring(L"Ω").data(), SQL_NTS), 36),
                      "22018 [Orvel][Wide shim]parameter 1:");
            EXPECT_EQ(TakeCalls(), Calls{});
            continue;
        }
        EXPECT_EQ(put(&pair[1], kWidth), SQL_SUCCESS);
        EXPECT_EQ(put(std::wstring(L"Ω").data(), SQL_NTS), SQL_SUCCESS);
        EXPECT_EQ(next(), SQL_NEED_DATA);
        EXPECT_EQ(token, &tokens[1]);
        EXPECT_EQ(put(nullptr, SQL_NULL_DATA), SQL_SUCCESS);
        EXPECT_EQ(next(), SQL_SUCCESS);
        const Calls calls = TakeCalls();
        EXPECT_EQ((Calls{calls.end() - 2, calls.end()}), (Calls{"Execute 1|😀Ω", "Execute 2|-1"}));
    }
    EXPECT_EQ(ON(SQLExecute), SQL_NEED_DATA);
    EXPECT_EQ(ON(SQLCancel), SQL_SUCCESS);
    EXPECT_EQ(TakeCalls(), Calls{});
}

TEST_F(WideShim, FillsBoundColumns)
{
    struct Row {
        wchar_t text[5];
        SQLLEN indicator;
    } rows[3] = {};
    wchar_t columns[3][5] = {};
    SQLLEN indicators[3] = {};
    driver.rows = 3;
    driver.text = "Ω😀";
    Set(SQL_ATTR_ROW_ARRAY_SIZE, 3);
    for (const bool by_row : {false, true}) {
        Set(SQL_ATTR_ROW_BIND_TYPE, by_row ? sizeof(Row) : 0);
        ON(SQLBindCol, 1, SQL_C_WCHAR, by_row ? rows[0].text : columns[0], sizeof columns[0],
           by_row ? &rows[0].indicator : indicators);
        EXPECT_EQ(ON(SQLFetch), SQL_SUCCESS);
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(std::wstring(by_row ? rows[i].text : columns[i]),
                      Wide("Ω😀" + std::to_string(i)));
            EXPECT_EQ(by_row ? rows[i].indicator : indicators[i], 4 * kWidth);
        }
    }
    driver.text = "Ωabcd";
    EXPECT_EQ(ON(SQLFetch), SQL_SUCCESS_WITH_INFO);
    EXPECT_EQ(face.Record(), "01004 [Orvel][Wide shim]column 1: the text was cut");
    EXPECT_EQ(std::wstring(rows[2].text), L"Ωabc");
    EXPECT_EQ(rows[2].indicator, 6 * kWidth);
    EXPECT_EQ(Refusal(ON(SQLSetPos, 1, SQL_UPDATE, SQL_LOCK_NO_CHANGE)), "HYC00");
    driver.is_null = true;
    EXPECT_EQ(ON(SQLFetch), SQL_SUCCESS);
    EXPECT_EQ(rows[0].indicator, SQL_NULL_DATA);
    ON(SQLBindCol, 1, SQL_C_WCHAR, columns, sizeof columns[0], nullptr);
    EXPECT_EQ(Refusal(ON(SQLFetch)), "22002");
    ON(SQLFreeStmt, SQL_UNBIND);
}

TEST_F(WideShim, DeliversLongValuesInFlatMemory)
{
    constexpr std::size_t kCharacters = 5'000'000;  // more than is held, in 2 bytes each
    const auto is_ascii = [](std::size_t place) { return place % 1001 == 0; };
    for (std::size_t i = 0; i < kCharacters; ++i) {
        driver.text += is_ascii(i) ? "z" : "Ω";
    }
    std::wstring to(1'000'003, 0);
    for (const bool knows_total : {true, false}) {
        driver.knows_no_total = !knows_total;
        EXPECT_EQ(ON(SQLFetch), SQL_SUCCESS);
        std::size_t came = 0;
        SQLLEN indicator = 0;
        SQLRETURN code = SQL_SUCCESS_WITH_INFO;
        for (bool is_first = true; code == SQL_SUCCESS_WITH_INFO; is_first = false) {
            code = ON(SQLGetData, 1, SQL_C_WCHAR, to.data(),
                      static_cast<SQLLEN>(to.size()) * kWidth, &indicator);
            const auto left = static_cast<SQLLEN>(kCharacters - came) * kWidth;
            EXPECT_EQ(indicator, is_first ? SQL_NO_TOTAL : left);
            const std::size_t size = std::wcslen(to.c_str());
            for (const wchar_t character : std::wstring_view(to.data(), size)) {
                ASSERT_EQ(character, is_ascii(came++) ? L'z' : L'Ω');
            }
        }
        EXPECT_EQ(code, SQL_SUCCESS);
        EXPECT_EQ(came, kCharacters);
        EXPECT_EQ(ON(SQLGetData, 1, SQL_C_WCHAR, to.data(), 8, &indicator), SQL_NO_DATA);
    }
    driver.is_null = true;
    ON(SQLFetch);
    EXPECT_EQ(Refusal(ON(SQLGetData, 1, SQL_C_WCHAR, to.data(), 8, nullptr)), "22002");
}

// Under AddressSanitizer a byte too many ends the test.
TEST_F(WideShim, TrustsNoLengthOfTheDriver)
{
    driver.text = "Ω";
    for (const SQLLEN lie : {SQLLEN{1'000'000'000}, SQLLEN{32'767}, SQLLEN{-4}, SQLLEN{-77}}) {
        for (const bool fills : {false, true}) {
            driver.lie = lie;
            driver.fills = fills;
            const auto to = std::make_unique<wchar_t[]>(4);
            SQLSMALLINT length = 0;
            SQLSMALLINT type = 0;
            ON(SQLDescribeColW, 1, to.get(), 4, &length, &type, nullptr, nullptr, nullptr);
            EXPECT_LE(std::wcslen(to.get()), 3U);
            CALL(SQLGetInfoW, face.Connection(), SQL_DBMS_NAME, to.get(), 4 * kWidth, &length);
            SQLLEN indicator = 0;
            ON(SQLBindCol, 1, SQL_C_WCHAR, to.get(), 4 * kWidth, &indicator);
            Bind(1, SQL_PARAM_OUTPUT, to.get(), 4 * kWidth, &indicator);
            ON(SQLExecute);
            ON(SQLFetch);
            EXPECT_LE(std::wcslen(to.get()), 3U);
            for (int i = 0; i < 3; ++i) {
                ON(SQLGetData, 1, SQL_C_WCHAR, to.get(), 4 * kWidth, &indicator);
                EXPECT_LE(std::wcslen(to.get()), 3U);
            }
            ON(SQLFreeStmt, SQL_UNBIND);
            ON(SQLFreeStmt, SQL_RESET_PARAMS);
        }
    }
}

/// Over a driver whose narrow text is UTF-8 only if configured.
class ConfiguredShim : public WideShim {
protected:
    ConfiguredShim() : WideShim("wide-libmaodbc.so", "libmaodbc.so") {}
};

TEST_F(ConfiguredShim, AsksForUtf8UnlessConfiguredOtherwise)
{
    const std::pair<const char*, const char*> strings[] = {
        {"Server=x", "Server=x;Charset=utf8mb4"},
        {"Server=x;", "Server=x;Charset=utf8mb4"},
        {"Server=x;CHARSET=latin1;UID=u", "Server=x;CHARSET=latin1;UID=u"},
        {"PWD={;Charset=a};UID=u", "PWD={;Charset=a};UID=u;Charset=utf8mb4"},
        {"DSN=told;UID=u", "DSN=told;UID=u"},
        {"DSN=new", "DSN=new;Charset=utf8mb4"},
    };
    for (const auto& [string, expected] : strings) {
        std::wstring text = Wide(string);
        EXPECT_EQ(CALL(SQLDriverConnectW, face.Connection(), nullptr, text.data(), SQL_NTS, nullptr,
                       0, nullptr, SQL_DRIVER_NOPROMPT),
                  SQL_SUCCESS);
        EXPECT_EQ(TakeCalls(), Calls{std::string("DriverConnect|") + expected});
    }
    const std::pair<const wchar_t*, const char*> sources[] = {
        {L"told", "Connect|told|Ω|a;b"},
        {L"new", "DriverConnect|DSN=new;UID=Ω;PWD={a;b};Charset=utf8mb4"},
    };
    for (const auto& [source, expected] : sources) {
        std::wstring name = source;
        std::wstring user = L"Ω";
        std::wstring password = L"a;b";
        CALL(SQLConnectW, face.Connection(), name.data(), SQL_NTS, user.data(), 1, password.data(),
             SQL_NTS);
        EXPECT_EQ(TakeCalls(), Calls{expected});
    }
}

using MaybeText = std::optional<std::wstring>;

/// Sends text, or a NULL, in one of the possible ways, and receives it in another.
class RoundTrip {
public:
    explicit RoundTrip(const Face& its_face) : face(its_face) {}

    const Face& face;

    std::size_t Below(std::size_t limit) { return random_() % limit; }

    /// Text with characters of all planes.
    std::string Text()
    {
        constexpr std::string_view kCharacters[] = {
            "a",      " ",  "'",      "?",      "\x7F",   "\u0080",     "é", "\u0301",    "\u07FF",
            "\u0800", "日", "\uD7FF", "\uE000", "\uFFFD", "\U00010000", "😀", "\U0010FFFF"};
        std::string text;
        for (std::size_t left = Below(4) == 0 ? Below(40'000) : Below(60); left > 0; --left) {
            text += kCharacters[Below(2) == 0 ? 0 : Below(std::size(kCharacters))];
        }
        return text;
    }

    /// What was read back; for text that is refused, its SQLSTATE.
    MaybeText Carry(const MaybeText& text)
    {
        const SQLRETURN code = Send(text);
        const std::string record = face.Record();
        MaybeText back = SQL_SUCCEEDED(code) ? Receive(text.value_or(L""))
                                             : std::wstring(record.begin(), record.begin() + 5);
        for (const int what : {SQL_CLOSE, SQL_UNBIND, SQL_RESET_PARAMS}) {
            ON(SQLFreeStmt, static_cast<SQLUSMALLINT>(what));
        }
        return back;
    }

private:
    SQLRETURN Send(MaybeText text)
    {
        std::wstring sql = L"SELECT ?";
        SQLLEN indicator = text ? Bytes(text->size()) : SQL_NULL_DATA;
        const std::size_t way = Below(3);
        if (way == 0) {
            sql = L"SELECT " + (text ? Quoted(*text) : L"NULL");
            return ON(SQLExecDirectW, sql.data(), SQL_NTS);
        }
        void* const value = text ? text->data() : sql.data();
        indicator = way == 1 ? indicator : SQL_DATA_AT_EXEC;
        ON(SQLBindParameter, 1, SQL_PARAM_INPUT, SQL_C_WCHAR, SQL_WVARCHAR, 50'000, 0,
           way == 1 ? value : nullptr, 0, &indicator);
        if (way == 1) {
            return ON(SQLExecDirectW, sql.data(), SQL_NTS);
        }
        ON(SQLPrepareW, sql.data(), SQL_NTS);
        EXPECT_EQ(ON(SQLExecute), SQL_NEED_DATA);
        EXPECT_EQ(ON(SQLParamData, nullptr), SQL_NEED_DATA);
        const SQLRETURN code = text ? Put(*text) : ON(SQLPutData, nullptr, SQL_NULL_DATA);
        return SQL_SUCCEEDED(code) ? ON(SQLParamData, nullptr) : code;
    }
    SQLRETURN Put(std::wstring& text)
    {
        SQLRETURN code = SQL_SUCCESS;
        for (std::size_t at = 0; at < text.size() && code == SQL_SUCCESS;) {
            const std::size_t size = 1 + Below(text.size() - at);
            code = ON(SQLPutData, text.data() + at, Bytes(size));
            at += size;
        }
        return code;
    }
    static SQLLEN Bytes(std::size_t characters) { return static_cast<SQLLEN>(characters) * kWidth; }
    static std::wstring Quoted(const std::wstring& text)
    {
        std::wstring quoted = L"'";
        for (const wchar_t character : text) {
            quoted.append(character == '\'' ? 2 : 1, character);
        }
        return quoted += L'\'';
    }

    MaybeText Receive(const std::wstring& sent)
    {
        SQLLEN indicator = 0;
        std::wstring to(sent.size() + 1, kUntouched);
        if (Below(2) == 0) {
            ON(SQLBindCol, 1, SQL_C_WCHAR, to.data(), Bytes(to.size()), &indicator);
            EXPECT_EQ(ON(SQLFetch), SQL_SUCCESS);
            return indicator == SQL_NULL_DATA
                       ? MaybeText()
                       : to.substr(0, static_cast<std::size_t>(indicator / kWidth));
        }
        EXPECT_EQ(ON(SQLFetch), SQL_SUCCESS);
        std::wstring all;
        for (SQLRETURN code = SQL_SUCCESS_WITH_INFO; code == SQL_SUCCESS_WITH_INFO;) {
            const std::size_t places = 2 + Below(sent.size() + 2);
            to.assign(places + 1, kUntouched);
            code = ON(SQLGetData, 1, SQL_C_WCHAR, to.data(), Bytes(places), &indicator);
            EXPECT_TRUE(SQL_SUCCEEDED(code));
            EXPECT_EQ(to[places], kUntouched);
            if (indicator == SQL_NULL_DATA) {
                return {};
            }
            EXPECT_EQ(indicator, Bytes(sent.size() - all.size()));
            all += std::wstring_view(to.data());
        }
        return all;
    }

    std::mt19937 random_{20'240'229};
};

TEST(WideSqlite, AllocatesNothingForAValue)
{
    const ShimFolder folder{};
    const Face face(folder, "utf16-libsqlite3odbc.so");
    std::wstring sql = L"SELECT ?";
    std::wstring text = Wide("long enough for no string to hold it inside: 😀");
    std::array<wchar_t, 100> to{};
    SQLLEN indicator = SQL_NTS;
    const int unprepared = allocations;
    ON(SQLPrepareW, sql.data(), SQL_NTS);
    EXPECT_GT(allocations, unprepared) << "the shim's own count";
    ON(SQLBindParameter, 1, SQL_PARAM_INPUT, SQL_C_WCHAR, SQL_WVARCHAR, 100, 0, text.data(), 0,
       &indicator);
    const auto round_trip = [&] {
        ON(SQLExecute);
        ON(SQLFetch);
        ON(SQLGetData, 1, SQL_C_WCHAR, to.data(), sizeof to, &indicator);
        ON(SQLCloseCursor);
        indicator = SQL_NTS;
    };
    round_trip();
    const int before = allocations;
    round_trip();
    EXPECT_EQ(allocations, before);
    EXPECT_EQ(to.data(), text);
}

TEST(WideSqlite, CarriesAnyTextInAnyPieces)
{
    const ShimFolder folder{};
    const std::pair<const char*, WideForm> faces[] = {
        {"wide-libsqlite3odbc.so", WideForm::kCodePoints},
        {"utf16-libsqlite3odbc.so", WideForm::kUtf16},
    };
    for (const auto& [name, form] : faces) {
        const Face face(folder, name);
        RoundTrip trip(face);
        for (int i = 0; i < 150; ++i) {
            std::wstring text = Wide(trip.Text(), form);
            ASSERT_TRUE(trip.Carry(text) == text) << name << i << " of " << text.size();
            const auto wrong = trip.Below(9) == 0 ? 0x110000 : 0xD800 + trip.Below(0x800);
            text.insert(trip.Below(text.size() + 1), 1, static_cast<wchar_t>(wrong));
            ASSERT_TRUE(trip.Carry(text) == L"22018") << name << i << " with half a pair";
            ASSERT_EQ(trip.Carry({}), MaybeText());
        }
    }
}

}  // namespace
