// A fuzz input as a file, for readers that take a name.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "bytes.hpp"

namespace kes::fuzz {

// A file in memory, by a name that can be opened.
class MemoryFile {
public:
    MemoryFile(void const* data, std::size_t size) : descriptor(memfd_create("", MFD_CLOEXEC)) {
        Check(write(descriptor, data, size) == static_cast<ssize_t>(size), "a file in memory");
    }
    explicit MemoryFile(std::string const& text) : MemoryFile(text.data(), text.size()) {}
    ~MemoryFile() { close(descriptor); }
    MemoryFile(MemoryFile const&) = delete;
    MemoryFile& operator=(MemoryFile const&) = delete;

    std::string Path() const { return "/proc/self/fd/" + std::to_string(descriptor); }

private:
    int descriptor;
};

}  // namespace kes::fuzz
