// A script of any bytes: the same pieces come whether it is fed whole or line by line, and lines
// never run backwards.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "text/StatementSplitter.h"
#include "text/variables.h"

namespace {

using Pieces = std::vector<std::string>;

/// Takes the pieces of one script as they come.
class Taker {
public:
    explicit Taker(const SqlDialect& dialect) : splitter_(dialect) {}

    void Feed(std::string_view text)
    {
        splitter_.Feed(text);
        TakeAll([this] { return splitter_.Next(); });
    }
    Pieces Finish()
    {
        TakeAll([this] { return splitter_.Finish(); });
        return pieces_;
    }

private:
    template <typename Step>
    void TakeAll(Step step)
    {
        for (bool has_more = true; has_more;) {
            try {
                const auto piece = step();
                has_more = piece.has_value();
                if (piece) {
                    Check(*piece);
                    pieces_.push_back(std::to_string(piece->line) + piece->text);
                }
            } catch (const SplitError& error) {
                pieces_.push_back(std::to_string(error.line) + error.what());
            }
        }
    }

    // A statement may begin before the command that came inside it.
    void Check(const StatementSplitter::Piece& piece)
    {
        const bool is_statement = piece.kind == StatementSplitter::Piece::kStatement;
        std::size_t& last = is_statement ? statement_line_ : command_line_;
        if (piece.text.empty() || piece.line < last) {
            std::abort();
        }
        last = piece.line;
    }

    StatementSplitter splitter_;
    std::size_t statement_line_ = 1;
    std::size_t command_line_ = 1;
    Pieces pieces_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, std::size_t size)
{
    std::string_view text(reinterpret_cast<const char*>(bytes), size);
    constexpr std::string_view kQuotes = "\"`[";
    const SqlDialect dialect(std::string(1, kQuotes[size % kQuotes.size()]));
    if (WithVariables(text, {}, dialect) != text) {
        std::abort();
    }
    Taker whole(dialect);
    whole.Feed(text);
    Taker by_line(dialect);
    while (!text.empty()) {
        const auto end = std::min(text.find('\n'), text.size() - 1) + 1;
        by_line.Feed(text.substr(0, end));
        text.remove_prefix(end);
    }
    if (whole.Finish() != by_line.Finish()) {
        std::abort();
    }
    return 0;
}
