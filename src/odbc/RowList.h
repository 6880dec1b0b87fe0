// Rows to be returned to the host.
#pragma once

#include <cstddef>
#include <string_view>

#include "encoding/ZeroedBuffer.h"
#include "encoding/element.h"
#include "odbc/blocks.h"
#include "orvelgw.h"

/// A host list of values, or of rows of values, in memory that is reused from call to call.
class RowList {
public:
    /// Empties the list.
    void Restart() { end_ = 0; }

    /// Adds an element of n bytes, after which kBlock more are readable.
    void Append(ElementType type, const char* payload, std::size_t n)
    {
        char* head = Room(kLongestHead + n + kBlock);
        const std::size_t size = WriteHead(head, type, n);
        CopyBlocks(head + size, payload, n);
        end_ += size + n;
    }
    /// Adds a string.
    void AppendText(std::string_view text);

    /// What is added from here up to EndRow is one element of the list.
    void BeginRow()
    {
        Room(row_head_);
        row_ = end_ += row_head_;
    }
    void EndRow();
    /// Drops what was added since BeginRow.
    void DropRow() { end_ = row_ - row_head_; }

    std::size_t Size() const { return end_; }

    /// Fills an output: the low 16 bits of the list's length, then all of its bytes. The list is
    /// then empty, and the memory of a rare huge one is freed.
    void MoveTo(zarray* output);

private:
    char* Room(std::size_t n)
    {
        if (buffer_.Size() - end_ < n) {
            Grow(n);
        }
        return buffer_.Data() + end_;
    }
    void Grow(std::size_t n);

    ZeroedBuffer buffer_;
    std::size_t end_ = 0;
    std::size_t row_ = 0;       // where the row being built begins, after its head
    std::size_t row_head_ = 2;  // space reserved for that head: as much as the last one needed
};
