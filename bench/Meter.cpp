#include "Meter.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cstddef>
#include <ctime>

namespace {

thread_local long allocations = 0;

}  // namespace

// The C library's own functions, under the names that it exports for programs that replace them.
extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* old, std::size_t size);

__attribute__((visibility("default"))) void* malloc(std::size_t size)
{
    ++allocations;
    return __libc_malloc(size);
}

__attribute__((visibility("default"))) void* calloc(std::size_t count, std::size_t size)
{
    ++allocations;
    return __libc_calloc(count, size);
}

__attribute__((visibility("default"))) void* realloc(void* old, std::size_t size)
{
    ++allocations;
    return __libc_realloc(old, size);
}

}  // extern "C"

double ThreadNanoseconds()
{
    timespec used{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
    return 1e9 * static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec);
}

long ThreadAllocations()
{
    return allocations;
}

void MakeMark(Mark mark)
{
    syscall(SYS_getpgid, static_cast<long>(mark));
}

void Meter::Start()
{
    if (marks_ == Marks::kSystemCalls) {
        MakeMark(Mark::kStart);
        return;
    }
    allocations_ -= ThreadAllocations();
    nanoseconds_ -= ThreadNanoseconds();
}

void Meter::Stop()
{
    if (marks_ == Marks::kSystemCalls) {
        MakeMark(Mark::kStop);
        return;
    }
    nanoseconds_ += ThreadNanoseconds();
    allocations_ += ThreadAllocations();
}
