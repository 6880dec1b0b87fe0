// One column's value over the scripted driver manager: its pieces, its limits, its empty forms.
#include <fmt/format.h>

#include <algorithm>

#include "scripted_fixture.h"

using scripted::Current;
using scripted::WideBytes;

namespace {

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
    uint32_t counted;       // what the length word of "GetData" says
    uint32_t filled;        // how many of its bytes or characters the driver wrote
    uint32_t long_counted;  // the same of "GetDataEx" with a length of 100
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
        {-2, 0, 5, 5, 5, 5, 5},
        {-8, 0, 20, 5, 5, 5, 5},
        {1, 0, 100, 100, 100, 100, 100},
        {-2, 1, 101, 101, 101, 100, 100},
        {1, 0, 32'765, 32'765, 32'765, 100, 100},
        {1, 1, 32'766, 32'765, 32'765, 100, 100},
        {-2, 0, 32'765, 32'765, 32'765, 100, 100},
        {-2, 1, 32'766, 32'766, 32'766, 100, 100},
        {1, 1, SQL_NO_TOTAL, 32'765, 32'765, 100, 100},
        {-2, 1, SQL_NO_TOTAL, 32'766, 32'766, 100, 100},
        {-2, 1, 5'000'000, 32'766, 32'766, 100, 100},
        {-2, 1, INT64_MIN, 32'766, 32'766, 100, 100},
        // Wide: 16 bits of bytes; a length of 100 offers 100 bytes, a quarter of what is delivered.
        {-8, 0, 65'532, 16'383, 16'383, 100, 25},
        {-8, 0, 65'536, 0, 0, 100, 25},
        {-8, 0, 131'060, 16'381, 16'381, 100, 25},
        {-8, 1, 131'064, 16'381, 16'381, 100, 25},
        {-8, 1, SQL_NO_TOTAL, 16'381, 16'381, 100, 25},
        {-8, 1, 80'000'000, 16'381, 16'381, 100, 25},
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
            std::vector<Argument> rest{1, c_type, 10};
            rest.resize(std::string_view(entry) == "GetDataEx" ? 3 : 2);
            Traced();
            EXPECT_EQ(Read(entry, rest, {.length = 5}).length, 0U);
            EXPECT_EQ(Traced(),
                      fmt::format("{0} BEGIN  {1}, 1, {2}\n{0} END\n", entry, kStmt, c_type));
            EXPECT_EQ(WasError(), -27);
        }
    }
    EXPECT_EQ(Current().Taken(), "");
    EXPECT_EQ(Read("GetDataEx", {1, 1, -1}, {.length = 5}).length, 0U) << "a negative length";
    EXPECT_EQ(WasError(), -1000);
}

}  // namespace
