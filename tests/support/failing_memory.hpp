// Allocations that fail on purpose. Linked into a test executable, this replaces operator new and
// delete and, with the linker's --wrap, malloc, posix_memalign and free of everything linked into
// it; it counts what is alive. kes_fault_test() of tests/CMakeLists.txt sets the linker up.
#pragma once

#include <concepts>
#include <exception>
#include <new>

#include <gtest/gtest.h>

namespace kes::test {

// Which allocation fails: the nth from now on, and with it all later ones where `lasting`.
struct Failure {
    long nth;
    bool lasting;
};

// Until its end, allocations of this process fail as told. One at a time, one thread at a time.
class FailingMemory {
public:
    explicit FailingMemory(Failure failure);
    ~FailingMemory();
    FailingMemory(FailingMemory const&) = delete;
    FailingMemory& operator=(FailingMemory const&) = delete;

    static bool HasFailed();
    static long LiveBlocks();    // allocated and not yet freed, also where none exists
    static std::size_t Bytes();  // asked of malloc since the last one began
};

// Handed to the body of EachAllocation.
class Fault {
public:
    explicit Fault(Failure failure) : failure(failure) {}

    // Runs `operation` with its nth allocation failing. Returns whether one failed; then, and only
    // then, std::bad_alloc must have come out. One that refuses throws something else otherwise.
    bool Strikes(std::invocable auto const& operation, bool refuses = false) {
        bool ranOut = false;
        bool refused = false;
        {
            FailingMemory const memory(failure);
            try {
                operation();
            } catch (std::bad_alloc const&) {
                ranOut = true;
            } catch (std::exception const&) {
                refused = true;
            }
            struck = FailingMemory::HasFailed();
        }
        EXPECT_EQ(ranOut, struck);
        EXPECT_EQ(refused, refuses && !struck);
        return struck;
    }

    bool HasStruck() const { return struck; }

private:
    Failure failure;
    bool struck = false;
};

// Calls body(fault) with the first allocation of what it hands to fault.Strikes failing, then the
// second, and so on, alone and lastingly, until none is left to fail. A body that was struck must
// leave nothing allocated. Returns how many allocations there were.
int EachAllocation(std::invocable<Fault&> auto const& body) {
    for (int nth = 1;; ++nth) {
        bool hasStruck = false;
        for (bool const lasting : {false, true}) {
            SCOPED_TRACE(testing::Message() << "allocation " << nth << (lasting ? " and on" : ""));
            long const liveBefore = FailingMemory::LiveBlocks();
            Fault fault({nth, lasting});
            body(fault);
            if (!fault.HasStruck()) continue;
            EXPECT_EQ(FailingMemory::LiveBlocks(), liveBefore) << "leaked";
            hasStruck = true;
        }
        if (!hasStruck) return nth - 1;
    }
}

}  // namespace kes::test
