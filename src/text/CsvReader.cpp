#include "text/CsvReader.h"

#include <fmt/format.h>

#include <cerrno>
#include <new>
#include <string_view>
#include <system_error>
#include <utility>

namespace {

constexpr std::size_t kBlockSize = 65'536;

// Far more than a parameter and a table take: a file that goes beyond is none of records, and would
// fill the memory.
constexpr std::size_t kLongestField = 1'000'000;
constexpr std::size_t kMostFields = 1'000'000;

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

int NoBlanks(unsigned char /*byte*/)
{
    return 0;
}

}  // namespace

CsvReader::CsvReader(const std::string& file) : file_(file), in_(file, std::ios::binary)
{
    if (!in_) {
        throw CsvError(fmt::format("{}: {}", file, std::generic_category().message(errno)));
    }
    if (csv_init(&parser_, CSV_STRICT | CSV_STRICT_FINI | CSV_EMPTY_IS_NULL) != 0) {
        throw std::bad_alloc();
    }
    csv_set_space_func(&parser_, &NoBlanks);
}

CsvReader::~CsvReader()
{
    csv_free(&parser_);
}

void CsvReader::TakeField(void* bytes, std::size_t size, void* self)
{
    auto& field = static_cast<CsvReader*>(self)->fields_.emplace_back();
    if (bytes != nullptr) {
        field.emplace(static_cast<const char*>(bytes), size);
    }
}

void CsvReader::TakeRecord(int /*end*/, void* self)
{
    auto* reader = static_cast<CsvReader*>(self);
    reader->complete_.push_back(std::exchange(reader->fields_, {}));
}

void CsvReader::ReadBlock()
{
    std::string block(kBlockSize, '\0');
    in_.read(block.data(), static_cast<std::streamsize>(block.size()));
    block.resize(static_cast<std::size_t>(in_.gcount()));
    if (in_.bad()) {
        throw CsvError(fmt::format("{}: {}", file_, std::generic_category().message(errno)));
    }
    std::string_view rest = block;
    if (std::exchange(is_at_start_, false) && rest.starts_with(kByteOrderMark)) {
        rest.remove_prefix(kByteOrderMark.size());
    }
    bool is_read =
        csv_parse(&parser_, rest.data(), rest.size(), &TakeField, &TakeRecord, this) == rest.size();
    if (is_read && block.size() < kBlockSize) {
        is_finished_ = true;
        is_read = csv_fini(&parser_, &TakeField, &TakeRecord, this) == 0;
    }
    if (!is_read && csv_error(&parser_) == CSV_ENOMEM) {
        throw std::bad_alloc();
    }
    if (!is_read) {
        FailReading("a quote that does not belong there, or none where one is due");
    }
    if (parser_.entry_pos > kLongestField) {
        FailReading(fmt::format("a field of more than {} bytes", kLongestField));
    }
    if (fields_.size() > kMostFields) {
        FailReading(fmt::format("more than {} fields", kMostFields));
    }
}

void CsvReader::FailReading(const std::string& why) const
{
    throw CsvError(fmt::format("{}: record {}: {}", file_, number_ + complete_.size() + 1, why));
}

std::optional<CsvReader::Record> CsvReader::Next()
{
    while (complete_.empty() && !is_finished_) {
        ReadBlock();
    }
    if (complete_.empty()) {
        return std::nullopt;
    }
    Record record = std::move(complete_.front());
    complete_.pop_front();
    ++number_;
    for (const Field& field : record) {
        if (field && field->find('\0') != std::string::npos) {
            throw CsvError(fmt::format("{}: record {}: a zero byte, at which a value would end",
                                       file_, number_));
        }
    }
    return record;
}
