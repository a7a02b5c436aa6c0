#include "support/program.hpp"

#include <csignal>
#include <cstdlib>
#include <stdexcept>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace kes::track::test {

Program::Program(std::vector<std::string> const& arguments, int input, std::string const& output) {
    char const* const program = std::getenv("KES_TRACK");
    if (program == nullptr) throw std::runtime_error("KES_TRACK is not set");
    std::vector<std::string> words{program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    constexpr int Created = O_WRONLY | O_CREAT | O_TRUNC;
    if (input >= 0) {
        posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    } else {
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    }
    std::string const out = output.empty() ? folder / "out" : output;
    if (output == Closed) {
        posix_spawn_file_actions_addclose(&actions, STDOUT_FILENO);
    } else {
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out.c_str(), Created, 0600);
    }
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, (folder / "err").c_str(), Created,
                                     0600);
    int const error = posix_spawn(&process, program, &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) throw std::runtime_error(std::string("cannot run ") + program);
}

Program::~Program() {
    if (process > 0) {
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
    }
}

void Program::Signal(int signal) const { kill(process, signal); }

Outcome Program::Wait() {
    int status = 0;
    waitpid(process, &status, 0);
    process = -1;
    int const code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return {code, ReadFile(folder / "out"), ReadFile(folder / "err")};
}

Outcome RunProgram(std::vector<std::string> const& arguments, std::string const& output) {
    return Program(arguments, -1, output).Wait();
}

}  // namespace kes::track::test
