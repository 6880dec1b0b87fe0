#include "tool/commands/Caller.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "client/HostList.h"
#include "client/HostServices.h"
#include "text/list_text.h"
#include "text/terminal_text.h"
#include "text/value_syntax.h"

namespace {

constexpr std::string_view kConnection = "@connection";
constexpr std::string_view kStatement = "@statement";

bool IsInput(char letter)
{
    return !IsOutput(letter);
}

bool MakesConnection(std::string_view name)
{
    return name.starts_with("Connect") || name.starts_with("DSNConnect");
}

// Whether an entry tells of the call before it, whose error state has to be left as it is.
bool ReadsErrors(std::string_view name)
{
    return name == "WasError" || name == "GetLastSQLCode" || name == "GetSQLErrors";
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
    if (MakesConnection(name) || name == "AllocStatement") {
        return Content::kHandle;
    }
    const bool holds_lists =
        name == "FetchRows" || name == "DescribeColumns" || name == "DescribeParameters";
    return holds_lists ? Content::kLists : Content::kList;
}

std::string BytesInput(const std::string& word)
{
    if (word.starts_with('[')) {
        return ListOf(word);
    }
    if (word.starts_with("0x")) {
        return BytesOf(std::string_view(word).substr(2));
    }
    return std::string(word == "NULL" ? "" : Unescaped(word));
}

Argument ValueInput(char letter, const std::string& word)
{
    switch (letter) {
        case 'i':
            return IntegerOf(word);
        case 'c':
            return word == "NULL" ? Argument() : Argument(std::string(Unescaped(word)));
        case 's':
            return UnitsFromUtf8(word == "NULL" ? "" : Unescaped(word));
        default:
            return BytesInput(word);
    }
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

/// One call as it was worded, with all that can be known before it.
struct Caller::Call {
    struct Input {
        Argument value;
        std::string handle_name;  // empty: the value is the input
    };

    Call(const ORVEL_ZFE& row, std::vector<std::string>::const_iterator word) : entry(row)
    {
        for (const char letter : std::string_view(entry.signature)) {
            if (IsInput(letter)) {
                inputs.push_back(InputOf(letter, *word++));
            }
        }
    }

    static Input InputOf(char letter, const std::string& word)
    {
        const bool is_bytes = letter == 'b' || letter == 'j';
        if (is_bytes && (word == kConnection || word == kStatement)) {
            return {{}, word};
        }
        return {ValueInput(letter, word), ""};
    }

    bool Names(std::string_view handle) const
    {
        return std::ranges::find(inputs, handle, &Input::handle_name) != inputs.end();
    }

    const ORVEL_ZFE& entry;
    std::vector<Input> inputs;
};

std::vector<Caller::Call> Caller::Worded(const std::vector<std::string>& words) const
{
    std::vector<Call> calls;
    bool has_connection = !connection_.empty();
    for (auto word = words.begin(); word != words.end();) {
        const auto end = std::find(word, words.end(), "then");
        const ORVEL_ZFE* entry = word != end ? gateway_.Find(*word) : nullptr;
        if (entry == nullptr) {
            throw UsageError(word != end ? "no entry has the name " + *word
                                         : "no call comes before \"then\"");
        }
        const std::string_view signature = entry->signature;
        const auto inputs = std::ranges::count_if(signature, &IsInput);
        if (end - word - 1 != inputs) {
            throw UsageError(fmt::format("{} takes {} inputs, not {}: its signature is {}", *word,
                                         inputs, end - word - 1, signature));
        }
        const Call& call = calls.emplace_back(*entry, word + 1);
        if (!has_connection && (call.Names(kConnection) || call.Names(kStatement))) {
            throw UsageError(*word + ": there is no connection; name a data source with -d");
        }
        has_connection = has_connection || MakesConnection(*word);
        if (end != words.end() && end + 1 == words.end()) {
            throw UsageError("no call comes behind the last \"then\"");
        }
        word = end == words.end() ? end : end + 1;
    }
    return calls;
}

// Empty where the call that was to make it did not, or it is gone.
const std::string& Caller::Handle(const std::string& name)
{
    if (name == kConnection || connection_.empty()) {
        return connection_;
    }
    if (statement_.empty()) {
        statement_ = gateway_.Call("AllocStatement", {connection_}).Bytes();
    }
    return statement_;
}

// A handle that a call made is the one that later words name, until a call ends it.
void Caller::FollowHandles(const ORVEL_ZFE& entry, const Reply& reply)
{
    const std::string_view name = entry.name;
    const bool is_ended = reply.code == ORVEL_SUCCESS || reply.code == ORVEL_SUCCESS_WITH_INFO;
    if (name == "AllocStatement") {
        statement_ = reply.Bytes();
    } else if (name == "DropStatement" && is_ended) {
        statement_.clear();
    } else if ((name == "Disconnect" || name == "RemoveConnection") && is_ended) {
        connection_.clear();
        statement_.clear();
    } else if (MakesConnection(name)) {
        connection_ = reply.Bytes();
        statement_.clear();
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
            shown += fmt::format("  {}\n", HexText(bytes));
        }
    }
    std::fputs(shown.c_str(), data_);
    std::fflush(data_);  // in its place among the messages
}

// The diagnostics are those of the handles that the call named. Reading them clears the error
// state, so they are left where the next call asks for it.
bool Caller::ShowErrors(const Call& call, const Reply& reply, bool reads_errors) const
{
    const std::int32_t flags = gateway_.Call("WasError").code;
    const std::int32_t code = gateway_.Call("GetLastSQLCode").code;
    std::fputs(fmt::format("error state: WasError {}, GetLastSQLCode {}\n", flags, code).c_str(),
               messages_);
    if (flags == ORVEL_WAS_SUCCESS || flags == ORVEL_WAS_NO_DATA) {
        return true;
    }
    if (!reads_errors) {
        const std::string& statement = call.Names(kStatement) ? statement_ : std::string();
        for (const std::string& line : DiagnosticLines(gateway_, connection_, statement)) {
            std::fputs((Printable(line) + "\n").c_str(), messages_);
        }
    }
    return flags == ORVEL_WAS_ERROR &&
           (reply.code == ORVEL_NEED_DATA || reply.code == ORVEL_NO_DATA || code == ORVEL_NO_DATA);
}

bool Caller::Carry(const Call& call, bool reads_errors)
{
    std::vector<Argument> inputs;
    for (const auto& [value, handle_name] : call.inputs) {
        inputs.push_back(handle_name.empty() ? value : Argument(Handle(handle_name)));
    }
    const Reply reply = gateway_.Call(call.entry.name, inputs);
    auto& on_record = HostServices::Instance().on_record;
    const auto show_record = std::exchange(on_record, nullptr);  // what follows nobody asked for
    ShowOutput(call.entry, reply);
    const bool is_good = ShowErrors(call, reply, reads_errors);
    FollowHandles(call.entry, reply);
    on_record = show_record;
    return is_good;
}

bool Caller::Run(const std::vector<std::string>& words)
{
    const auto calls = Worded(words);
    gateway_.Call("SetLogOption", {1});
    bool is_good = true;
    for (std::size_t i = 0; i < calls.size(); ++i) {
        const bool reads_errors = i + 1 < calls.size() && ReadsErrors(calls[i + 1].entry.name);
        is_good = Carry(calls[i], reads_errors) && is_good;
    }
    return is_good;
}
