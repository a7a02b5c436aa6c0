// kes-track manual: the page and the completion tell what --help tells.

#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/program.hpp"

namespace kes::track {
namespace {

using test::Outcome;
using test::RunProgram;

// Every match of the first group.
std::set<std::string> FindAll(std::string const& text, char const* pattern) {
    std::regex const regex(pattern, std::regex::ECMAScript | std::regex::multiline);
    std::set<std::string> found;
    for (std::sregex_iterator match(text.begin(), text.end(), regex), end; match != end; ++match) {
        found.insert(match->str(1));
    }
    return found;
}

std::string Output(std::vector<std::string> const& arguments) {
    Outcome const outcome = RunProgram(arguments);
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    return outcome.out;
}

std::set<std::string> Commands() {
    std::string const help = Output({"--help"});
    std::size_t const begin = help.find("Subcommands:\n");
    return FindAll(help.substr(begin, help.find("\n\n", begin) - begin), "^  ([a-z]+) ");
}

// What the page says of one command, its hyphens unescaped.
std::string Section(std::string const& page, std::string const& command) {
    std::size_t const begin = page.find(".SS " + command + '\n');
    EXPECT_NE(begin, std::string::npos) << command;
    std::size_t const end = page.find(".S", begin + 1);
    return std::regex_replace(page.substr(begin, end - begin), std::regex(R"(\\-)"), "-");
}

TEST(Manual, DescribesAndCompletesEveryOptionOfEveryCommandAndNoOther) {
    std::string const page = Output({"manual"});
    std::string const script = Output({"manual", "--completion"});
    ASSERT_FALSE(Commands().empty());
    EXPECT_EQ(FindAll(page, "^\\.SS ([a-z]+)$"), Commands());
    for (std::string const& command : Commands()) {
        std::set<std::string> offered =
            FindAll(Output({command, "--help"}), "^  (?:-., ?)?(--[a-z-]+)");
        std::size_t const begin = script.find("        " + command + ") words=");
        ASSERT_NE(begin, std::string::npos) << command;
        EXPECT_EQ(FindAll(script.substr(begin, script.find('\n', begin) - begin), "(--[a-z-]+)"),
                  offered);
        offered.erase("--help");  // said once for all commands
        EXPECT_FALSE(offered.empty());
        EXPECT_EQ(FindAll(Section(page, command), "^\\\\fB(?:-.,)?(--[a-z-]+)\\\\fR"), offered);
    }
}

TEST(Manual, HoldsNoRoffRequestThatAnOptionBroughtIn) {
    std::istringstream page(Output({"manual"}));
    std::set<std::string> const ours{".TH", ".SH", ".SS", ".TP", ".PP", ".br", ".nf", ".fi"};
    for (std::string line; std::getline(page, line);) {
        if (line.starts_with('.') || line.starts_with('\'')) {
            EXPECT_TRUE(ours.contains(line.substr(0, 3))) << line;
        }
    }
}

}  // namespace
}  // namespace kes::track
