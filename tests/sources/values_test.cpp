// Values of every kind, stored in each source and read back.
#include <algorithm>
#include <random>

#include "sources/source_fixture.h"

namespace {

class Values : public ConnectedTest {
protected:
    /// Runs a statement with one parameter.
    void RunWith(const std::string& sql, const ListValue& value, int sql_type)
    {
        ASSERT_EQ(Code("Prepare", {statement, sql}), 0) << Errors();
        const int digits = sql_type == 3 || sql_type == 93 ? 6 : 0;
        ASSERT_EQ(Code("BindParameter", {statement, 1, 1, 1, sql_type, 26, digits, 100}), 0);
        ASSERT_EQ(Code("SetParameter", {statement, EncodeList({value}), 1}), 0) << Errors();
        ASSERT_EQ(Code("Execute", {statement}), 0) << Errors();
    }

    /// The same with text, in the form that preserves it: UTF-8 bytes for a narrow driver, else
    /// 2-byte characters.
    void RunWithText(const std::string& sql, const std::string& text)
    {
        if (GetParam().is_narrow) {
            RunWith(sql, text, 12);
        } else {
            RunWith(sql, UnitsFromUtf8(text), -9);
        }
    }

    static constexpr char kInsert[] = "INSERT INTO t VALUES (?)";
};

TEST_P(Values, ThereAndBack)
{
    const TypeNames& types = GetParam().types;
    struct Case {
        const char* name;
        std::string column_type;
        int sql_type;
        ListValue value;
        const char* back;
    };
    const Case cases[] = {
        {"lowest of 32 bits", "INTEGER", 4, INT32_MIN, "-2147483648"},
        {"highest of 32 bits", "INTEGER", 4, INT32_MAX, "2147483647"},
        {"lowest of 64 bits", "BIGINT", -5, INT64_MIN, "-9223372036854775808"},
        {"highest of 64 bits", "BIGINT", -5, INT64_MAX, "9223372036854775807"},
        {"decimal", "DECIMAL(20,6)", 3, "12345678901234.123456", "12345678901234.123456"},
        {"integer for a decimal", "DECIMAL(20,6)", 3, -7, "-7.000000"},
        {"double", "DOUBLE PRECISION", 8, -0.1, "-0.1"},
        {"large double", "DOUBLE PRECISION", 8, 1e300, "1e+300"},
        {"date", "DATE", 91, "2024-02-29", "2024-02-29"},
        {"moment", types.moment, 93, "2024-02-29 23:59:58.123456", "2024-02-29 23:59:58.123456"},
        {"text", types.text, 12, "plain", "plain"},
        {"empty", types.text, 12, std::string(1, '\0'), "\\x00"},
        {"NULL text", types.text, 12, "", ""},
        {"NULL integer", "INTEGER", 4, "", ""},
        {"NULL moment", types.moment, 93, "", ""},
    };
    const bool takes_wide_dates = !Lacks("dates as wide text");
    for (const int option : {0, 1}) {
        Code("SetUnicodeOption", {option});
        for (const Case& c : cases) {
            const bool is_date = c.sql_type >= 91 && c.back[0] != '\0';
            if (option == 1 && is_date && !takes_wide_dates) {
                continue;
            }
            Make("t", "v " + c.column_type);
            RunWith(kInsert, c.value, c.sql_type);
            const std::string back = Expected(c.name, c.back);
            const bool is_wide = option == 1 && !back.empty() && back != "\\x00";
            EXPECT_EQ(Rows("SELECT v FROM t"), (is_wide ? "u\"" : "\"") + back + "\"\n")
                << c.name << ", Unicode option " << option;
        }
    }
}

TEST_P(Values, OfBytes)
{
    const std::string bytes("\0\xFF'\x80\0end\0", 9);
    Make("t", "v " + GetParam().types.long_binary);
    ASSERT_EQ(Code("Prepare", {statement, "INSERT INTO t VALUES (?)"}), 0);
    ASSERT_EQ(Code("BindParameter", {statement, 1, 1, -2, -3, 9, 0, 9}), 0);
    ASSERT_EQ(Code("SetParameterBinary", {statement, EncodeList({bytes}), 1}), 0) << Errors();
    ASSERT_EQ(Code("Execute", {statement}), 0) << Errors();
    EXPECT_EQ(List("GetParameter", {statement, 1}), ListText(EncodeList({bytes})));
    Run("SELECT v FROM t");
    ASSERT_EQ(Code("Fetch", {statement}), 0);
    EXPECT_EQ(Call("GetData", {statement, 1, -2}).Bytes(), bytes);
}

TEST_P(Values, OfTextInEveryMode)
{
    struct Case {
        const char* text;
        std::string as_units;  // beyond the basic plane the gateway keeps the low 16 bits
    };
    const Case cases[] = {{"Åéb", "Åéb"}, {"Ωb", "Ωb"}, {"日本b", "日本b"}, {"😀b", "\uf600b"}};
    for (const Case& c : cases) {
        Make("t", "v " + GetParam().types.text);
        RunWithText(kInsert, c.text);
        Code("SetUnicodeOption", {1});
        EXPECT_EQ(Rows("SELECT v FROM t"), "u\"" + Expected(c.text, c.as_units) + "\"\n");
        Code("SetUnicodeOption", {0});
        if (c.text != Expected("not as bytes", "")) {
            EXPECT_EQ(Rows("SELECT v FROM t"), "\"" + std::string(c.text) + "\"\n");
            continue;
        }
        Run("SELECT v FROM t");
        Call("FetchRows", {statement, 1});
        EXPECT_EQ(WasError(), -1000) << "halves of a pair are no text to the C library";
        EXPECT_EQ(Code("CloseCursor", {statement}), 0);
    }
}

TEST_P(Values, OfTextInUpdates)
{
    Make("t", "v " + GetParam().types.text);
    RunWithText(kInsert, "x");
    RunWithText("UPDATE t SET v = ?", "Ωb");
    EXPECT_EQ(Rows("SELECT v FROM t"), "\"" + Expected("updated text", "Ωb") + "\"\n");
}

TEST_P(Values, OfWideTextAgain)
{
    Make("t", "v " + GetParam().types.text);
    ASSERT_EQ(Code("Prepare", {statement, "INSERT INTO t VALUES (?)"}), 0);
    ASSERT_EQ(Code("BindParameter", {statement, 1, 1, -8, -9, 30, 0, 30}), 0);
    for (const char16_t* text : {u"first", u"second", u"3rd"}) {
        ASSERT_EQ(Code("SetParameter", {statement, EncodeList({text}), 1}), 0) << Errors();
        ASSERT_EQ(Code("Execute", {statement}), 0) << Errors();
    }
    EXPECT_EQ(Rows("SELECT v FROM t ORDER BY v"), "\"3rd\"\n\"first\"\n\"second\"\n");
}

// iODBC 3.52.9 takes characters for bytes when it converts a wide parameter for a narrow driver:
// what is stored is truncated, in the middle of a character. It leaves the narrow bytes in the
// buffer, so nothing can be read back from there.
TEST_P(Values, OfWideTextToNarrowDrivers)
{
    if (Lacks("narrow driver")) {
        GTEST_SKIP();
    }
    Make("t", "v " + GetParam().types.text);
    RunWith(kInsert, u"Ωb", -9);
    EXPECT_NE(List("GetParameter", {statement, 1}), "u\"Ωb\"");
    EXPECT_EQ(Rows("SELECT v FROM t"), "\"Ω\"\n");
}

// The same defect truncates the text of "PrepareW".
TEST_P(Values, OfStatementsInWideText)
{
    const std::string literal = GetParam().wide_literal + "'Ωz'";
    ASSERT_EQ(Code("PrepareW", {statement, UnitsFromUtf8("SELECT " + literal + " -- cut")}), 0);
    ASSERT_EQ(Code("Execute", {statement}), 0) << Errors();
    EXPECT_EQ(Rows(), "\"Ωz\"\n");
    const bool is_prepared = Code("PrepareW", {statement, UnitsFromUtf8("SELECT " + literal)}) == 0;
    EXPECT_EQ(is_prepared && Code("Execute", {statement}) == 0, !GetParam().is_narrow) << Errors();
}

// The driver manager's errors in the wide text of a narrow driver, each as it would show if it were
// not corrected.
class WideRead : public ConnectedTest {
protected:
    WideRead() { Code("SetUnicodeOption", {1}); }

    /// A query of literals; makes its first row current.
    void FetchFirst(const std::string& sql) const
    {
        Run(sql);
        ASSERT_EQ(Code("Fetch", {statement}), 0) << Errors();
    }
    static std::string Literal(const std::string& text)
    {
        return GetParam().wide_literal + "'" + text + "'";
    }
};

TEST_P(WideRead, ReportsNull)
{
    FetchFirst("SELECT NULL");
    EXPECT_EQ(Call("GetDataW", {statement, 1, -8}).length, 0U);
}

TEST_P(WideRead, NullAfterLongValue)
{
    const std::string text(999, 'x');
    FetchFirst("SELECT " + Literal(text) + ", NULL, " + Literal("y") + ", NULL");
    EXPECT_EQ(List("GetOneRow", {statement, ""}), "u\"" + text + "\", \"\", u\"y\", \"\"");
}

TEST_P(WideRead, CountsWrittenCharacters)
{
    FetchFirst("SELECT " + Literal("é€") + " AS \"né\", " + Literal("éx") + ", " + Literal("aé"));
    const Reply reply = Call("DescribeColumns", {statement});
    EXPECT_EQ(ListText(DecodeList(reply.List()).at(1).payload).substr(0, 8), "u\"né\", ");
    EXPECT_EQ(List("GetOneRow", {statement, EncodeList({1})}), "u\"é€\"");
    EXPECT_EQ(Utf8FromUnits(Call("GetDataW", {statement, 2, -8}).Bytes()), "éx");
    EXPECT_EQ(Utf8FromUnits(Call("GetDataExW", {statement, 3, -8, 100}).Bytes()), "aé");
}

/// With the legacy option: ODBC 2, and text as the driver's bytes.
class LegacyValues : public ConnectedTest {
protected:
    LegacyValues() : ConnectedTest(true) {}
};

TEST_P(LegacyValues, ThereAndBack)
{
    Make("t", "a INTEGER, v " + GetParam().types.text);
    ASSERT_EQ(Code("Prepare", {statement, "INSERT INTO t VALUES (?, ?)"}), 0) << Errors();
    ASSERT_EQ(
        Code("BindParameters", {statement, EncodeList({10, 100}), EncodeList({4, 12}),
                                EncodeList({0, 0}), EncodeList({1, 1}), EncodeList({10, 100})}),
        0);
    for (const char* text : {"Åéb", "Ω日本😀", ""}) {
        ASSERT_EQ(Code("SetParameter", {statement, EncodeList({7}), 1}), 0);
        ASSERT_EQ(Code("SetParameter", {statement, EncodeList({text}), 2}), 0);
        ASSERT_EQ(Code("Execute", {statement}), 0) << Errors();
    }
    EXPECT_EQ(Rows("SELECT a, v FROM t"), "\"7\", \"Åéb\"\n\"7\", \"Ω日本😀\"\n\"7\", \"\"\n");
}

/// Sends and reads values of megabytes.
class LongValues : public ConnectedTest {
protected:
    void Send(const std::string& bytes, int c_type, int sql_type, const std::string& column_type)
    {
        Make("t", "v " + column_type);
        ASSERT_EQ(Code("Prepare", {statement, "INSERT INTO t VALUES (?)"}), 0) << Errors();
        const int size = static_cast<int>(bytes.size());
        ASSERT_EQ(Code("BindParameter", {statement, 1, 1, c_type, sql_type, size, 0,
                                         WantsLengths() ? -100 - size : -100}),
                  0);
        ASSERT_EQ(Code("Execute", {statement}), 99) << Errors();
        EXPECT_EQ(List("ParamData", {statement}).substr(0, 4), "99, ");
        constexpr std::size_t kPiece = 65'532;  // whole wide characters
        for (std::size_t at = 0; at < bytes.size(); at += kPiece) {
            ASSERT_EQ(Code("PutData", {statement, bytes.substr(at, kPiece)}), 0) << Errors();
        }
        EXPECT_EQ(List("ParamData", {statement}).substr(0, 3), "0, ") << Errors();
    }

    /// The table's only value, read by an entry until nothing is left. Truncated pieces of text end
    /// in zeros.
    std::string Read(const std::string& entry, const std::vector<Argument>& rest, bool is_text)
    {
        Run("SELECT v FROM t");
        EXPECT_EQ(Code("Fetch", {statement}), 0);
        std::string all;
        int code = 1;
        while (code == 1) {
            all += CallOn(statement, entry, rest).Bytes();
            code = Code("GetLastSQLCode");
            const std::size_t end =
                is_text && code == 1 ? all.find_last_not_of('\0') + 1 : all.size();
            all.resize(entry == "GetDataExW" ? (end + 1) / 2 * 2 : end);
        }
        EXPECT_EQ(code, 0) << Errors();
        CallOn(statement, entry, rest);
        EXPECT_EQ(Code("GetLastSQLCode"), 100) << "nothing is left";
        EXPECT_EQ(Code("CloseCursor", {statement}), 0);
        return all;
    }

    static constexpr std::size_t kSize = 5'000'000;
};

TEST_P(LongValues, OfBinaryInPieces)
{
    std::string blob(kSize, '\0');
    std::ranges::generate(blob, [random = std::minstd_rand()]() mutable {
        return static_cast<char>(random() >> 8U);
    });
    Send(blob, -2, -4, GetParam().types.long_binary);
    EXPECT_TRUE(Read("GetData", {1, -2}, false) == blob);
    EXPECT_TRUE(Read("GetDataEx", {1, -2, 1'000'003}, false) == blob);
}

TEST_P(LongValues, OfTextInPieces)
{
    std::string text;
    while (text.size() < kSize) {
        text += "Åland Ω 日本 " + std::to_string(text.size());
    }
    if (GetParam().is_narrow) {
        Send(text, 1, -1, GetParam().types.long_text);
        EXPECT_TRUE(Read("GetData", {1, 1}, true) == text);
        EXPECT_TRUE(Read("GetDataEx", {1, 1, 1'000'003}, true) == text);
    } else {
        std::wstring wide;
        for (const char16_t unit : UnitsFromUtf8(text)) {
            wide += static_cast<wchar_t>(unit);
        }
        Send({reinterpret_cast<const char*>(wide.data()), sizeof(wchar_t) * wide.size()}, -8, -10,
             GetParam().types.long_text);
        const std::string back = Utf8FromUnits(Read("GetDataExW", {1, -8, 1'000'003}, true));
        EXPECT_TRUE(back == text) << back.size();
    }
}

INSTANTIATE_TEST_SUITE_P(Sources, Values, testing::ValuesIn(Sources()), SourceTest::NameOf);
INSTANTIATE_TEST_SUITE_P(Sources, WideRead, testing::ValuesIn(Sources()), SourceTest::NameOf);
INSTANTIATE_TEST_SUITE_P(Sources, LegacyValues, testing::ValuesIn(Sources()), SourceTest::NameOf);
INSTANTIATE_TEST_SUITE_P(Sources, LongValues, testing::ValuesIn(Sources()), SourceTest::NameOf);

}  // namespace
