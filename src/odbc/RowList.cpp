#include "odbc/RowList.h"

#include <algorithm>

namespace {

// The largest room of a value: a driver that threw may have written there.
constexpr std::size_t kLastRoom = 1024;
constexpr std::size_t kFirstSize = 16'384;
constexpr std::size_t kKept = 1U << 20;

}  // namespace

void RowList::Restart()
{
    if (!buffer_.empty()) {
        std::memset(buffer_.data(), 0, std::min(end_ + kLastRoom, buffer_.size()));
    }
    end_ = 0;
}

void RowList::Grow(std::size_t n)
{
    ZeroedBuffer larger(std::max(kFirstSize, 2 * (end_ + n)));
    if (end_ != 0) {
        std::memcpy(larger.data(), buffer_.data(), end_);
    }
    buffer_ = std::move(larger);
}

void RowList::BeginRow()
{
    Room(row_head_);
    row_ = end_ + row_head_;
    end_ = row_;
}

void RowList::EndRow()
{
    const std::size_t size = end_ - row_;
    const std::size_t begin = row_ - row_head_;
    const std::size_t head_size = HeadSize(size);
    if (head_size != row_head_) {
        char* row = Room(kLongestHead) - size;
        const std::size_t end = begin + head_size + size;
        std::memmove(buffer_.data() + begin + head_size, row, size);
        if (end < end_) {
            std::memset(buffer_.data() + end, 0, end_ - end);
        }
        end_ = end;
        row_head_ = head_size;
    }
    WriteHead(buffer_.data() + begin, ElementType::kBytes, size);
}

void RowList::DropRow()
{
    const std::size_t begin = row_ - row_head_;
    std::memset(buffer_.data() + begin, 0, end_ - begin);
    end_ = begin;
}

void RowList::CopyTo(zarray* output)
{
    output->length = static_cast<std::uint16_t>(end_);
    if (end_ != 0) {
        std::memcpy(output->bytes, buffer_.data(), end_);
    }
    if (buffer_.size() > kKept) {
        buffer_ = ZeroedBuffer();
        end_ = 0;
    }
}
