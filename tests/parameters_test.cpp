// Parameters over the scripted driver manager: how they are bound, and what is in their buffers.
#include <fmt/format.h>
#include <unistd.h>

#include <fstream>

#include "scripted_fixture.h"

using scripted::Current;
using scripted::WideBytes;

namespace {

class ParameterTest : public ScriptedTest {
protected:
    ParameterTest() { Open(); }

    /// Binds parameter 1, an input and output, and discards the recorded call.
    void BindOne(int c_type, int sql_type)
    {
        ASSERT_EQ(Code("BindParameter", {statement, 1, 2, c_type, sql_type, 10, 2, 0}), 0);
        Current().TakeCalls();
    }
    int32_t Set(const std::string& list, int number = 1, const char* entry = "SetParameter") const
    {
        return Code(entry, {statement, list, number});
    }
    /// The first bytes of a parameter's buffer.
    static std::string Buffer(std::size_t n, int number = 1)
    {
        return {static_cast<const char*>(Current().bound.at(number).buffer), n};
    }
    static SQLLEN Indicator() { return *Current().bound.at(1).indicator; }
};

std::string Element(const ListValue& value)
{
    return EncodeList({value});
}

TEST_F(ParameterTest, ListsDescribeEveryParameter)
{
    const auto bind = [&](const std::vector<ListValue>& lengths) {
        return Code("BindParameters",
                    {statement, EncodeList(lengths), EncodeList({1, -8, -3, 4, -2}),
                     EncodeList({0, 0, 0, 7}), EncodeList({1, 2, 4, 65'537}), EncodeList({0, 9})});
    };
    EXPECT_EQ(bind({511, -100, 512, "text", -7}), 0);
    EXPECT_EQ(Current().TakeCalls(),
              "SQLFreeStmt(stmt3,3)\n"
              "SQLBindParameter(stmt3,1,1,1,1,512,0,buffer,512,511)\n"
              "SQLBindParameter(stmt3,2,2,-8,-8,0,0,2,0,-100)\n"
              "SQLBindParameter(stmt3,3,4,-2,-3,0,0,buffer,513,512)\n"
              "SQLBindParameter(stmt3,4,1,1,4,0,7,buffer,512,0)\n"
              "SQLBindParameter(stmt3,5,0,-2,-2,0,0,buffer,512,-7)\n");
    EXPECT_EQ(Buffer(512, 4), std::string(512, '\0'));
    Current().codes["SQLBindParameter"] = SQL_SUCCESS_WITH_INFO;
    EXPECT_EQ(bind({1, 2}), 1) << "a warning ends the binding";
    EXPECT_EQ(WasError(), 0);
    EXPECT_EQ(Set(Element(5), 2), -1) << "so there is no second parameter";
    Current().TakeCalls();
    EXPECT_EQ(bind({}), 0);
    EXPECT_EQ(Current().TakeCalls(), "SQLFreeStmt(stmt3,3)\n");
    EXPECT_EQ(Set(Element(5)), -1);
}

TEST_F(ParameterTest, RefusesNumbersOutOfRange)
{
    const Pair refused(-1, -1);
    EXPECT_EQ(Code("BindParameter", {statement, 5, 1, 1, 12, 0, 0, 255}), 0);
    EXPECT_EQ(Code("BindParameter", {statement, 5, 1, 1, 12, -1, 0, 256}), 0) << "again";
    EXPECT_EQ(Current().TakeCalls(),
              "SQLBindParameter(stmt3,5,1,1,12,0,0,buffer,259,255)\n"
              "SQLBindParameter(stmt3,5,1,1,12,18446744073709551615,0,buffer,260,256)\n");
    for (const int number : {0, -1, 65'536}) {
        EXPECT_EQ(Codes("BindParameter", {statement, number, 1, 1, 12, 0, 0, 1}), refused);
    }
    EXPECT_EQ(Set(Element("x"), 5), 0);
    EXPECT_EQ(Current().TakeCalls(), "") << "the refused numbers changed nothing";
    for (const int number : {0, -1, 4, 6}) {
        for (const char* entry : {"SetParameter", "SetParameterBinary"}) {
            EXPECT_EQ(Codes(entry, {statement, Element("x"), number}), refused) << number;
        }
        EXPECT_EQ(Call("GetParameter", {statement, number}).length, 0U);
        EXPECT_EQ(Codes("GetLastSQLCode", {}), refused);
    }
    for (const auto& value : {std::string(), Element(std::string(65'535, 'x'))}) {
        EXPECT_EQ(Codes("SetParameter", {statement, value, 5}), refused)
            << "no element, or one too long to be read";
    }
    EXPECT_EQ(Buffer(2, 5), std::string("x\0", 2));
}

struct ValueCase {
    int unicode;
    int c_type;
    int sql_type;
    std::string value;
    std::string bound;  // the new binding's C type, capacity and indicator; empty: none
    std::string bytes;  // at the start of the buffer
    SQLLEN indicator;
};

TEST_F(ParameterTest, ValuesChooseTheirCType)
{
    const std::string text(600, 't');
    const auto four = [](std::int32_t n) { return std::string(reinterpret_cast<char*>(&n), 4); };
    const auto eight = [](auto n) { return std::string(reinterpret_cast<char*>(&n), 8); };
    const auto zero = std::string(1, '\0');
    const std::u16string fits(63, u'w');
    const std::u16string grows(64, u'w');
    const auto wide = [](std::size_t n) { return WideBytes(std::wstring(n, L'w') + L'\0'); };
    const ValueCase cases[] = {
        {0, 1, 12, Element("ab"), "", "ab" + zero, SQL_NTS},
        {0, 8, 12, Element("ab"), "1 259 -3", "ab" + zero, SQL_NTS},
        {0, 1, 12, Element(text), "1 601 -3", text + zero, SQL_NTS},
        {0, 1, 12, Element(std::string(300, 't')), "1 512 -3", std::string(300, 't') + zero,
         SQL_NTS},
        {0, 1, 12, Element(zero), "", zero + zero, SQL_NTS},
        {0, 8, 12, Element(""), "", "", SQL_NULL_DATA},
        {0, 8, 12, Element(u""), "", "", SQL_NULL_DATA},
        {1, -8, 12, Element("\xE9"), "-8 259 -3", WideBytes({L'\u00E9', 0}), SQL_NTS},
        {1, 1, 12, Element(std::string(64, 'w')), "-8 512 -3", wide(64), SQL_NTS},
        {1, 1, 12, Element(std::string(128, 'w')), "-8 516 -3", wide(128), SQL_NTS},
        {0, -8, 12, Element(u"\u20AC"), "", WideBytes({L'\u20AC', 0}), SQL_NTS},
        {0, 1, 12, Element(fits), "-8 259 -3", wide(63), SQL_NTS},
        {0, -8, 12, Element(grows), "-8 512 -3", wide(64), SQL_NTS},
        {0, -8, 12, Element(std::u16string(300, u'w')), "-8 1204 -3", wide(300), SQL_NTS},
        {0, 1, 4, Element(5), "-16 259 0", four(5), 0},
        {0, 1, 4, Element(0), "-16 259 0", four(0), 0},
        {0, 1, 4, Element(-2'147'483'648L), "-16 259 0", eight(long{INT32_MIN}), 0},
        {0, 1, 4, Element(3'000'000'000L), "-25 259 0", eight(3'000'000'000L), 0},
        {0, 1, -5, Element(-1), "-25 259 0", eight(-1L), 0},
        {0, -27, -5, Element(7), "-27 259 0", eight(7L), 0},
        {0, 8, 2, Element(3'000'000'000L), "1 259 -3", "3000000000" + zero, SQL_NTS},
        {0, 8, 7, Element(-1), "1 259 -3", "-1" + zero, SQL_NTS},
        {0, 1, 8, Element(INT64_MIN), "1 259 -3", "-9223372036854775808" + zero, SQL_NTS},
        {0, 8, 8, Element(0.5), "", eight(0.5), 0},
        {0, 1, 12, Element(-1.5), "8 259 0", eight(-1.5), 0},
        {0, 1, 12, "\x04\x06\xFF\x0F", "8 259 0", eight(1.5), 0},  // a decimal
        {0, 1, 12, "\x03\x03x", "", "", 0},                        // of an unsupported type
        {0, 1, 12,
         "\x09\x01"
         "ab",
         "", "ab" + zero, SQL_NTS},  // claims more than there is
        {0, 1, 12,
         "\x09\x02"
         "a" +
             zero + "b",
         "-8 259 -3", WideBytes({L'a', 0}), SQL_NTS},
    };
    for (const ValueCase& c : cases) {
        SCOPED_TRACE(
            fmt::format("value {} for C type {}", HexText(c.value.substr(0, 20)), c.c_type));
        BindOne(c.c_type, c.sql_type);
        Code("SetUnicodeOption", {c.unicode});
        EXPECT_EQ(Set(c.value), 0);
        EXPECT_EQ(WasError(), 0);
        std::string bound;
        if (!Current().calls.empty()) {
            int c_type = 0;
            long capacity = 0;
            long indicator = 0;
            ASSERT_EQ(std::sscanf(Current().calls.back().c_str(),
                                  "SQLBindParameter(stmt3,1,2,%d,%*d,10,2,buffer,%ld,%ld)", &c_type,
                                  &capacity, &indicator),
                      3);
            bound = fmt::format("{} {} {}", c_type, capacity, indicator);
        }
        EXPECT_EQ(bound, c.bound);
        EXPECT_EQ(HexText(Buffer(c.bytes.size())), HexText(c.bytes));
        EXPECT_EQ(Indicator(), c.indicator);
    }
}

TEST_F(ParameterTest, BinaryValuesAreStoredUnchanged)
{
    struct Case {
        std::string value;
        const char* bound;
        std::string bytes;
        SQLLEN indicator;
    };
    const auto zero = std::string(1, '\0');
    const auto many = [](std::size_t n) { return std::string(n, 'b'); };
    const Case cases[] = {
        {Element("ABC"), "", "ABC" + zero, 3},
        {Element(0), "", "", SQL_NULL_DATA},
        {Element(258), "", "\x02\x01" + zero, 2},
        {Element(many(259)), "", many(259), 259},
        {Element(many(260)), "SQLBindParameter(stmt3,1,2,-2,12,10,2,buffer,512,260)\n",
         many(260) + zero, 260},
        {Element(many(600)), "SQLBindParameter(stmt3,1,2,-2,12,10,2,buffer,601,600)\n",
         many(600) + zero, 600},
    };
    for (const Case& c : cases) {
        BindOne(1, 12);
        EXPECT_EQ(Set(c.value, 1, "SetParameterBinary"), 0);
        EXPECT_EQ(Current().TakeCalls(), c.bound) << "a new C type alone binds nothing";
        EXPECT_EQ(HexText(Buffer(c.bytes.size())), HexText(c.bytes));
        EXPECT_EQ(Indicator(), c.indicator);
    }
    ASSERT_EQ(Code("BindParameter", {statement, 1, 4, 1, 12, 10, 2, 7}), 0);
    for (const char* entry : {"SetParameter", "SetParameterBinary"}) {
        Set(Element("x"), 1, entry);
        EXPECT_EQ(Indicator(), 7) << "of an output the driver sets it";
    }
}

TEST_F(ParameterTest, OutputsFollowTheirCType)
{
    struct Case {
        int c_type;
        std::string bytes;
        SQLLEN indicator;
        std::string narrow;   // the list with the Unicode option off
        std::string unicode;  // and on
    };
    const auto eight = [](double n) { return std::string(reinterpret_cast<char*>(&n), 8); };
    const std::string full(259, 'f');
    const std::string wide = WideBytes(L"\u00E9x");
    const std::string full_wide = WideBytes(std::wstring(64, L'w')) + "www";
    const std::string empty = "\"\\x00\"";
    const std::string tiny = fmt::format("\"{:.128g}\"", 5e-324);
    const Case cases[] = {
        {1, "ab", SQL_DEFAULT_PARAM, "none", "none"},
        {1, "ab", SQL_NULL_DATA, "\"\"", "\"\""},
        {1, "abc", 2, "\"ab\"", "u\"ab\""},
        {1, "\xC3\xA9", 2, "\"\u00E9\"", "u\"\u00E9\\x00\""},
        {1, "\xC3\xA9z", 2, "\"\u00E9\"", "u\"\u00E9z\""},
        {1, "abc", SQL_NTS, "\"abc\"", "\"abc\""},
        {1, full, SQL_NTS, "\"" + full + "\"", "\"" + full + "\""},
        {1, full, 5000, "\"" + full + "\"", "u\"" + full + "\""},
        {1, "abc", -4, "\"\"", "u\"\""},
        {1, "", 2, empty, empty},
        {-8, wide, 4, "\"\u00E9x\"", "u\"\u00E9\""},  // multibyte text is read up to its terminator
        {-8, wide, -4, "\"\"", "u\"\""},
        {-8, wide, SQL_NTS, "\"\u00E9x\"", "u\"\u00E9x\""},
        {-8, full_wide, 1L << 40, "\"" + std::string(64, 'w') + "\"",
         "u\"" + std::string(64, 'w') + "\""},
        {-8, full_wide, SQL_NTS, "\"" + std::string(64, 'w') + "\"",
         "u\"" + std::string(64, 'w') + "\""},
        {-8, "", 8, empty, empty},
        {-2, "ab", 2, "\"ab\"", "\"ab\""},
        {-2, full, 300, "\"" + full + "\"", "\"" + full + "\""},
        {-2, "ab", -9, "\"\"", "\"\""},
        {-16, "\xFE\xFF\xFF\xFF", 4, "-2", "-2"},
        {8, eight(0.5), 8, "\"0.5\"", "\"0.5\""},
        {8, eight(5e-324), 8, tiny, tiny},
        {-25, "\x05", 8, "", ""},
    };
    for (const Case& c : cases) {
        for (const int unicode : {0, 1}) {
            SCOPED_TRACE(fmt::format("C type {} indicator {}", c.c_type, c.indicator));
            BindOne(c.c_type, 12);
            Code("SetUnicodeOption", {unicode});
            const auto& bound = Current().bound.at(1);
            std::memcpy(bound.buffer, c.bytes.data(), c.bytes.size());
            *bound.indicator = c.indicator;
            EXPECT_EQ(ListText(Call("GetParameter", {statement, 1}).Bytes()),
                      unicode != 0 ? c.unicode : c.narrow);
            EXPECT_EQ(WasError(), 0);
        }
    }
    TraceOn();
    EXPECT_EQ(Done("GetParameter", {statement, 1}),
              fmt::format("GetParam BEGIN  {}, 1\nGetParam END\nerror 0", kStmt));
    EXPECT_EQ(Done("GetParameter", {unknown, 1}),
              "GetParam BEGIN  handle 0x309, 1\nGetParam END  -2\nerror -1");
}

TEST_F(ParameterTest, OutputLengthsHaveSixteenBits)
{
    ASSERT_EQ(Code("BindParameter", {statement, 1, 4, 1, 12, 0, 0, 70'000}), 0);
    std::memset(Current().bound.at(1).buffer, 'x', 70'000);
    const Reply reply = Call("GetParameter", {statement, 1});
    EXPECT_EQ(reply.length, (70'000 + 8) % 65'536U);
    EXPECT_EQ(HexText(reply.Bytes().substr(0, 9)), "00 00 00 71 11 01 00 01 78");
}

TEST_F(ParameterTest, DataAtExecution)
{
    TraceOn();
    Current().codes["SQLExecute"] = SQL_NEED_DATA;
    EXPECT_EQ(Codes("Execute", {statement}), Pair(99, -1)) << "the host looks at the code";
    Current().token = 2;
    const auto done = [&](const char* end) {
        EXPECT_EQ(Done("ParamData", {statement}),
                  fmt::format("ParamData BEGIN  {}\nParamData END{}", kStmt, end));
    };
    Current().codes["SQLParamData"] = SQL_NEED_DATA;
    done("  99, 2\nSQLParamData(stmt3)\n03 04 63 03 04 02\nerror 0");
    Current().codes["SQLParamData"] = SQL_ERROR;
    done("  -1, 2\nSQLParamData(stmt3)\n03 05 FF 03 04 02\nerror 0");
    EXPECT_EQ(Code("GetLastSQLCode"), 0);
    EXPECT_EQ(Done("ParamData", {unknown}),
              "ParamData BEGIN  handle 0x309\nParamData END  -2, \"\"\n03 05 FE 02 01\nerror -1");
    Current().throwing = {"SQLParamData"};
    done("\nSQLParamData(stmt3)\nerror -1000");
    Current().TakeCalls();
    const std::pair<const char*, Argument> pieces[] = {
        {"PutData", "ab"}, {"PutData", ""}, {"PutDataW", u"\u20ACbc"}, {"PutDataW", u""}};
    for (const auto& [entry, piece] : pieces) {
        EXPECT_EQ(Code(entry, {statement, piece}), 0);
    }
    using namespace std::string_literals;
    EXPECT_EQ(Current().TakeCalls(),
              "SQLPutData(stmt3,'ab',2)\nSQLPutData(stmt3,-1)\n"
              "SQLPutData(stmt3,'\xAC b\0c\0',6)\nSQLPutData(stmt3,-1)\n"s);
}

TEST_F(ParameterTest, DescribesMarkersUntilOneFails)
{
    const std::string header = R"("SqlType", "Precision", "Scale", "Nullable")";
    const auto rows = [&] { return Rows("DescribeParameters", {statement}); };
    EXPECT_EQ(rows(), "0, " + header + "\n");
    Current().markers = 3;
    Current().values = {{.number = 0x1'0000'0007}, {.code = SQL_ERROR}};
    EXPECT_EQ(rows(), "3, " + header + "\n-8, 7, 2, 1\n");
    EXPECT_EQ(WasError(), -1);
}

// A binding that the driver refuses is tried again with the next value: until then the driver holds
// what it held before, a number instead of the value's address.
TEST_F(ParameterTest, RefusedBindingsAreTriedAgain)
{
    const std::string inputs = EncodeList({1, 1});
    ASSERT_EQ(Code("BindParameters", {statement, EncodeList({10, -100}), "", "", inputs, ""}), 0);
    EXPECT_TRUE(Current().TakeCalls().ends_with("SQLBindParameter(stmt3,2,1,1,0,0,0,2,0,-100)\n"));
    const std::pair<std::string, const char*> values[] = {{std::string(600, 'x'), "601,-3)\n"},
                                                          {"abc", "512,-3)\n"}};
    for (const int number : {1, 2}) {
        const auto& [value, bound] = values[number - 1];
        Current().codes["SQLBindParameter"] = SQL_ERROR;
        EXPECT_EQ(Codes("SetParameter", {statement, Element(value), number}), Pair(-1, -1));
        Current().codes.clear();
        Current().TakeCalls();
        EXPECT_EQ(Set(Element(value), number), 0);
        EXPECT_EQ(Current().TakeCalls(),
                  fmt::format("SQLBindParameter(stmt3,{},1,1,0,0,0,buffer,{}", number, bound));
        EXPECT_EQ(Set(Element(value), number), 0);
        EXPECT_EQ(Current().TakeCalls(), "") << number;
    }
}

#ifndef __SANITIZE_ADDRESS__  // which keeps what is freed
long ResidentBytes()
{
    long pages = 0;
    std::ifstream("/proc/self/statm").ignore(64, ' ') >> pages;
    return pages * ::sysconf(_SC_PAGESIZE);
}

TEST_F(ParameterTest, HugeParametersTakeNoMemory)
{
    const long before = ResidentBytes();
    EXPECT_EQ(Code("BindParameter", {statement, 2, 1, 1, 12, 10, 0, INT32_MAX}), 0);
    const std::string lengths = EncodeList({INT32_MAX, INT32_MAX, INT32_MAX});
    EXPECT_EQ(Code("BindParameters", {statement, lengths, "", "", "", ""}), 0);
    EXPECT_LT(ResidentBytes() - before, 20 << 20);
}
#endif

}  // namespace
