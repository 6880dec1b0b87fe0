#include "counted_new.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<int> allocations = 0;

}  // namespace

int Allocations()
{
    return allocations;
}

void* operator new(std::size_t size)
{
    ++allocations;
    void* const made = std::malloc(size);
    if (made == nullptr) {
        throw std::bad_alloc();
    }
    return made;
}

void operator delete(void* made) noexcept
{
    std::free(made);
}

void operator delete(void* made, std::size_t /*size*/) noexcept
{
    std::free(made);
}
