// Memory that is initially zero.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>

/// Zero bytes, aligned for any type. The system allocates only those pages of a large buffer that
/// are used. Throws std::bad_alloc.
class ZeroedBuffer {
public:
    ZeroedBuffer() = default;
    explicit ZeroedBuffer(std::size_t size)
        : bytes_(static_cast<char*>(std::calloc(size, 1))), size_(size)
    {
        if (bytes_ == nullptr && size != 0) {
            throw std::bad_alloc();
        }
    }

    char* Data() const { return bytes_.get(); }
    std::size_t Size() const { return size_; }
    bool IsEmpty() const { return size_ == 0; }

private:
    struct Free {
        void operator()(char* bytes) const { std::free(bytes); }
    };

    std::unique_ptr<char[], Free> bytes_;
    std::size_t size_ = 0;
};
