// Runs kes-track as its users do. The environment variable KES_TRACK says where it is.
#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

#include "support/folder.hpp"

namespace kes::track::test {

struct Outcome {
    int code;  // 128 + the signal's number where one ended it
    std::string out, err;
};

class Program {
public:
    // input: a file descriptor for its standard input, or -1 for an empty one. output: where its
    // standard output goes, "" to be waited for, Closed for nowhere.
    explicit Program(std::vector<std::string> const& arguments, int input = -1,
                     std::string const& output = "");
    static constexpr char const* Closed = ">&-";
    Program(Program const&) = delete;
    Program& operator=(Program const&) = delete;
    ~Program();

    void Signal(int signal) const;
    Outcome Wait();

private:
    Folder folder;
    pid_t process = -1;
};

Outcome RunProgram(std::vector<std::string> const& arguments, std::string const& output = "");

}  // namespace kes::track::test
