// The encodings by themselves: conversions, the reader and the writer of lists, and the host's
// decoder checked against both.
#include <gtest/gtest.h>

#include <clocale>
#include <functional>
#include <vector>

#include "client/HostList.h"
#include "encoding/ZConstList.h"
#include "encoding/ZString.h"
#include "encoding/conversions.h"
#include "text/list_text.h"
#include "text/terminal_text.h"
#include "text/value_syntax.h"

namespace {

/// A reader over bytes in storage of exactly their size, so that a sanitizer detects access
/// outside.
struct Reader {
    explicit Reader(const std::string& bytes) : storage(bytes.begin(), bytes.end()) {}

    std::vector<char> storage;
    ORVEL_EXSTR string{static_cast<uint32_t>(storage.size()), storage.data()};
    ZConstList list{&string};
};

TEST(Conversions, WidenWithinTheirCapacity)
{
    const struct {
        int (*widen)(const unsigned char*, int, wchar_t*, int);
        int bytes;  // an odd one is ignored if a character has two
        int capacity;
        std::wstring wide;  // empty: nothing is written
    } cases[] = {
        {&VYRToWide, 2, 2, L""},
        {&VYRToWide, 2, 3, L"A\u00E9"},
        {&uni2_uni4, 5, 4, {0xE941, 0xD83D}},
        {&uni2_uni4_no_swap, 5, 4, {0xE941, 0xD83D}},
        {&uni2_uni4, 4, 0, L""},
        {&uni2_uni4_no_swap, 4, 0, L""},
        {&uni2_uni4, 4, 1, {0xE941, 0xD83D}},
        {&uni2_uni4_no_swap, 4, 1, {0xE941, 0xD83D}},
    };
    const unsigned char text[] = {0x41, 0xE9, 0x3D, 0xD8, 0x00};
    for (const auto& c : cases) {
        wchar_t wide[4] = {7, 7, 7, 7};
        EXPECT_EQ(c.widen(text, c.bytes, wide, c.capacity), static_cast<int>(c.wide.size()));
        EXPECT_TRUE(c.wide.empty() ? wide[0] == 7 : wide == c.wide) << c.bytes << c.capacity;
    }
}

TEST(Conversions, NarrowToTwoBytes)
{
    const wchar_t text[] = {0x41, 0x1F600, 0x20AC};
    unsigned short units[5] = {7, 7, 7, 7, 7};
    EXPECT_EQ(uni4_uni2(text, 3, units, 8), 3);
    EXPECT_EQ(units[1], 0xF600);
    EXPECT_EQ(units[3], 7) << "no terminator where it would be the last that fits";
    EXPECT_EQ(uni4_uni2_no_swap(text, 3, units, 10), 3);
    EXPECT_EQ(units[3], 0);
    EXPECT_EQ(uni4_uni2(text, 3, units, 5), 0);
    EXPECT_EQ(uni4_uni2(nullptr, 3, units, 8), 0);
    EXPECT_EQ(uni4_uni2(text, 3, nullptr, 8), 0);
    EXPECT_EQ(uni4_uni2(text, 1, reinterpret_cast<unsigned short*>(const_cast<wchar_t*>(text)), 8),
              0);
    EXPECT_EQ(ucslen(L""), 0);
    EXPECT_EQ(ucslen(L"abc"), 3);
}

struct ReadCase {
    const char* bytes;
    int type;
    int as_int;
    long as_long;
    double as_double;
};

TEST(ZConstList, ReadsValues)
{
    const ReadCase cases[] = {
        {"02 04", 2, 0, 0, 0},
        {"03 04 05", 2, 5, 5, 0},
        {"05 04 00 00 01", 2, 65'536, 65'536, 0},
        {"06 04 FF FF FF 7F", 2, 2'147'483'647, 2'147'483'647, 0},
        {"07 04 01 00 00 00 02", 2, 3, 0x2'0000'0001, 0},  // the fifth byte wraps in 32 bits
        {"02 05", 2, -1, -1, 0},
        {"03 05 FF", 2, -1, -1, 0},
        {"04 05 FF FE", 2, -257, -257, 0},
        {"06 05 00 00 00 80", 2, -1, -2'147'483'648, 0},  // four bytes lose to the fill
        {"0A 05 00 00 00 00 00 00 00 80", 2, -1, INT64_MIN, 0},
        {"04 06 FF 0F", 3, 0, 0, 1.5},
        {"04 07 FF F1", 3, 0, 0, -1.5},
        {"03 07 02", 3, 0, 0, -100},
        {"0A 08 00 00 00 00 00 00 00 40", 3, 0, 0, 2.0},
        {"04 01 41 42", 1, 0, 0, 0},
        {"06 02 41 00 42 00", 4, 0, 0, 0},
        {"03 03 05", 0, 0, 0, 0},
        {"03 09 05", 0, 0, 0, 0},
        {"06 04 05", 2, 5, 5, 0},  // shorter than it says: outside bytes are 0
        {"0A 08 00", 3, 0, 0, 0},
    };
    for (const ReadCase& c : cases) {
        SCOPED_TRACE(c.bytes);
        Reader reader(BytesOf(c.bytes));
        ZConstList& list = reader.list;
        EXPECT_EQ(list.GetType(), 0) << "nothing is current before the first move";
        ASSERT_EQ(list.MoveTo(1), 1);
        EXPECT_EQ(list.GetType(), c.type);
        EXPECT_EQ(list.GetInt(), c.as_int);
        EXPECT_EQ(list.GetLong(), c.as_long);
        EXPECT_DOUBLE_EQ(list.GetDouble(), c.as_double);
        EXPECT_EQ(list.MoveTo(2), 0);
    }
}

TEST(ZConstList, Walks)
{
    Reader reader(BytesOf("03 04 05 04 01 41 42 06 02 41 00 42 00"));
    ZConstList& list = reader.list;
    const std::pair<long, int> steps[] = {
        {3, ZConstList::kWideString}, {2, ZConstList::kString}, {0, ZConstList::kInteger}};
    for (const auto& [item, type] : steps) {
        EXPECT_EQ(list.MoveTo(item), 1);
        EXPECT_EQ(list.GetType(), type);
    }
    for (const long beyond : {4, 1'000'000'000}) {
        EXPECT_EQ(list.MoveTo(beyond), 0);
        EXPECT_EQ(list.GetInt(), 0) << "past the end there is nothing";
    }
    EXPECT_EQ(list.Init(), 1);
    EXPECT_EQ(Reader("").list.MoveTo(1), 0);
    const ORVEL_EXSTR null{5, nullptr};
    EXPECT_EQ(ZConstList(&null).MoveTo(1), 0);
    // An empty element reports the type of the byte after it.
    Reader with_empty(BytesOf("01 03 04 07"));
    ASSERT_EQ(with_empty.list.MoveTo(1), 1);
    EXPECT_EQ(with_empty.list.GetType(), ZConstList::kUnsupported);
    EXPECT_EQ(with_empty.list.PayloadLength(), 0);
    ASSERT_EQ(with_empty.list.MoveTo(2), 1);
    EXPECT_EQ(with_empty.list.GetInt(), 7);
}

// Prefix bytes are signed to this reader: elements of these sizes step backwards or short.
TEST(ZConstList, LongPrefixesStepShort)
{
    struct Case {
        std::size_t first;  // payload bytes of the element before the one looked for
        int found;          // what MoveTo(2) returns
        int type;
    };
    for (const auto& [first, found, type] :
         {Case{125, 1, 2}, Case{126, 1, 0}, Case{130, 1, 0}, Case{254, 1, 0}, Case{299, 1, 2}}) {
        ZString list;
        list.AppendString(std::string(first, 'x').data(), first);
        list.AppendLong(5);
        Reader reader(list);
        SCOPED_TRACE(first);
        EXPECT_EQ(reader.list.MoveTo(2), found);
        EXPECT_EQ(reader.list.GetType(), type);
        EXPECT_EQ(reader.list.GetInt(), type == 2 ? 5 : 0);
    }
    // 65,535 bytes and more: the step is right, but the payload starts in the length field.
    ZString list;
    list.AppendString(std::string(70'000, 'x').data(), 70'000);
    list.AppendLong(5);
    Reader reader(list);
    EXPECT_EQ(reader.list.MoveTo(2), 1);
    EXPECT_EQ(reader.list.GetInt(), 5);
    EXPECT_EQ(reader.list.MoveTo(1), 1);
    EXPECT_EQ(reader.list.PayloadLength(), -1);
    EXPECT_EQ(reader.list.uni2_uni4(), 0);
}

TEST(ZConstList, ConvertsMultibyteAndWidePayloads)
{
    std::setlocale(LC_CTYPE, "C.UTF-8");
    Reader multibyte(BytesOf("04 01 C3 A9"));  // the list's end is the text's
    ASSERT_EQ(multibyte.list.MoveTo(1), 1);
    EXPECT_EQ(multibyte.list.ConvertToUni(), 1);
    EXPECT_EQ(*reinterpret_cast<const wchar_t*>(ZConstList::conv_buf), 0xE9);
    Reader units(BytesOf("06 02 41 00 42 00"));
    ASSERT_EQ(units.list.MoveTo(1), 1);
    EXPECT_EQ(units.list.uni2_uni4(), 2);
    EXPECT_STREQ(ZConstList::conv_buf1, L"AB");
    Reader wide(BytesOf("0A 01 E9 00 00 00 00 00 00 00"));
    ASSERT_EQ(wide.list.MoveTo(1), 1);
    EXPECT_EQ(wide.list.ConvertToMB(), 2);
    EXPECT_STREQ(ZConstList::conv_buf, "\u00E9");
}

TEST(ZString, WritesEachForm)
{
    const auto bytes = [](std::size_t n) {
        return [=](ZString& list) { list.AppendString(std::string(n, 'x').data(), n); };
    };
    const auto units = [](std::size_t n) {
        return [=](ZString& list) { list.AppendCUString(std::u16string(n, u'x').data(), n); };
    };
    const auto number = [](long n) { return [=](ZString& list) { list.AppendLong(n); }; };
    const struct {
        std::function<void(ZString&)> write;
        const char* starts;
        std::size_t size;
    } cases[] = {
        {bytes(0), "02 01", 2},
        {bytes(253), "FF 01 78", 255},
        {bytes(254), "00 FF 00 01 78", 258},
        {bytes(65'534), "00 FF FF 01 78", 65'538},
        {bytes(65'535), "00 00 00 00 00 01 00 01 78", 65'543},
        {units(126), "FE 02 78 00", 254},
        {units(127), "00 FF 00 02 78 00", 258},
        {[](ZString& list) { list.AppendNTString("AB"); }, "04 01 41 42", 4},
        {[](ZString& list) { list.AppendEmptyValue(); }, "03 01 00", 3},
        {number(0), "02 04", 2},
        {number(255), "03 04 FF", 3},
        {number(256), "04 04 00 01", 4},
        {number(65'536), "05 04 00 00 01", 5},
        {number(1 << 24), "06 04 00 00 00 01", 6},
        {number(1L << 32), "03 04 00", 3},
        {number(-1), "03 05 FF", 3},
        {number(-256), "03 05 00", 3},
        {number(-257), "04 05 FF FE", 4},
        {number(INT32_MIN), "06 05 00 00 00 80", 6},
    };
    for (const auto& c : cases) {
        ZString list;
        c.write(list);
        EXPECT_EQ(HexText(list.substr(0, BytesOf(c.starts).size())), c.starts);
        EXPECT_EQ(list.size(), c.size) << c.starts;
        EXPECT_EQ(DecodeList(list).size(), 1U) << c.starts;
        const std::string area = list + std::string(16, '\0');
        EXPECT_EQ(ListLength(area, static_cast<uint16_t>(list.size())), list.size()) << c.starts;
    }
}

/// Text according to the Unicode option, which the writer follows during a test.
class Writer : public testing::Test {
protected:
    Writer()
    {
        std::setlocale(LC_CTYPE, "C.UTF-8");
        ZString::FollowUnicodeOption(&unicode);
    }
    ~Writer() override
    {
        static const std::int64_t off = 0;
        ZString::FollowUnicodeOption(&off);
    }

    std::int64_t unicode = 0;
    ZString list;
};

TEST_F(Writer, WideTextFollowsTheOption)
{
    list.AppendWString(L"\u00C5\U0001F600", 1);  // up to the terminator, whatever n
    list.AppendWString(L"", 0);
    unicode = 5;
    list.AppendWString(L"\u00C5\U0001F600", 2);
    EXPECT_EQ(HexText(list), "08 01 C3 85 F0 9F 98 80 02 01 06 02 C5 00 00 F6");
}

// Every character, alone and inside a text, is converted as by the C library.
TEST_F(Writer, MultibyteTextIsTheLocales)
{
    for (wchar_t character = 1; character < 0x11'0100; ++character) {
        for (const std::wstring& text :
             {std::wstring{character, L'a'}, std::wstring{L'a', character}}) {
            char expected[16];
            const std::size_t size = std::wcstombs(expected, text.c_str(), sizeof expected);
            list.clear();
            if (size == static_cast<std::size_t>(-1)) {
                EXPECT_THROW(list.AppendWString(text.c_str(), text.size()), std::length_error);
            } else {
                list.AppendWString(text.c_str(), text.size());
                ASSERT_EQ(list.substr(2), std::string(expected, size)) << int(character);
            }
        }
    }
    // A full conversion buffer: a character that does not fit completely is omitted.
    for (const auto& [character, bytes] : {std::pair{L'\u20AC', 3'641'142U}, {L'x', 3'641'143U}}) {
        const std::wstring wide(kConversionLimit, character);
        list.clear();
        list.AppendWString(wide.c_str(), wide.size());
        EXPECT_EQ(list.size(), 8 + bytes);
    }
}

TEST_F(Writer, MultibyteTextFollowsTheOption)
{
    list.AppendConvert("\u00C5b", 2);
    unicode = 1;
    list.AppendConvert("wxyz", 4);  // leaves its traces in the buffer
    list.clear();
    list.AppendConvert("\u00C5b", 4);
    EXPECT_EQ(HexText(list), "0A 02 C5 00 62 00 00 00 00 00") << "the tail is zeros";
}

TEST_F(Writer, RefusesWhatItCannotConvert)
{
    const std::wstring longest(kConversionLimit, L'x');
    const std::string bytes(kConversionLimit + 1, 'x');
    EXPECT_THROW(list.AppendWString(longest.data(), longest.size() + 1), std::length_error);
    unicode = 1;
    EXPECT_THROW(list.AppendConvert(bytes.data(), bytes.size()), std::length_error);
    list.AppendWString(longest.data(), longest.size());
    EXPECT_EQ(list.size(), 2 * longest.size() + 8);
    unicode = 0;
    std::setlocale(LC_CTYPE, "C");
    EXPECT_THROW(list.AppendWString(L"\u00C5", 1), std::length_error);
}

TEST(HostList, RefusesBrokenLists)
{
    for (const char* bytes : {"05 01 41", "00 05 00 01", "00 00 00 00 00 00 00", "00", "02"}) {
        EXPECT_THROW(DecodeList(BytesOf(bytes)), ListError) << bytes;
    }
    EXPECT_THROW(ListLength(BytesOf("03 04 05 00 00"), 4), ListError);
    EXPECT_THROW((ListElement{ListElement::kBytes, "5"}.Integer()), ListError);
    EXPECT_THROW((ListElement{ListElement::kNonNegative, "5"}.Number()), ListError);
}

TEST(HostList, ReadsNumbersAndText)
{
    const std::string list = BytesOf(
        "01 04 07 FF F1 0A 08 00 00 00 00 00 00 00 40 06 05 00 00 00 80 08 02 3D D8 00 DE 3D D8");
    const auto elements = DecodeList(list);
    ASSERT_EQ(elements.size(), 5U);
    EXPECT_EQ(elements[0].type, ListElement::kNoValue);
    EXPECT_DOUBLE_EQ(elements[1].Number(), -1.5);
    EXPECT_DOUBLE_EQ(elements[2].Number(), 2.0);
    EXPECT_EQ(elements[3].Integer(), INT32_MIN);
    EXPECT_EQ(elements[4].Text(), "\U0001F600\uFFFD");
    EXPECT_EQ(UnitsFromUtf8("\u00E9\U0001F600\xFF"), u"\u00E9\U0001F600\uFFFD");
}

}  // namespace
