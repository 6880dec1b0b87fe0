#include "text/StatementSplitter.h"

#include <algorithm>
#include <array>

#include "client/ascii.h"

namespace {

constexpr std::string_view kBlanks = " \t\r\n\f\v";
constexpr std::string_view kDelimiterCommand = "\\delimiter";

std::string_view Trimmed(std::string_view text)
{
    const auto begin = text.find_first_not_of(kBlanks);
    return begin == std::string_view::npos
               ? std::string_view()
               : text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

std::size_t LineCount(std::string_view text)
{
    return static_cast<std::size_t>(std::ranges::count(text, '\n'));
}

// What is left of a line, without its end.
std::string_view RestOfLine(std::string_view text)
{
    return text.substr(0, text.find('\n'));
}

bool IsAloneOnLine(std::string_view text, std::size_t at)
{
    const auto end_before = at == 0 ? std::string_view::npos : text.rfind('\n', at - 1);
    const std::size_t begin = end_before == std::string_view::npos ? 0 : end_before + 1;
    return Trimmed(RestOfLine(text.substr(begin))).size() == 1;
}

// The mark that opens a quote or a comment.
std::string_view MarkOf(std::string_view token)
{
    if (token.starts_with("/*")) {
        return token.substr(0, 2);
    }
    if (token[0] == '$') {
        return token.substr(0, token.find('$', 1) + 1);
    }
    return token.substr(token[0] == 'E' || token[0] == 'e' ? 1 : 0, 1);
}

// The words after END that make it the end of something other than BEGIN or CASE.
bool IsEndOfLoop(std::string_view word)
{
    constexpr std::array<std::string_view, 5> kWords{"IF", "LOOP", "WHILE", "REPEAT", "FOR"};
    return std::ranges::find(kWords, word) != kWords.end();
}

}  // namespace

void StatementSplitter::Feed(std::string_view text)
{
    text_.erase(0, at_);
    at_ = 0;
    text_ += text;
}

std::string_view StatementSplitter::Consume(std::size_t size)
{
    const auto text = Rest().substr(0, size);
    at_ += size;
    line_ += LineCount(text);
    return text;
}

std::optional<StatementSplitter::Piece> StatementSplitter::Next()
{
    while (at_ < text_.size()) {
        if (Rest().starts_with(delimiter_) && (depth_ == 0 || delimiter_ != ";")) {
            Consume(delimiter_.size());
            if (auto statement = Take()) {
                return statement;
            }
            continue;
        }
        SqlToken token = SqlLexer(Rest(), dialect_).Next();
        if (!token.is_closed) {
            return std::nullopt;
        }
        if (token.Is('\\')) {
            if (auto command = TakeCommand()) {
                return command;
            }
        } else if (token.Is('/') && EndsAtSlash()) {
            Consume(1);
            if (auto statement = Take()) {
                return statement;
            }
        } else {
            if (token.kind == SqlToken::kWord) {  // $$ may end one
                token.text = token.text.substr(0, token.text.find(delimiter_));
            }
            Append(token);
        }
    }
    return std::nullopt;
}

bool StatementSplitter::EndsAtSlash() const
{
    return (creates_body_ || statement_.empty()) && IsAloneOnLine(text_, at_);
}

void StatementSplitter::Append(const SqlToken& token)
{
    const bool is_blank = token.kind == SqlToken::kBlank || token.kind == SqlToken::kComment;
    if (statement_.empty()) {
        first_line_ = line_;
    }
    if (!is_blank || !statement_.empty()) {
        statement_ += token.text;
    }
    if (token.kind == SqlToken::kWord) {
        FollowWord(UpperInAscii(token.text));
    } else if (!is_blank) {
        is_behind_end_ = false;
        depth_ += creates_body_ && token.Is('{') ? 1 : 0;
        depth_ -= depth_ > 0 && token.Is('}') ? 1 : 0;
    }
    Consume(token.text.size());
}

// Counts the blocks of a body that are open.
void StatementSplitter::FollowWord(std::string word)
{
    constexpr std::size_t kWordsOfHead = 8;  // CREATE OR REPLACE DEFINER ... PROCEDURE
    if (!creates_body_) {
        if (head_.size() < kWordsOfHead) {
            head_.push_back(std::move(word));
            creates_body_ = CreatesBody(head_);
        }
        return;
    }
    const bool opens = is_behind_end_ ? IsEndOfLoop(word) : word == "BEGIN" || word == "CASE";
    is_behind_end_ = word == "END" && depth_ > 0;
    depth_ += opens ? 1 : 0;
    depth_ -= is_behind_end_ ? 1 : 0;
}

std::optional<StatementSplitter::Piece> StatementSplitter::Take()
{
    Piece piece{Piece::kStatement, std::string(Trimmed(statement_)), first_line_};
    Forget();
    return piece.text.empty() ? std::nullopt : std::optional(std::move(piece));
}

std::optional<StatementSplitter::Piece> StatementSplitter::TakeCommand()
{
    const std::size_t line = line_;
    std::string command(Trimmed(Consume(RestOfLine(Rest()).size())));
    const auto name = std::string_view(command).substr(0, command.find_first_of(kBlanks));
    if (name != kDelimiterCommand) {
        return Piece{Piece::kCommand, std::move(command), line};
    }
    const auto delimiter = Trimmed(std::string_view(command).substr(name.size()));
    constexpr std::string_view kUnusable = "'\"`[\\ \t";
    const bool is_usable = !delimiter.empty() &&
                           delimiter.find_first_of(kUnusable) == std::string_view::npos &&
                           std::ranges::none_of(delimiter, &IsAlphanumericInAscii);
    if (!is_usable) {
        throw SplitError(line,
                         "\\delimiter takes characters other than letters, digits, quotes and "
                         "backslashes, such as //");
    }
    delimiter_ = delimiter;
    return std::nullopt;
}

std::optional<StatementSplitter::Piece> StatementSplitter::Finish()
{
    const Opened open = Open();
    if (open.kind == Opened::kQuote || open.kind == Opened::kComment) {
        Clear();
        throw SplitError(open.line, (open.kind == Opened::kQuote ? "the quote " : "the comment ") +
                                        open.mark + " is not closed");
    }
    return Take();
}

void StatementSplitter::Forget()
{
    statement_.clear();
    head_.clear();
    creates_body_ = false;
    is_behind_end_ = false;
    depth_ = 0;
}

void StatementSplitter::Clear()
{
    Consume(Rest().size());
    Forget();
}

StatementSplitter::Opened StatementSplitter::Open() const
{
    const SqlToken token = Rest().empty() ? SqlToken() : SqlLexer(Rest(), dialect_).Next();
    if (!token.is_closed) {
        const auto kind = token.kind == SqlToken::kComment ? Opened::kComment : Opened::kQuote;
        return {kind, std::string(MarkOf(token.text)), line_};
    }
    if (statement_.empty()) {
        return {Opened::kNothing, "", line_};
    }
    return {depth_ > 0 ? Opened::kBody : Opened::kStatement, "", first_line_};
}
