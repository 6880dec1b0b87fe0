#include "client/Gateway.h"

#include <dlfcn.h>
#include <ffi.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <new>
#include <set>

#include "client/HostList.h"
#include "client/HostServices.h"

namespace {

constexpr std::string_view kInputs = "cbsij";
constexpr std::string_view kOutputs = "BSJNP";

// The minimum room of an output long string, in units.
constexpr std::size_t kMinUnits = 2;

// Room for the largest output there is: 65,535 diagnostic records of 600 bytes. Only pages that are
// written to use memory.
constexpr std::size_t kOutputSize = std::size_t{65'536} * 600;

constexpr std::size_t kHandleSize = 8;
constexpr std::size_t kWordSize = sizeof(uint16_t);

template <class Wanted>
const Wanted& As(const Argument& argument, char letter)
{
    const auto* value = std::get_if<Wanted>(&argument);
    if (value == nullptr) {
        throw CallError(std::string("an argument is not of letter ") + letter);
    }
    return *value;
}

}  // namespace

char* CallHost::Take(std::size_t size, std::size_t /*alignment*/)
{
    auto* bytes = static_cast<char*>(std::calloc(std::max<std::size_t>(size, 1), 1));
    if (bytes == nullptr) {
        throw std::bad_alloc();
    }
    return bytes;
}

void CallHost::GiveBack(char* bytes)
{
    std::free(bytes);
}

std::size_t CallHost::Readable(const ORVEL_ZFE& /*row*/, std::size_t /*index*/,
                               const Argument& input) const
{
    const auto* units = std::get_if<std::u16string>(&input);
    return std::max(kHandleSize, units != nullptr ? 4 * units->size() : 0);
}

std::size_t CallHost::Room(const ORVEL_ZFE& /*row*/, const std::vector<Argument>& inputs) const
{
    // The last integer is the number of units asked for.
    const auto* asked_for = inputs.empty() ? nullptr : std::get_if<int32_t>(&inputs.back());
    const auto units = static_cast<std::size_t>(asked_for != nullptr ? std::max(*asked_for, 0) : 0);
    return std::max(kOutputSize, 2 * (units + kMinUnits));
}

/// One call's arguments as the entry takes them, and the storage behind them.
class Marshalling {
public:
    explicit Marshalling(const ORVEL_ZFE& row) : row_(row) {}

    void Add(char letter, const Argument& input)
    {
        switch (letter) {
            case 'c':
                if (std::holds_alternative<std::monostate>(input)) {
                    AddPointer(nullptr);
                } else {
                    const auto& text = As<std::string>(input, letter);
                    AddPointer(Placed({text.c_str(), text.size() + 1}, text.size() + 1, 1));
                }
                break;
            case 'b': {
                const auto& bytes = As<std::string>(input, letter);
                AddCounted(bytes.size(), bytes, input);
                break;
            }
            case 's': {
                const auto& units = As<std::u16string>(input, letter);
                AddCounted(units.size(),
                           {reinterpret_cast<const char*>(units.data()), 2 * units.size()}, input);
                break;
            }
            case 'j':
                AddPointer(&long_strings_.emplace_back(As<std::string>(input, letter)).descriptor);
                break;
            default:
                AddInteger(As<int32_t>(input, letter));
        }
    }

    void AddOutput(char letter, const std::vector<Argument>& inputs)
    {
        if (letter == 'P') {
            AddPointer(&reply_.code);
            return;
        }
        const bool is_long_string = letter == 'J' || letter == 'N';
        reply_.unit_ = letter == 'S' || letter == 'N' ? 2 : 1;
        reply_.size_ = host_.Room(row_, inputs);
        reply_.offset_ = is_long_string ? 0 : kWordSize;
        reply_.area_.reset(
            host_.Take(reply_.offset_ + reply_.size_, is_long_string ? 1 : kWordSize));
        if (is_long_string) {
            output_string_.text = reply_.area_.get();
            AddPointer(&output_string_);
        } else {
            AddPointer(reply_.area_.get());
        }
    }

    Reply Call()
    {
        std::vector<void*> places;
        for (Value& value : values_) {
            places.push_back(&value);
        }
        ffi_cif interface;
        if (ffi_prep_cif(&interface, FFI_DEFAULT_ABI, static_cast<unsigned>(types_.size()),
                         &ffi_type_sint32, types_.data()) != FFI_OK) {
            throw CallError("the arguments can't be passed");
        }
        for (LongString& string : long_strings_) {
            string.descriptor = HostServices::Instance().NewLongString(string.text);
        }
        ffi_arg returned = 0;
        const Gateway::CurrentEntry current(row_.name);
        host_.Perform([&] { ffi_call(&interface, row_.function, &returned, places.data()); });
        TakeOutput();
        return std::move(reply_);
    }

private:
    // Created only when nothing can prevent the call, which releases it.
    struct LongString {
        explicit LongString(std::string bytes) : text(std::move(bytes)) {}

        std::string text;
        ORVEL_EXSTR descriptor{};
    };

    union Value {
        void* pointer;
        int32_t integer;
    };

    void AddPointer(void* pointer)
    {
        types_.push_back(&ffi_type_pointer);
        values_.push_back({.pointer = pointer});
    }

    char* Placed(std::string_view bytes, std::size_t readable, std::size_t alignment)
    {
        const std::size_t size = std::max(bytes.size(), readable);
        auto& place = places_.emplace_back(host_.Take(size, alignment), Reply::GiveBack{&host_});
        std::memcpy(place.get(), bytes.data(), bytes.size());
        return place.get();
    }

    void AddCounted(std::size_t count, std::string_view data, const Argument& input)
    {
        if (count > UINT16_MAX) {
            throw CallError("an argument of " + std::to_string(count) +
                            " is longer than a length word can say");
        }
        const auto word = static_cast<uint16_t>(count);
        std::string bytes(reinterpret_cast<const char*>(&word), sizeof word);
        bytes.append(data);
        const std::size_t readable = host_.Readable(row_, values_.size(), input);
        AddPointer(Placed(bytes, sizeof word + readable, kWordSize));
    }

    void AddInteger(int32_t integer)
    {
        types_.push_back(&ffi_type_sint32);
        values_.push_back({.integer = integer});
    }

    void TakeOutput()
    {
        if (reply_.offset_ != 0) {
            uint16_t word = 0;
            std::memcpy(&word, reply_.area_.get(), sizeof word);
            reply_.length = word;
        } else if (reply_.area_ != nullptr) {
            reply_.length = output_string_.length;
            if (output_string_.text != reply_.area_.get()) {
                // Storage that the library got from AllocLongString.
                reply_.area_.reset(output_string_.text);
                reply_.size_ = reply_.length * reply_.unit_;
            }
        }
    }

    const ORVEL_ZFE& row_;
    CallHost& host_ = *HostServices::Instance().call_host;
    std::deque<std::unique_ptr<char, Reply::GiveBack>> places_;
    std::deque<LongString> long_strings_;
    ORVEL_EXSTR output_string_{};
    Reply reply_{host_};
    std::vector<ffi_type*> types_;
    std::vector<Value> values_;
};

std::string_view Reply::List() const
{
    return Area().substr(0, ListLength(Area(), static_cast<uint16_t>(length)));
}

bool IsOutput(char letter)
{
    return kOutputs.find(letter) != std::string_view::npos;
}

void Gateway::Unload::operator()(void* library) const
{
    dlclose(library);
}

Gateway::Gateway(const std::string& path) : library_(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL))
{
    if (library_ == nullptr) {
        throw LoadError(dlerror());
    }
    auto* get_table = reinterpret_cast<decltype(&GetZFTable)>(dlsym(library_.get(), "GetZFTable"));
    if (get_table == nullptr) {
        throw LoadError(path + " is not a gateway: it exports no GetZFTable");
    }
    TakeTable(get_table);
}

Gateway::Gateway(decltype(&GetZFTable) get_table)
{
    TakeTable(get_table);
}

void Gateway::TakeTable(decltype(&GetZFTable) get_table)
{
    table_ = get_table(nullptr, HostServices::Table());
    if (table_ == nullptr) {
        throw LoadError("the gateway has no callout table");
    }
    try {
        CheckTable();
    } catch (const CallError& error) {
        throw LoadError(std::string("the callout table is not a gateway's: ") + error.what());
    }
}

void Gateway::CheckTable() const
{
    std::set<std::string_view> names;
    for (int i = 0; i < ORVEL_TABLE_ROWS; ++i) {
        const ORVEL_ZFE& row = table_[i];
        const std::string where = "row " + std::to_string(i) + " of the callout table ";
        if (row.name == nullptr || row.signature == nullptr || row.function == nullptr) {
            throw LoadError(where + "is empty");
        }
        if (!names.insert(row.name).second) {
            throw LoadError(where + "repeats the name " + row.name);
        }
        for (const char letter : std::string_view(row.signature)) {
            if (!IsOutput(letter) && kInputs.find(letter) == std::string_view::npos) {
                throw LoadError(where + "has the unknown signature " + row.signature);
            }
        }
    }
    const ORVEL_ZFE& last = table_[ORVEL_TABLE_ROWS];
    if (last.name != nullptr || last.signature != nullptr || last.function != nullptr) {
        throw LoadError("the callout table has more than " + std::to_string(ORVEL_TABLE_ROWS) +
                        " rows");
    }
    if (const auto version = Call("GetGTWVersion").code; version != ORVEL_INTERFACE_VERSION) {
        throw LoadError("the gateway's interface has version " + std::to_string(version) +
                        ", not " + std::to_string(ORVEL_INTERFACE_VERSION));
    }
}

const ORVEL_ZFE* Gateway::Find(std::string_view name) const
{
    for (const ORVEL_ZFE* row = table_; row->name != nullptr; ++row) {
        if (row->name == name) {
            return row;
        }
    }
    return nullptr;
}

Reply Gateway::CallOn(const std::string& handle, std::string_view name,
                      std::vector<Argument> rest) const
{
    rest.insert(rest.begin(), handle);
    return Call(name, rest);
}

Reply Gateway::Call(std::string_view name, const std::vector<Argument>& inputs) const
{
    const ORVEL_ZFE* row = Find(name);
    if (row == nullptr) {
        throw CallError("no entry has the name " + std::string(name));
    }
    Marshalling marshalling(*row);
    auto input = inputs.begin();
    for (const char letter : std::string_view(row->signature)) {
        if (IsOutput(letter)) {
            marshalling.AddOutput(letter, inputs);
        } else if (input == inputs.end()) {
            throw CallError(std::string(name) + " takes more arguments: " + row->signature);
        } else {
            marshalling.Add(letter, *input++);
        }
    }
    if (input != inputs.end()) {
        throw CallError(std::string(name) + " takes fewer arguments: " + row->signature);
    }
    return marshalling.Call();
}
