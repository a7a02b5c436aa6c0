#include "support/failing_memory.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace {

// Plain, because a fault test has one thread; constant, because memory is wanted before main.
bool armed = false;
kes::test::Failure failure{};
long allocations = 0;
bool hasFailed = false;
long liveBlocks = 0;
std::size_t bytes = 0;

bool MustFail() {
    if (!armed) return false;
    ++allocations;
    bool const fails = failure.lasting ? allocations >= failure.nth : allocations == failure.nth;
    hasFailed = hasFailed || fails;
    return fails;
}

void* Counted(void* block) {
    if (block != nullptr) ++liveBlocks;
    return block;
}

}  // namespace

extern "C" {

void* __real_malloc(std::size_t size);
int __real_posix_memalign(void** block, std::size_t alignment, std::size_t size);
void __real_free(void* block);

void* __wrap_malloc(std::size_t size) {
    bytes += size;
    return MustFail() ? nullptr : Counted(__real_malloc(size));
}

int __wrap_posix_memalign(void** block, std::size_t alignment, std::size_t size) {
    if (MustFail()) return ENOMEM;
    int const result = __real_posix_memalign(block, alignment, size);
    if (result == 0) Counted(*block);
    return result;
}

void __wrap_free(void* block) {
    if (block != nullptr) --liveBlocks;
    __real_free(block);
}

}  // extern "C"

// Every form, since a sanitizer's own array and nothrow forms would not come by here.
void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
    return __wrap_malloc(std::max<std::size_t>(size, 1));
}
void* operator new(std::size_t size) {
    void* const block = operator new(size, std::nothrow);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    void* block = nullptr;
    if (__wrap_posix_memalign(&block, static_cast<std::size_t>(alignment), size) != 0) {
        throw std::bad_alloc();
    }
    return block;
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new[](std::size_t size, std::align_val_t a) { return operator new(size, a); }

void operator delete(void* block) noexcept { __wrap_free(block); }
void operator delete(void* block, std::nothrow_t const&) noexcept { __wrap_free(block); }
void operator delete(void* block, std::size_t) noexcept { __wrap_free(block); }
void operator delete(void* block, std::align_val_t) noexcept { __wrap_free(block); }
void operator delete(void* block, std::size_t, std::align_val_t) noexcept { __wrap_free(block); }
void operator delete[](void* block) noexcept { __wrap_free(block); }
void operator delete[](void* block, std::size_t) noexcept { __wrap_free(block); }
void operator delete[](void* block, std::align_val_t) noexcept { __wrap_free(block); }
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept { __wrap_free(block); }

namespace kes::test {

FailingMemory::FailingMemory(Failure wanted) {
    failure = wanted;
    allocations = 0;
    hasFailed = false;
    bytes = 0;
    armed = true;
}

FailingMemory::~FailingMemory() { armed = false; }

bool FailingMemory::HasFailed() { return hasFailed; }

long FailingMemory::LiveBlocks() { return liveBlocks; }

std::size_t FailingMemory::Bytes() { return bytes; }

}  // namespace kes::test
