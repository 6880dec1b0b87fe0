#include "tool/commands/call_words.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>

#include "client/HostList.h"
#include "text/near_name.h"
#include "text/value_syntax.h"
#include "tool/commands/entry_inputs.h"

namespace {

bool IsInput(char letter)
{
    return !IsOutput(letter);
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

CallInput HandleInput(const std::string& word)
{
    if (word == "@connection") {
        return {{}, CallInput::kConnection};
    }
    if (word == "@statement") {
        return {{}, CallInput::kStatement};
    }
    throw UsageError(fmt::format(
        "there is no handle {}, only @connection and @statement; \\{} is text", word, word));
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

// What the length word of a counted input counts.
std::size_t CountOf(char letter, const Argument& value)
{
    return letter == 's'   ? std::get<std::u16string>(value).size()
           : letter == 'b' ? std::get<std::string>(value).size()
                           : 0;
}

CallInput InputOf(char letter, const std::string& word)
{
    const bool is_bytes = letter == 'b' || letter == 'j';
    if (is_bytes && word.starts_with('@')) {
        return HandleInput(word);
    }
    CallInput input{ValueInput(letter, word)};
    if (const auto count = CountOf(letter, input.value); count > UINT16_MAX) {
        throw UsageError(fmt::format("an input of {} {} is too long: the limit is {}", count,
                                     letter == 's' ? "characters" : "bytes", UINT16_MAX));
    }
    return input;
}

const ORVEL_ZFE& EntryNamed(const std::string& name, const Gateway& gateway)
{
    if (const ORVEL_ZFE* entry = gateway.Find(name)) {
        return *entry;
    }
    std::vector<std::string_view> names;
    for (const ORVEL_ZFE* row = gateway.Table(); row->name != nullptr; ++row) {
        names.emplace_back(row->name);
    }
    const std::string_view near = NearName(name, names);
    throw UsageError(fmt::format("there is no entry {}; {}", name,
                                 near.empty() ? "\"orvelgw call --list\" shows those that there are"
                                              : fmt::format("did you mean {}?", near)));
}

using Words = std::vector<std::string>::const_iterator;

EntryCall CallOf(Words word, Words end, const Gateway& gateway)
{
    const std::string& name = *word++;
    EntryCall call{EntryNamed(name, gateway), {}};
    const std::string_view signature = call.entry.signature;
    const auto inputs = std::ranges::count_if(signature, &IsInput);
    if (end - word != inputs) {
        throw UsageError(fmt::format("{} takes {} {}, not {}{}{}", name,
                                     inputs == 0 ? "no" : std::to_string(inputs),
                                     inputs == 1 ? "input" : "inputs", end - word,
                                     inputs == 0 ? "" : ": ", EntryInputs(name)));
    }
    for (const char letter : signature) {
        if (IsInput(letter)) {
            try {
                call.inputs.push_back(InputOf(letter, *word++));
            } catch (const UsageError& error) {
                throw UsageError(
                    fmt::format("{}, input {}: {}", name, call.inputs.size() + 1, error.what()));
            }
        }
    }
    return call;
}

}  // namespace

bool EntryCall::Names(CallInput::Handle handle) const
{
    return std::ranges::find(inputs, handle, &CallInput::handle) != inputs.end();
}

bool MakesConnection(std::string_view entry)
{
    return entry.starts_with("Connect") || entry.starts_with("DSNConnect");
}

std::vector<EntryCall> CallsOf(const std::vector<std::string>& words, const Gateway& gateway,
                               bool has_connection)
{
    std::vector<EntryCall> calls;
    for (auto word = words.begin();; ++word) {
        const auto end = std::find(word, words.end(), "then");
        if (word == end) {
            throw UsageError("call: the name of an entry is missing");
        }
        const EntryCall& call = calls.emplace_back(CallOf(word, end, gateway));
        const bool needs_connection =
            call.Names(CallInput::kConnection) || call.Names(CallInput::kStatement);
        if (!has_connection && needs_connection) {
            throw UsageError(*word + ": there is no connection; name a data source with -d");
        }
        has_connection = has_connection || MakesConnection(*word);
        if (end == words.end()) {
            return calls;
        }
        word = end;
    }
}
