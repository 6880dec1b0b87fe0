#include "shell/Caller.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "shell/HostList.h"
#include "shell/HostServices.h"
#include "shell/present.h"
#include "shell/words.h"

namespace {

constexpr std::string_view kOutputs = "BSJNP";
constexpr std::string_view kConnection = "@connection";
constexpr std::string_view kStatement = "@statement";

bool IsInput(char letter)
{
    return kOutputs.find(letter) == std::string_view::npos;
}

char OutputLetter(const ORVEL_ZFE& entry)
{
    const std::string_view signature = entry.signature;
    const auto at = signature.find_first_of("BSJN");
    return at == std::string_view::npos ? '\0' : signature[at];
}

bool HasResult(const ORVEL_ZFE& entry)
{
    return std::string_view(entry.signature).ends_with('P');
}

// What the outputs hold: bytes of a column, a handle, a list, or a list of lists.
enum class Content { kData, kHandle, kList, kLists };

Content ContentOf(std::string_view name)
{
    if (name.starts_with("GetData")) {
        return Content::kData;
    }
    if (name.find("Connect") != std::string_view::npos || name == "AllocStatement") {
        return Content::kHandle;
    }
    const bool holds_lists =
        name == "FetchRows" || name == "DescribeColumns" || name == "DescribeParameters";
    return holds_lists ? Content::kLists : Content::kList;
}

std::string Hex(std::string_view bytes)
{
    std::string hex;
    for (const char byte : bytes) {
        hex += fmt::format("{}{:02X}", hex.empty() ? "" : " ", static_cast<unsigned char>(byte));
    }
    return hex;
}

// The bytes of an output; of a list all, of which the length word may tell only the low 16 bits.
std::string_view OutputBytes(const Reply& reply, char letter, Content content)
{
    const bool is_list = content == Content::kList || content == Content::kLists;
    return letter == 'B' && is_list && reply.length != 0 ? reply.List() : reply.Bytes();
}

std::string OutputText(std::string_view bytes, char letter, Content content)
{
    if (letter == 'S' || letter == 'N') {
        return "u\"" + Printable(Utf8FromUnits(bytes)) + "\"";
    }
    if (content == Content::kData) {
        return "\"" + Printable(bytes) + "\"";
    }
    if (content == Content::kHandle) {
        return ListText(EncodeList({std::string(bytes)}));
    }
    if (content == Content::kList) {
        return ListText(bytes);
    }
    std::string lines;
    for (const ListElement& list : DecodeList(bytes)) {
        lines += (lines.empty() ? "" : "\n  ") + ListText(list.payload);
    }
    return lines;
}

}  // namespace

Caller::Caller(const Gateway& gateway, const Session* session, bool is_hex, std::FILE* data,
               std::FILE* messages)
    : gateway_(gateway),
      is_hex_(is_hex),
      data_(data),
      messages_(messages),
      connection_(session != nullptr ? session->Connection() : "")
{}

Caller::~Caller()
{
    try {
        if (!statement_.empty()) {
            gateway_.Call("DropStatement", {statement_});
        }
    } catch (...) {
        // The outcome that is on its way matters more.
    }
}

std::vector<Caller::Wording> Caller::Worded(const std::vector<std::string>& words) const
{
    std::vector<Wording> calls;
    for (auto word = words.begin(); word != words.end();) {
        const auto end = std::find(word, words.end(), "then");
        if (word == end) {
            throw UsageError("a call without a name");
        }
        Wording call{gateway_.Find(*word), {word + 1, end}};
        if (call.entry == nullptr) {
            throw UsageError("no entry has the name " + *word);
        }
        const std::string_view signature = call.entry->signature;
        const auto inputs = static_cast<std::size_t>(std::ranges::count_if(signature, &IsInput));
        if (call.words.size() != inputs) {
            throw UsageError(fmt::format("{} takes {} inputs, not {}: its signature is {}", *word,
                                         inputs, call.words.size(), signature));
        }
        calls.push_back(std::move(call));
        if (end != words.end() && end + 1 == words.end()) {
            throw UsageError("nothing comes behind the last \"then\"");
        }
        word = end == words.end() ? end : end + 1;
    }
    if (calls.empty()) {
        throw UsageError("which entry is to be called?");
    }
    return calls;
}

const std::string& Caller::Handle(const std::string& name)
{
    if (connection_.empty()) {
        throw UsageError(name + ": there is no connection; name a data source with -d");
    }
    if (name == kConnection) {
        return connection_;
    }
    if (statement_.empty()) {
        statement_ = gateway_.Call("AllocStatement", {connection_}).Bytes();
    }
    return statement_;
}

std::string Caller::BytesOrHandle(const std::string& word)
{
    if (word == kConnection || word == kStatement) {
        return Handle(word);
    }
    if (word.starts_with('[')) {
        return ListOf(word);
    }
    if (word.starts_with("0x")) {
        return BytesOf(std::string_view(word).substr(2));
    }
    return word == "NULL" ? "" : word.substr(word.starts_with('\\') ? 1 : 0);
}

Argument Caller::InputOf(char letter, const std::string& word)
{
    switch (letter) {
        case 'i':
            return IntegerOf(word);
        case 'c':
            if (word == "NULL") {
                return std::monostate{};
            }
            return word.substr(word.starts_with('\\') ? 1 : 0);
        case 's':
            return word == "NULL" ? std::u16string()
                                  : UnitsFromUtf8(std::string_view(word).substr(
                                        word.starts_with('\\') ? 1 : 0));
        default:
            return BytesOrHandle(word);
    }
}

// A handle that a call made is the one that later words name.
void Caller::KeepHandle(const ORVEL_ZFE& entry, const Reply& reply)
{
    const std::string_view name = entry.name;
    if (ContentOf(name) == Content::kHandle && OutputLetter(entry) == 'B' && reply.length != 0) {
        (name == "AllocStatement" ? statement_ : connection_) = reply.Bytes();
    }
}

void Caller::ShowOutput(const ORVEL_ZFE& entry, const Reply& reply) const
{
    const char letter = OutputLetter(entry);
    const Content content = ContentOf(entry.name);
    std::string shown = entry.name;
    if (HasResult(entry)) {
        shown += reply.code == Reply::kUntouched ? ": no result"
                                                 : fmt::format(": result {}", reply.code);
    }
    shown += "\n";
    if (letter != '\0') {
        const auto bytes = OutputBytes(reply, letter, content);
        shown +=
            fmt::format("  {}\n", bytes.empty() ? "(nothing)" : OutputText(bytes, letter, content));
        if (is_hex_ && !bytes.empty()) {
            shown += fmt::format("  {}\n", Hex(bytes));
        }
    }
    std::fputs(shown.c_str(), data_);
}

// Only after the last call are the diagnostics read: that clears the error state, which the next
// call may be there to ask for.
bool Caller::ShowErrors(bool is_last) const
{
    const std::int32_t flags = gateway_.Call("WasError").code;
    const std::int32_t code = gateway_.Call("GetLastSQLCode").code;
    std::fputs(fmt::format("error state: WasError {}, GetLastSQLCode {}\n", flags, code).c_str(),
               messages_);
    if (flags != ORVEL_WAS_SUCCESS && flags != ORVEL_WAS_NO_DATA && is_last) {
        for (const std::string& line : DiagnosticLines(gateway_, connection_, statement_)) {
            std::fputs((Printable(line) + "\n").c_str(), messages_);
        }
    }
    return flags == ORVEL_WAS_SUCCESS || flags == ORVEL_WAS_NO_DATA;
}

bool Caller::CallOne(const Wording& wording, bool is_last)
{
    std::vector<Argument> inputs;
    auto word = wording.words.begin();
    for (const char letter : std::string_view(wording.entry->signature)) {
        if (IsInput(letter)) {
            inputs.push_back(InputOf(letter, *word++));
        }
    }
    auto& on_record = HostServices::Instance().on_record;
    const auto show_record = on_record;
    const Reply reply = gateway_.Call(wording.entry->name, inputs);
    on_record = nullptr;  // what is asked next is not the person's call
    KeepHandle(*wording.entry, reply);
    ShowOutput(*wording.entry, reply);
    const bool is_good = ShowErrors(is_last);
    on_record = show_record;
    return is_good;
}

bool Caller::Run(const std::vector<std::string>& words)
{
    const auto calls = Worded(words);
    gateway_.Call("SetLogOption", {1});
    bool is_good = true;
    for (const Wording& call : calls) {
        is_good = CallOne(call, &call == &calls.back()) && is_good;
    }
    return is_good;
}
