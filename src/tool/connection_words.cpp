#include "tool/connection_words.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <system_error>

#include "client/Session.h"
#include "drivers/ConnectionString.h"
#include "text/value_syntax.h"
#include "tool/password_prompt.h"

namespace {

constexpr char kConnectionVariable[] = "ORVELGW_DSN";
constexpr char kPasswordVariable[] = "ORVELGW_PASSWORD";

std::optional<std::string> Variable(const char* name)
{
    const char* value = std::getenv(name);
    return value != nullptr && *value != '\0' ? std::optional<std::string>(value) : std::nullopt;
}

/// The one line that a file holds.
struct Line {
    std::string text;
    bool is_secret = true;  // nobody but the file's owner can read it
};

[[noreturn]] void FailToRead(const std::string& file)
{
    throw std::system_error(errno, std::generic_category(), file);
}

/// A descriptor, closed with this object.
class Descriptor {
public:
    explicit Descriptor(const std::string& file)
        : number_(::open(file.c_str(), O_RDONLY | O_CLOEXEC))
    {
        if (number_ < 0) {
            FailToRead(file);
        }
    }
    ~Descriptor() { ::close(number_); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int Number() const { return number_; }

private:
    int number_;
};

Line LineOf(const std::string& file)
{
    constexpr mode_t kOthersRead = S_IRGRP | S_IROTH;
    constexpr std::size_t kMost = 4096;
    const Descriptor in(file);
    struct stat status {};
    std::array<char, kMost> bytes{};
    std::size_t size = 0;
    ssize_t more = ::fstat(in.Number(), &status) == 0 ? 1 : -1;
    while (more > 0 && size < bytes.size()) {
        more = ::read(in.Number(), bytes.data() + size, bytes.size() - size);
        size += static_cast<std::size_t>(std::max<ssize_t>(more, 0));
    }
    if (more < 0) {
        FailToRead(file);
    }
    std::string_view text(bytes.data(), size);
    text.remove_suffix(text.ends_with('\n') ? 1 : 0);
    text.remove_suffix(text.ends_with('\r') ? 1 : 0);
    if (text.empty() || size == kMost ||
        text.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos) {
        throw UsageError(file + " does not hold one line of text");
    }
    const bool others_read = S_ISREG(status.st_mode) && (status.st_mode & kOthersRead) != 0;
    return {std::string(text), !others_read};
}

[[noreturn]] void RefuseShared(const std::string& file)
{
    throw UsageError(
        fmt::format("{} holds a password, and other users can read it: chmod 600 {}", file, file));
}

bool HoldsSecret(const std::string& text)
{
    return WithoutSecrets(text) != text;
}

std::optional<std::string> NamedString(const ConnectionWords& words)
{
    if (words.string) {
        return words.string;
    }
    if (words.string_file.empty()) {
        return Variable(kConnectionVariable);
    }
    Line line = LineOf(words.string_file);
    if (!line.is_secret && HoldsSecret(line.text)) {
        RefuseShared(words.string_file);
    }
    return std::move(line.text);
}

bool HasPassword(const std::string& text)
{
    const ConnectionString string(text);
    return string.Has("PWD") || string.Has("PASSWORD");
}

std::optional<std::string> Password(const ConnectionWords& words, const std::string& text)
{
    if (!words.asks_password && words.password_file.empty()) {
        return HasPassword(text) ? std::nullopt : Variable(kPasswordVariable);
    }
    if (HasPassword(text)) {
        throw UsageError("the connection string holds a password already");
    }
    if (words.asks_password) {
        return AskPassword("Password: ");
    }
    Line line = LineOf(words.password_file);
    if (!line.is_secret) {
        RefuseShared(words.password_file);
    }
    return std::move(line.text);
}

// As drivers read it: braces let a value hold semicolons, and no driver but some takes a closing
// brace inside them.
std::string PasswordItem(const std::string& password)
{
    const bool needs_braces = password.find(';') != std::string::npos ||
                              password.starts_with('{') || password.starts_with(' ') ||
                              password.ends_with(' ');
    if (needs_braces && password.find('}') != std::string::npos) {
        throw UsageError(
            "the password can't go into a connection string: it holds a closing brace beside a "
            "semicolon, a leading brace or an outer blank");
    }
    return needs_braces ? "PWD={" + password + "}" : "PWD=" + password;
}

// The gateway truncates such a string without a word, and what is left may mean another place.
void CheckLength(const std::string& text)
{
    if (IsConnectionString(text) && text.size() > Session::kLongestConnectionString) {
        throw UsageError(fmt::format("the connection string has {} bytes, and the gateway takes {}",
                                     text.size(), Session::kLongestConnectionString));
    }
}

std::string ShellQuoted(const std::string& text)
{
    std::string quoted = "'";
    for (const char c : text) {
        quoted += c == '\'' ? "'\\''" : std::string(1, c);
    }
    return quoted + "'";
}

}  // namespace

bool NamesConnection(const ConnectionWords& words)
{
    return words.string || !words.string_file.empty() || Variable(kConnectionVariable);
}

std::optional<std::string> WholeConnectionString(const ConnectionWords& words)
{
    auto whole = NamedString(words);
    if (!whole) {
        return whole;
    }
    if (const auto password = Password(words, *whole)) {
        const bool is_name = !IsConnectionString(*whole);
        *whole = (is_name ? "DSN=" : "") + *whole + (whole->ends_with(';') ? "" : ";") +
                 PasswordItem(*password);
    }
    CheckLength(*whole);
    return whole;
}

std::string WordsForConnection(const ConnectionWords& words)
{
    std::string again;
    if (words.string) {
        again = " -d " + ShellQuoted(WithoutSecrets(*words.string));
    } else if (!words.string_file.empty()) {
        again = " --data-source-file " + ShellQuoted(words.string_file);
    }
    if (words.asks_password) {
        again += " -W";
    } else if (!words.password_file.empty()) {
        again += " --password-file " + ShellQuoted(words.password_file);
    }
    return again;
}

void HideSecrets(char** process_words)
{
    for (char** word = process_words; *word != nullptr; ++word) {
        if (HoldsSecret(*word)) {
            std::memset(*word, '*', std::strlen(*word));
        }
    }
}
