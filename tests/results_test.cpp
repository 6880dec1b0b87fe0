// Statements, columns, rows and a value's pieces over the scripted driver manager.
#include <fmt/format.h>

#include <algorithm>

#include "encoding/ZString.h"
#include "scripted_fixture.h"

using scripted::Current;
using scripted::Value;
using scripted::WideBytes;

namespace {

/// A value of wide text from a driver that counts correctly.
Value Whole(const std::wstring& text)
{
    return {.length = static_cast<SQLLEN>(sizeof(wchar_t) * text.size()), .bytes = WideBytes(text)};
}

TEST_F(ScriptedTest, PreparesTextOfAnyWidth)
{
    Open();
    EXPECT_EQ(Code("Prepare", {statement, ""}), 0);
    EXPECT_EQ(Current().TakeCalls(), "SQLPrepare(stmt3,'',0)\n");
    const std::string handle = std::string("\x08\0", 2) + statement;
    ORVEL_EXSTR counted = HostServices::Instance().NewLongString("abcdef");
    counted.length = 3;
    int32_t result = 5;
    reinterpret_cast<int32_t (*)(const zarray*, ORVEL_EXSTR*, int32_t*)>(
        gateway->Find("Prepare")->function)(reinterpret_cast<const zarray*>(handle.data()),
                                            &counted, &result);
    EXPECT_EQ(Current().TakeCalls(), "SQLPrepare(stmt3,'abc',3)\n") << "a zero stands behind it";
    EXPECT_EQ(Code("PrepareW", {statement, u""}), 0);
    EXPECT_EQ(Code("PrepareW", {statement, u"a\u20AC"}), 0);
    EXPECT_EQ(Code("PrepareW", {statement, std::u16string(32'767, u'x')}), 0);
    EXPECT_EQ(Current().TakeCalls(),
              "SQLPrepareW(stmt3,0,0)\nSQLPrepareW(stmt3,2,8364)\n"
              "SQLPrepareW(stmt3,32767,120)\n");
    TraceOn();
    EXPECT_EQ(Code("PrepareW", {statement, std::u16string(32'768, u'x')}), -25);
    EXPECT_TRUE(Traced().ends_with("PrepareHandleW END  \"Statement too long\"\n"));
    EXPECT_EQ(WasError(), -1);
}

TEST_F(ScriptedTest, CountsAreWrittenWhateverTheCode)
{
    Open();
    Current().row_count = 0x1'0000'0005;
    Current().columns = -1;
    Current().codes = {{"SQLRowCount", SQLRETURN{-1}}, {"SQLNumResultCols", SQLRETURN{1}}};
    EXPECT_EQ(Code("RowCount", {statement}), 5);
    EXPECT_EQ(Codes("GetLastSQLCode"), Pair(-1, -1));
    EXPECT_EQ(Code("NumResultCols", {statement}), -1);
    EXPECT_EQ(Codes("GetLastSQLCode"), Pair(1, 0));
    Call("PreparseSQL", {u"x", 1, ""});
    EXPECT_EQ(Code("GetLastSQLCode"), 1) << "it resets nothing";
    Code("SetStmtOption", {statement, 65'536 + 7, -2});
    EXPECT_EQ(Current().calls.back(), "SQLSetStmtAttr(stmt3,7,-2,0)");
}

TEST_F(ScriptedTest, DescribesColumnsUntilOneFails)
{
    Open();
    const std::string header =
        R"(, "SqlType", "Precision", "Scale", "Nullable", "Datatype", "DisplaySize", "IsMoney?")"
        "\n";
    const auto describe = [&] { return Rows("DescribeColumns", {statement}); };
    Current().columns = 0;
    EXPECT_EQ(describe(), "0" + header);
    Current().columns = 2;
    Current().values = {{.length = 300, .bytes = std::string(300, 'n'), .number = 1L << 32},
                        {.bytes = std::string(40, 't')},
                        {.number = 9},
                        {.number = 1},
                        {.code = SQL_ERROR}};
    Current().TakeCalls();
    EXPECT_EQ(describe(), fmt::format("2{}\"{}\", 12, 0, 0, 0, \"{}\", 9, 1\n", header,
                                      std::string(128, 'n'), std::string(32, 't')));
    EXPECT_EQ(WasError(), -1);
    EXPECT_EQ(
        Current().TakeCalls(),
        "SQLNumResultCols(stmt3)\nSQLDescribeCol(stmt3,1,128)\nSQLColAttribute(stmt3,1,14,32)\n"
        "SQLColAttribute(stmt3,1,6,8)\nSQLColAttribute(stmt3,1,9,8)\n"
        "SQLDescribeCol(stmt3,2,128)\n");
    Code("SetUnicodeOption", {1});
    Current().columns = 1;
    Current().values = {{.length = 4, .bytes = WideBytes(L"\u00E9b")}, {.bytes = "t"}};
    EXPECT_EQ(describe(), "1" + header + "u\"\u00E9b\", 12, 0, 0, 0, \"t\", 0, 0\n");
    Current().columns = INT16_MAX;  // a count at which a loop variable must not overflow
    Current().values = {{.length = 0}};
    EXPECT_EQ(std::ranges::count(describe(), '\n'), INT16_MAX + 1);
}

TEST_F(ScriptedTest, TakesTextAttributesByTheirLength)
{
    Open();
    struct Case {
        const char* entry;
        SQLLEN length;
        std::string bytes;
        std::string list;
    };
    const std::wstring wide(1024, L'w');
    const Case cases[] = {
        {"StrColAttribute", 2, "abc", "\"ab\""},
        {"StrColAttribute", SQL_NTS, "abc", "\"abc\""},
        {"StrColAttribute", 0, "abc", "\"\\x00\""},
        {"StrColAttribute", -4, "abc", ""},
        {"StrColAttribute", 30'000, std::string(600, 'a'), "\"" + std::string(512, 'a') + "\""},
        {"StrColAttribute", SQL_NTS, std::string(600, 'a'), "\"" + std::string(512, 'a') + "\""},
        {"StrColAttributeW", 8, WideBytes(L"ab"), "u\"ab\\x00\\x00\""},
        {"StrColAttributeW", SQL_NTS, WideBytes(L"ab"), ""},
        {"StrColAttributeW", 0, "", "\"\\x00\""},
        {"StrColAttributeW", 32'767, WideBytes(wide), "u\"" + std::string(1024, 'w') + "\""},
    };
    Code("SetUnicodeOption", {1});
    for (const Case& c : cases) {
        Current().values = {{.length = c.length, .bytes = c.bytes}};
        EXPECT_EQ(List(c.entry, {statement, 65'537, 65'540}), c.list) << c.entry << c.length;
        EXPECT_NE(Current().calls.back().find("(stmt3,1,4,"), std::string::npos);
    }
}

class RowTest : public ScriptedTest {
protected:
    RowTest()
    {
        Open();
        Code("SetUnicodeOption", {1});
        list_of_one.AppendLong(1);
    }

    /// The items of the one row that an entry returns if the driver has these values.
    std::string Items(std::string_view entry, const Argument& argument, std::vector<Value> values)
    {
        Current().values.assign(values.begin(), values.end());
        Current().rows = 1;
        Current().columns = static_cast<SQLSMALLINT>(values.size());
        const Reply reply = Call(entry, {statement, argument});
        return ListText(entry == "FetchRows" ? DecodeList(reply.List()).at(0).payload
                                             : reply.List());
    }

    ZString list_of_one;
};

std::string Narrow(std::size_t n)
{
    return "\"" + std::string(n, 'x') + "\"";
}

std::string Wide(std::size_t n)
{
    return "u" + Narrow(n);
}

struct ItemCase {
    SQLRETURN code;
    SQLLEN indicator;
    std::string narrow_row;    // the item of "GetOneRow" with the legacy option
    std::string narrow_fetch;  // of "FetchRows" with it
    std::string wide_all;      // of "GetOneRow", all columns, without it
    std::string wide_listed;   // of "GetOneRow", listed columns
    std::string wide_fetch;    // of "FetchRows"
};

TEST_F(RowTest, ItemsFollowCodeAndIndicator)
{
    const std::string null = "\"\"";
    const std::string empty = "\"\\x00\"";
    const std::string error = "\"<ERROR>\"";
    const ItemCase cases[] = {
        {0, SQL_NULL_DATA, null, null, null, null, null},
        {0, 0, empty, empty, empty, empty, empty},
        {SQL_NO_DATA, 8, empty, empty, empty, empty, empty},
        {SQL_ERROR, SQL_NULL_DATA, error, error, error, error, error},
        {0, 40, Narrow(40), Narrow(1000), Wide(10), Wide(10), Wide(10)},
        {1, 999, Narrow(999), Narrow(1000), Wide(249), Wide(249), Wide(249)},
        {1, 1001, Narrow(1000), Narrow(1000), Wide(250), Wide(250), Wide(250)},
        {1, 3999, Narrow(1000), Narrow(1000), Wide(999), Wide(250), Wide(999)},
        {1, 4001, Narrow(1000), Narrow(1000), Wide(1000), Wide(250), Wide(1000)},
        {1, 70'000, Narrow(1000), Narrow(1000), Wide(1000), Wide(250), Wide(1000)},
        {1, SQL_NO_TOTAL, Narrow(1000), Narrow(1000), Wide(1000), Wide(250), Wide(1000)},
        {0, INT64_MIN, Narrow(1000), Narrow(1000), Wide(1000), Wide(250), Wide(1000)},
    };
    const std::string wide = WideBytes(std::wstring(2000, L'x'));
    for (const ItemCase& c : cases) {
        SCOPED_TRACE(fmt::format("code {} indicator {}", c.code, c.indicator));
        const Value narrow_value{
            .code = c.code, .length = c.indicator, .bytes = std::string(2000, 'x')};
        const Value wide_value{.code = c.code, .length = c.indicator, .bytes = wide};
        const auto expect = [&](const char* entry, const Argument& argument, const Value& value,
                                const std::string& item, const char* read) {
            EXPECT_EQ(Items(entry, argument, {value}), item) << entry;
            EXPECT_EQ(std::ranges::count(Current().calls, read), 1) << read;
            EXPECT_EQ(Code("GetLastSQLCode"),
                      entry[0] == 'F' && c.code == SQL_NO_DATA ? 0 : c.code);
            Current().TakeCalls();
        };
        Code("SetLegacyOption", {1});
        expect("GetOneRow", "", narrow_value, c.narrow_row, "SQLGetData(stmt3,1,1,1000)");
        expect("FetchRows", 1, narrow_value, c.narrow_fetch, "SQLGetData(stmt3,1,1,1001)");
        Code("SetLegacyOption", {0});
        expect("GetOneRow", "", wide_value, c.wide_all, "SQLGetData(stmt3,1,-8,4000)");
        expect("GetOneRow", list_of_one, wide_value, c.wide_listed, "SQLGetData(stmt3,1,-8,2000)");
        expect("FetchRows", 1, wide_value, c.wide_fetch, "SQLGetData(stmt3,1,-8,4004)");
    }
}

// Errors of a driver manager in the wide text of a narrow driver.
TEST_F(RowTest, CorrectsWidenedValues)
{
    EXPECT_EQ(Items("FetchRows", 1, {{.length = -4}}), "\"\"") << "a NULL, times four";
    const std::string cut = Items("FetchRows", 1, {{.length = -4, .bytes = WideBytes(L"x")}});
    EXPECT_EQ(cut.size(), 4 + 4 * 999U) << "a value of unknown length, with zeros behind it";
    EXPECT_EQ(Items("FetchRows", 1, {{.length = 12, .bytes = WideBytes(L"\u00E9x")}}),
              "u\"\u00E9x\"")
        << "three bytes were two characters";
    EXPECT_EQ(Items("FetchRows", 1, {{.length = 8}}), "\"\\x00\"") << "characters nobody wrote";
    // Nothing of one value shows in the next.
    EXPECT_EQ(Items("FetchRows", 1,
                    {Whole(L"abcd"),
                     {.code = 1, .length = 16, .bytes = WideBytes(L"e")},
                     Whole(L"f"),
                     {.length = -1},
                     {.code = 1, .length = 8}}),
              "u\"abcd\", u\"e\\x00\\x00\\x00\", u\"f\", \"\", u\"\\x00\\x00\"");
}

TEST_F(RowTest, NothingOfANarrowValueShowsInTheNext)
{
    Code("SetLegacyOption", {1});
    const std::string hidden = '\0' + std::string(999, 'x');
    for (const Value& before :
         {Value{.code = 1, .length = 5000, .bytes = hidden},
          Value{.code = 1, .length = -4, .bytes = hidden}, Value{.length = 0, .bytes = "untold"}}) {
        const std::string items = Items("GetOneRow", "", {before, {.length = 6, .bytes = "ab"}});
        EXPECT_TRUE(items.ends_with("\"ab\\x00\\x00\\x00\\x00\"")) << items;
    }
}

TEST_F(RowTest, WithoutTheOptionTextEndsAtItsTerminator)
{
    Code("SetUnicodeOption", {0});
    const Value cut{.code = 1, .length = 70'000, .bytes = WideBytes(std::wstring(2000, L'x'))};
    EXPECT_EQ(Items("GetOneRow", list_of_one, {cut}), Narrow(500)) << "the whole buffer";
    EXPECT_EQ(Items("FetchRows", 1, {{.length = 12, .bytes = WideBytes(L"\u00E9x")}}),
              "\"\u00E9x\"");
    std::setlocale(LC_CTYPE, "C");
    Current().rows = 1;
    EXPECT_EQ(Call("FetchRows", {statement, 1}).length, 0U);
    EXPECT_EQ(WasError(), -1000) << "a character that the locale does not have";
}

TEST_F(RowTest, ReadsListedColumns)
{
    Current().columns = 3;
    Current().values = {Whole(L"c"), Whole(L"a")};
    ZString numbers;
    numbers.AppendLong(3);
    numbers.AppendLong(1);
    Current().TakeCalls();
    EXPECT_EQ(List("GetOneRow", {statement, numbers}), "u\"c\", u\"a\"");
    EXPECT_EQ(Current().TakeCalls(),
              "SQLNumResultCols(stmt3)\nSQLGetData(stmt3,3,-8,2000)\n"
              "SQLGetData(stmt3,1,-8,2000)\n");
    for (const int number : {0, -1, 4}) {
        ZString more = numbers;
        more.AppendLong(number);
        EXPECT_EQ(Call("GetOneRow", {statement, more}).length, 0U);
        EXPECT_EQ(Codes("GetLastSQLCode"), Pair(-1, -1));
    }
    Current().codes["SQLNumResultCols"] = SQL_SUCCESS_WITH_INFO;
    for (const auto& [entry, argument] :
         {std::pair<const char*, Argument>{"GetOneRow", ""}, {"FetchRows", 1}}) {
        EXPECT_EQ(Call(entry, {statement, argument}).length, 0U) << entry;
        EXPECT_EQ(Code("GetLastSQLCode"), 1) << entry;
    }
}

TEST_F(RowTest, FetchesRowsUntilTheyRunOut)
{
    Current().values = {Whole(L"v")};
    struct Case {
        int has, wanted, delivered, code, fetches;
    };
    for (const auto& [has, wanted, delivered, code, fetches] :
         {Case{3, 5, 3, 0, 4}, Case{3, 3, 3, 0, 3}, Case{0, 5, 0, 0, 1}, Case{3, 0, 0, 0, 1},
          Case{3, -1, 3, 0, 4}}) {
        Current().rows = has;
        Current().TakeCalls();
        EXPECT_EQ(DecodeList(Call("FetchRows", {statement, wanted}).List()).size(),
                  static_cast<std::size_t>(delivered));
        EXPECT_EQ(Code("GetLastSQLCode"), code);
        EXPECT_EQ(std::ranges::count(Current().calls, "SQLFetch(stmt3)"), fetches);
    }
    Current().columns = 2;
    Current().values.push_back({.code = SQL_ERROR});
    EXPECT_EQ(Items("FetchRows", 1, {{.code = SQL_ERROR}, Whole(L"v")}), "\"<ERROR>\", u\"v\"");
    EXPECT_EQ(WasError(), 0) << "a later column read well";
    EXPECT_EQ(Items("FetchRows", 1, {Whole(L"v"), {.code = SQL_ERROR}}), "u\"v\", \"<ERROR>\"");
    EXPECT_EQ(Code("GetLastSQLCode"), -1);
    Current().columns = 0;
    EXPECT_EQ(Call("FetchRows", {statement, 1}).length, 0U);
    EXPECT_EQ(WasError(), 0);
}

TEST_F(RowTest, DeliversListsBeyondTheLengthWord)
{
    Code("SetLegacyOption", {1});
    Current().values = {{.length = 1000, .bytes = std::string(1000, 'x')}};
    constexpr int kRow = 1008;  // 1,000 bytes in an item in a row
    constexpr int kMaxRows = 3'641'144 / kRow;
    Current().rows = 10 * kMaxRows;
    const Reply most = Call("FetchRows", {statement, kMaxRows});
    EXPECT_EQ(most.length, kMaxRows * kRow % 65'536);
    EXPECT_EQ(DecodeList(most.List()).size(), static_cast<std::size_t>(kMaxRows));
    EXPECT_EQ(WasError(), 0);
    EXPECT_EQ(List("FetchRows", {statement, kMaxRows + 1}),
              "\"<ERROR:Too much data was requested>\"");
    EXPECT_EQ(Codes("GetLastSQLCode"), Pair(-28, -1));
}

class LongDataTest : public ScriptedTest {
protected:
    LongDataTest() { Open(); }

    Reply Read(const char* entry, const std::vector<Argument>& rest,
               const scripted::Value& value) const
    {
        Current().values = {value};
        return CallOn(statement, entry, rest);
    }
};

struct PieceCase {
    int c_type;
    SQLRETURN code;
    SQLLEN indicator;
    uint32_t counted;       // the length word of "GetData"
    uint32_t filled;        // how many of its bytes or characters the driver wrote
    uint32_t long_counted;  // the same for "GetDataEx" with a length of 100
    uint32_t long_filled;
};

TEST_F(LongDataTest, LengthsFollowCodeAndIndicator)
{
    // A driver that fills what it is offered.
    const std::string bytes(40'000, 'x');
    const std::string wide = WideBytes(std::wstring(40'000, L'x'));
    const PieceCase cases[] = {
        {1, 0, SQL_NULL_DATA, 0, 0, 0, 0},
        {-2, 0, SQL_NULL_DATA, 0, 0, 0, 0},
        {-8, 0, SQL_NULL_DATA, 0, 0, 0, 0},
        {1, 0, 0, 1, 0, 1, 0},  // empty text is one zero
        {-8, 0, 0, 1, 0, 1, 0},
        {-2, 0, 0, 0, 0, 0, 0},
        {1, SQL_ERROR, 5, 0, 0, 0, 0},
        {-8, SQL_NO_DATA, 8, 0, 0, 0, 0},
        {1, 0, 5, 5, 5, 5, 5},
        {-8, 0, 20, 5, 5, 5, 5},
        {-2, 1, 101, 101, 101, 100, 100},
        {1, 0, 32'765, 32'765, 32'765, 100, 100},
        {1, 1, 32'766, 32'765, 32'765, 100, 100},
        {-2, 1, 32'766, 32'766, 32'766, 100, 100},
        {1, 1, SQL_NO_TOTAL, 32'765, 32'765, 100, 100},
        {-2, 1, SQL_NO_TOTAL, 32'766, 32'766, 100, 100},
        {-2, 1, INT64_MIN, 32'766, 32'766, 100, 100},
        // Wide: 16 bits of bytes; a length of 100 offers 100 bytes, a quarter of what is delivered.
        {-8, 0, 65'532, 16'383, 16'383, 100, 25},
        {-8, 0, 65'536, 0, 0, 100, 25},
        {-8, 0, 131'060, 16'381, 16'381, 100, 25},
        {-8, 1, 131'064, 16'381, 16'381, 100, 25},
        {-8, 1, SQL_NO_TOTAL, 16'381, 16'381, 100, 25},
        {-8, 1, 200, 50, 50, 50, 25},
    };
    for (const PieceCase& c : cases) {
        const bool is_wide = c.c_type == -8;
        const scripted::Value value{
            .code = c.code, .length = c.indicator, .bytes = is_wide ? wide : bytes};
        const auto expect = [&](const Reply& reply, uint32_t counted, uint32_t filled) {
            SCOPED_TRACE(fmt::format("C type {} code {} indicator {} of {}", c.c_type, c.code,
                                     c.indicator, Current().calls.back()));
            EXPECT_EQ(reply.length, counted);
            const std::size_t unit = is_wide ? 2 : 1;
            const auto written = reply.Area().substr(0, unit * filled);
            EXPECT_EQ(std::ranges::count(written, 'x'), filled);
            const std::size_t left = unit * (counted - filled);
            const auto rest = reply.Area().substr(unit * filled, left);
            EXPECT_EQ(rest, std::string(left, '\0')) << "zeros where the driver wrote nothing";
            EXPECT_EQ(Code("GetLastSQLCode"), c.code);
        };
        for (const char* entry : {"GetData", "GetDataW"}) {
            expect(Read(entry, {1, c.c_type}, value), c.counted, c.filled);
        }
        for (const char* entry : {"GetDataEx", "GetDataExW"}) {
            expect(Read(entry, {1, c.c_type, 100}, value), c.long_counted, c.long_filled);
        }
    }
}

TEST_F(LongDataTest, OtherCTypesAreRefused)
{
    TraceOn();
    for (const int c_type : {4, 0, 99, 65'537, -65'544}) {
        for (const char* entry : {"GetData", "GetDataW", "GetDataEx"}) {
            std::vector<Argument> inputs{statement, 1, c_type, 10};
            inputs.resize(std::string_view(entry) == "GetDataEx" ? 4 : 3);
            EXPECT_EQ(Done(entry, inputs), fmt::format("{0} BEGIN  {1}, 1, {2}\n{0} END\nerror -27",
                                                       entry, kStmt, c_type));
        }
    }
    EXPECT_EQ(Read("GetDataEx", {1, 1, -1}, {.length = 5}).length, 0U) << "a negative length";
    EXPECT_EQ(WasError(), -1000);
}

}  // namespace
