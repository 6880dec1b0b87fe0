// Rows on their way to the host.
#pragma once

#include <cstddef>
#include <cstring>

#include "encoding/ZeroedBuffer.h"
#include "encoding/element.h"
#include "orvelgw.h"

/// A host list of values, or of rows of values, built where it stays: the driver writes a value
/// where its payload will be, and the memory is kept from one call to the next. What lies behind
/// the list's end is zero, so that a driver that writes less than it says shows nothing of others.
class RowList {
public:
    /// Empties the list.
    void Restart();

    /// Room for a value of up to size bytes. What is written there and not taken is for Discard.
    char* ValueRoom(std::size_t size) { return Room(kLongestHead + size) + kShortHead; }
    /// Makes the first n bytes of that room a string element.
    void TakeValue(std::size_t n)
    {
        char* head = buffer_.data() + end_;
        if (n > kLongestShortPayload) {
            std::memmove(head + HeadSize(n), head + kShortHead, n);
        }
        end_ += WriteHead(head, ElementType::kBytes, n) + n;
    }
    /// Clears that room of what a driver wrote into its first n bytes. A driver that wrote anything
    /// wrote the first byte.
    void Discard(std::size_t n)
    {
        char* value = buffer_.data() + end_ + kShortHead;
        if (*value != '\0') {
            std::memset(value, 0, n);
        }
    }

    /// Adds an element, copied from elsewhere.
    void Append(ElementType type, const char* payload, std::size_t n)
    {
        char* head = Room(kLongestHead + n);
        const std::size_t size = WriteHead(head, type, n);
        std::memcpy(head + size, payload, n);
        end_ += size + n;
    }

    /// What is added from here to EndRow is one element of the list.
    void BeginRow();
    void EndRow();
    /// Drops what was added since BeginRow.
    void DropRow();

    std::size_t Size() const { return end_; }

    /// Fills an output: the low 16 bits of the list's length, then all of its bytes. The memory of
    /// a rare huge list is given back, and the list is empty then.
    void CopyTo(zarray* output);

private:
    char* Room(std::size_t n)
    {
        if (buffer_.size() - end_ < n) {
            Grow(n);
        }
        return buffer_.data() + end_;
    }
    void Grow(std::size_t n);
    static std::size_t HeadSize(std::size_t payload)
    {
        char head[kLongestHead];
        return WriteHead(head, ElementType::kBytes, payload);
    }

    ZeroedBuffer buffer_;
    std::size_t end_ = 0;
    std::size_t row_ = 0;  // where the row being built begins, behind its head
    std::size_t row_head_ =
        kShortHead;  // what was left for that head: as much as the last one took
};
