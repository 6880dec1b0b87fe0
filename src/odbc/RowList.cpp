#include "odbc/RowList.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

void RowList::Grow(std::size_t n)
{
    constexpr std::size_t kFirstSize = 16'384;
    ZeroedBuffer larger(std::max(kFirstSize, 2 * (end_ + n)));
    if (end_ != 0) {
        std::memcpy(larger.Data(), buffer_.Data(), end_);
    }
    buffer_ = std::move(larger);
}

void RowList::AppendText(std::string_view text)
{
    char* head = Room(kLongestHead + text.size());
    const std::size_t size = WriteHead(head, ElementType::kBytes, text.size());
    text.copy(head + size, text.size());
    end_ += size + text.size();
}

void RowList::EndRow()
{
    const std::size_t size = end_ - row_;
    char head[kLongestHead];
    const std::size_t head_size = WriteHead(head, ElementType::kBytes, size);
    char* begin = Room(kLongestHead) - size - row_head_;
    if (head_size != row_head_) {
        std::memmove(begin + head_size, begin + row_head_, size);
        end_ = end_ - row_head_ + head_size;
        row_head_ = head_size;
    }
    std::memcpy(begin, head, head_size);
}

void RowList::MoveTo(zarray* output)
{
    constexpr std::size_t kKept = 1U << 20;
    output->length = static_cast<std::uint16_t>(end_);
    if (end_ != 0) {
        std::memcpy(output->bytes, buffer_.Data(), end_);
    }
    end_ = 0;
    if (buffer_.Size() > kKept) {
        buffer_ = ZeroedBuffer();
    }
}
