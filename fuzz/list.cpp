// The reader and the writer of host lists: whatever the bytes, reading ends, stays inside the list
// and returns a result; and what is written can be read back.
#include <fuzzer/FuzzedDataProvider.h>

#include <clocale>
#include <cstdlib>
#include <memory>
#include <stdexcept>

#include "client/HostList.h"
#include "encoding/ZConstList.h"
#include "encoding/ZString.h"

namespace {

void Check(bool is_right)
{
    if (!is_right) {
        std::abort();
    }
}

// A list in storage of exactly its size, so that access outside is detected.
void Read(const std::string& bytes)
{
    const auto storage = std::make_unique<char[]>(bytes.size());
    bytes.copy(storage.get(), bytes.size());
    const ORVEL_EXSTR string{static_cast<uint32_t>(bytes.size()), storage.get()};
    ZConstList list(&string);
    Check(list.GetType() == ZConstList::kUnsupported);
    long item = 1;
    for (; list.MoveTo(item) != 0; ++item) {
        list.GetInt();
        list.GetLong();
        list.GetDouble();
        const auto payload = list.Payload();
        Check(payload.empty() || (payload.data() >= storage.get() &&
                                  payload.data() + payload.size() <= storage.get() + bytes.size()));
        list.uni2_uni4();
        list.ConvertToUni();
        list.ConvertToMB();
    }
    Check(item <= static_cast<long>(bytes.size()) + 1);
    list.MoveTo(item / 2);
}

// Appends elements of every kind; the host's decoder finds the same number and values.
void Write(FuzzedDataProvider& data)
{
    static std::int64_t unicode = 0;
    unicode = data.ConsumeBool() ? 1 : 0;
    ZString::FollowUnicodeOption(&unicode);
    ZString list;
    std::size_t count = 0;
    while (data.remaining_bytes() > 0) {
        const auto text = data.ConsumeRandomLengthString(300);
        const std::string many(data.ConsumeBool() ? data.ConsumeIntegralInRange(0U, 70'000U) : 0,
                               'x');
        const auto number = data.ConsumeIntegral<std::int32_t>();
        const auto size = list.size();
        try {
            switch (data.ConsumeIntegralInRange(0, 5)) {
                case 0:
                    list.AppendString((text + many).data(), text.size() + many.size());
                    Check(DecodeList(list.substr(size)).at(0).payload == text + many);
                    break;
                case 1:
                    list.AppendCUString((text + many).data(), (text.size() + many.size()) / 2);
                    break;
                case 2:
                    list.AppendLong(number);
                    Check(DecodeList(list.substr(size)).at(0).Integer() == number);
                    break;
                case 3: {
                    std::wstring wide;
                    for (const char byte : text) {
                        wide.push_back(wide.empty() ? number : static_cast<unsigned char>(byte));
                    }
                    list.AppendWString(wide.c_str(), wide.size());
                    break;
                }
                case 4:
                    list.AppendConvert(text.c_str(), text.size());
                    break;
                default:
                    list.AppendEmptyValue();
            }
            ++count;
        } catch (const std::length_error&) {
            Check(list.size() == size);
        }
    }
    Check(DecodeList(list).size() == count);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, std::size_t size)
{
    static const char* const locale = std::setlocale(LC_CTYPE, "C.UTF-8");
    Check(locale != nullptr);
    FuzzedDataProvider data(bytes, size);
    if (data.ConsumeBool()) {
        Read(data.ConsumeRemainingBytesAsString());
    } else {
        Write(data);
    }
    return 0;
}
