// The main function of a test program that can also run all its tests once in every instruction
// set: with --in-each-instruction-set, one process after the other.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <iostream>

#include <gtest/gtest.h>

#include "support/instruction_sets.hpp"

namespace {

bool PassIn(std::int64_t set) {
    std::cout << "In " << hwy::TargetName(set) << ":" << std::endl;
    pid_t const child = fork();
    if (child == 0) {
        hwy::SetSupportedTargetsForTest(set);
        std::exit(RUN_ALL_TESTS());
    }
    int status = 0;
    return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) &&
           WEXITSTATUS(status) == 0;
}

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (argc < 2 || std::strcmp(argv[1], "--in-each-instruction-set") != 0) return RUN_ALL_TESTS();
    bool passes = true;
    for (std::int64_t const set : kes::test::InstructionSets()) passes = PassIn(set) && passes;
    return passes ? EXIT_SUCCESS : EXIT_FAILURE;
}
