#include "text/CsvReader.h"

#include <fmt/format.h>

#include <cerrno>
#include <iostream>
#include <new>
#include <system_error>
#include <utility>

namespace {

constexpr std::size_t kBlockSize = 65'536;

// Longer fields and records mean that the file is not CSV, or that it has no end.
constexpr std::size_t kLongestField = 1'000'000;
constexpr std::size_t kMaxFields = 1'000'000;

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

int NoBlanks(unsigned char /*byte*/)
{
    return 0;
}

}  // namespace

CsvReader::CsvReader(const std::string& file, char delimiter)
    : name_(file == "-" ? "standard input" : file),
      in_(file == "-" ? std::cin : file_),
      block_(kBlockSize)
{
    if (file != "-") {
        file_.open(file, std::ios::binary);
    }
    if (!in_) {
        throw CsvError(fmt::format("{}: {}", name_, std::generic_category().message(errno)));
    }
    if (csv_init(&parser_, CSV_STRICT | CSV_STRICT_FINI | CSV_EMPTY_IS_NULL) != 0) {
        throw std::bad_alloc();
    }
    csv_set_space_func(&parser_, &NoBlanks);
    csv_set_delim(&parser_, static_cast<unsigned char>(delimiter));
}

CsvReader::~CsvReader()
{
    csv_free(&parser_);
}

void CsvReader::TakeField(void* bytes, std::size_t size, void* self)
{
    auto* reader = static_cast<CsvReader*>(self);
    reader->extents_.push_back({reader->values_.size(), size, bytes == nullptr});
    if (bytes != nullptr) {
        reader->values_.append(static_cast<const char*>(bytes), size);
    }
}

void CsvReader::TakeRecord(int /*end*/, void* self)
{
    static_cast<CsvReader*>(self)->is_complete_ = true;
}

bool CsvReader::ReadBlock()
{
    in_.read(block_.data(), static_cast<std::streamsize>(block_.size()));
    if (in_.bad()) {
        throw CsvError(fmt::format("{}: {}", name_, std::generic_category().message(errno)));
    }
    left_ = {block_.data(), static_cast<std::size_t>(in_.gcount())};
    bytes_read_ += left_.size();
    if (std::exchange(is_at_start_, false)) {
        if (left_.starts_with("\xFF\xFE") || left_.starts_with("\xFE\xFF")) {
            throw CsvError(name_ + ": the file is UTF-16; UTF-8 is needed");
        }
        left_.remove_prefix(left_.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0);
    }
    return !left_.empty();
}

// Parses up to the end of a line at most, so that no more than one record ends.
void CsvReader::ParseLine()
{
    const auto end = left_.find_first_of("\r\n");
    const auto line = left_.substr(0, end == std::string_view::npos ? end : end + 1);
    if (!is_inside_) {
        record_line_ = line_;
    }
    CheckParsed(csv_parse(&parser_, line.data(), line.size(), &TakeField, &TakeRecord, this) ==
                line.size());
    const bool is_end_alone = line == "\r" || (line == "\n" && !is_behind_return_);
    if (takes_empty_lines_ && !is_inside_ && is_end_alone) {
        TakeField(nullptr, 0, this);
        is_complete_ = true;
    }
    is_behind_return_ = line.ends_with('\r');
    is_inside_ = !is_complete_ && (is_inside_ || line.find_first_not_of("\r\n") == 0);
    // A line ends in \r, in \n, or in both.
    const bool is_rest_of_end = line == "\n" && ends_in_return_;
    ends_in_return_ = line.ends_with('\r');
    line_ += ends_in_return_ || (line.ends_with('\n') && !is_rest_of_end) ? 1U : 0U;
    left_.remove_prefix(line.size());
}

void CsvReader::Finish()
{
    is_finished_ = true;
    CheckParsed(csv_fini(&parser_, &TakeField, &TakeRecord, this) == 0);
}

void CsvReader::CheckParsed(bool is_parsed)
{
    if (!is_parsed && csv_error(&parser_) == CSV_ENOMEM) {
        throw std::bad_alloc();
    }
    if (!is_parsed) {
        FailReading("a quote where none belongs, or one that is missing");
    }
    if (parser_.entry_pos > kLongestField) {
        FailReading(fmt::format("a field of more than {} bytes", kLongestField));
    }
    if (extents_.size() > kMaxFields) {
        FailReading(fmt::format("more than {} fields", kMaxFields));
    }
}

void CsvReader::FailReading(const std::string& why) const
{
    throw CsvError(fmt::format("{}: line {}: {}", name_, record_line_, why));
}

bool CsvReader::Next()
{
    values_.clear();
    extents_.clear();
    is_complete_ = false;
    while (!is_complete_ && !is_finished_) {
        if (!left_.empty() || ReadBlock()) {
            ParseLine();
        } else {
            Finish();
        }
    }
    if (is_complete_) {
        CompleteRecord();
    }
    return is_complete_;
}

void CsvReader::CompleteRecord()
{
    if (values_.find('\0') != std::string::npos) {
        FailReading("a zero byte, at which a value would end");
    }
    fields_.clear();
    for (const auto& [begin, size, is_null] : extents_) {
        fields_.push_back(is_null ? Field() : Field(std::string_view(values_).substr(begin, size)));
    }
}
