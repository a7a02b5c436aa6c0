// kes-track manual: the manual page and the shell completion, written from the same table of
// options as --help, so that the three cannot differ; and the schema of the JSON lines. Used when
// the program is packaged; --help hides it. (help2man reads one --help page only, and would say
// nothing of the commands' options.)

#include <cctype>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "command.hpp"
#include "run/lines_schema.hpp"

namespace kes::track {
namespace {

// Text as roff takes it: nothing of it is a request, and a hyphen stays one that can be copied.
std::string Roff(std::string_view text) {
    std::string out;
    bool startsLine = true;
    for (char const c : text) {
        if (startsLine && (c == '.' || c == '\'')) out += "\\&";
        if (c == '\\') {
            out += "\\e";
        } else if (c == '-') {
            out += "\\-";
        } else {
            out += c;
        }
        startsLine = c == '\n';
    }
    return out;
}

std::vector<CLI::App const*> VisibleCommands(CLI::App const& program) {
    return program.get_subcommands(
        [](CLI::App const* command) { return !command->get_group().empty(); });
}

bool IsHelp(CLI::App const& app, CLI::Option const* option) { return option == app.get_help_ptr(); }

void WriteOption(CLI::Option const& option) {
    bool const isPositional = option.get_positional();
    std::cout << ".TP\n\\fB" << Roff(option.get_name(isPositional, !isPositional)) << "\\fR";
    if (!isPositional && option.get_type_size() != 0) {
        std::cout << " \\fI" << Roff(option.get_type_name()) << "\\fR";
    }
    std::cout << '\n' << Roff(option.get_description()) << '\n';
}

void WriteCommand(CLI::App const& command) {
    std::cout << ".SS " << Roff(command.get_name()) << '\n'
              << Roff(command.get_description()) << ".\n";
    for (CLI::Option const* option : command.get_options()) {
        if (option->get_positional()) WriteOption(*option);
    }
    for (std::string const& group : command.get_groups()) {
        bool hasTitle = false;
        for (CLI::Option const* option : command.get_options()) {
            if (option->get_positional() || option->get_group() != group || group.empty() ||
                IsHelp(command, option)) {
                continue;
            }
            if (!hasTitle) std::cout << ".PP\n" << Roff(group) << ":\n";
            hasTitle = true;
            WriteOption(*option);
        }
    }
}

// A footer "Title:" and indented lines becomes a section.
void WriteFooter(std::string const& footer) {
    std::size_t const titleEnd = footer.find(":\n");
    if (titleEnd == std::string::npos) return;
    std::cout << ".SH ";
    for (char const c : footer.substr(0, titleEnd)) {
        std::cout << static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    std::cout << "\n.nf\n" << Roff(footer.substr(titleEnd + 2)) << "\n.fi\n";
}

// What `run` writes, from the schema of its JSON lines.
void WriteFormats() {
    std::cout << ".SH MOTCHALLENGE COLUMNS\n"
              << Roff(
                     "run --mot writes a line for each mover in each frame: the frame's number "
                     "from 1, the object's number, left, top, width and height in pixels, "
                     "confidence from 0 to 1, and three unused columns, -1.")
              << "\n.SH JSON LINES\n"
              << Roff(
                     "run --jsonl writes an object on each line. manual --schema prints the JSON "
                     "Schema of a line.")
              << '\n';
    auto const schema = nlohmann::ordered_json::parse(run::LinesSchema);
    for (auto const& kind : schema["$defs"]) {
        auto const description = kind["description"].get<std::string>();
        std::cout << ".PP\nFor " << Roff(description) << ":\n";
        for (auto const& [name, field] : kind["properties"].items()) {
            auto const text = field.contains("description") ? field["description"] : field["const"];
            std::cout << ".TP\n\\fI" << Roff(name) << "\\fR\n"
                      << Roff(text.get<std::string>()) << '\n';
        }
    }
}

void WriteManual(CLI::App const& program) {
    std::string const name = Roff(program.get_name());
    std::string summary = program.get_description();
    summary[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(summary[0])));
    if (summary.back() == '.') summary.pop_back();

    std::cout << ".TH KES\\-TRACK 1 \"\" \"" << Roff(program.version()) << "\" \"User Commands\"\n"
              << ".SH NAME\n"
              << name << " \\- " << Roff(summary) << "\n.SH SYNOPSIS\n";
    for (CLI::App const* command : VisibleCommands(program)) {
        std::cout << "\\fB" << name << ' ' << Roff(command->get_name()) << "\\fR [\\fIoptions\\fR]";
        for (CLI::Option const* option : command->get_options()) {
            if (option->get_positional()) {
                std::cout << " \\fI" << Roff(option->get_name(true, false)) << "\\fR"
                          << (option->get_expected_max() > 1 ? " ..." : "");
            }
        }
        std::cout << "\n.br\n";
    }
    std::cout << "\\fB" << name << " \\-\\-help\\fR | \\fB\\-\\-version\\fR\n"
              << ".SH COMMANDS\nEach takes \\fB\\-\\-help\\fR too.\n";
    for (CLI::App const* command : VisibleCommands(program)) WriteCommand(*command);
    WriteFormats();
    WriteFooter(program.get_footer());
}

// The long names of the options of a command or of the program.
std::string LongNames(CLI::App const& app) {
    std::string names;
    for (CLI::Option const* option : app.get_options()) {
        if (option->get_group().empty()) continue;
        for (std::string const& name : option->get_lnames()) names += " --" + name;
    }
    return names;
}

void WriteCompletion(CLI::App const& program) {
    std::string commands;
    std::string cases;
    for (CLI::App const* command : VisibleCommands(program)) {
        commands += ' ' + command->get_name();
        cases += "        " + command->get_name() + ") words='" + LongNames(*command) + "' ;;\n";
    }
    std::cout << "# bash completion for " << program.get_name() << R"(
_kes_track() {
    local words current=${COMP_WORDS[COMP_CWORD]}
    case ${COMP_WORDS[1]} in
)" << cases << "        *) words='"
              << commands << LongNames(program) << R"(' ;;
    esac
    COMPREPLY=()
    if [[ $COMP_CWORD -eq 1 || $current == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
    fi
}
complete -o default -F _kes_track )"
              << program.get_name() << '\n';
}

}  // namespace

Run AddManualCommand(CLI::App& app) {
    app.group("");
    struct Wanted {
        bool completion = false;
        bool schema = false;
    };
    auto const wanted = std::make_shared<Wanted>();
    app.add_flag("--completion", wanted->completion, "Write the bash completion instead");
    app.add_flag("--schema", wanted->schema, "Write the JSON Schema of what run --jsonl writes");
    return [&app, wanted] {
        CLI::App const& program = *app.get_parent();
        if (wanted->schema) {
            std::cout << run::LinesSchema;
        } else if (wanted->completion) {
            WriteCompletion(program);
        } else {
            WriteManual(program);
        }
        return 0;
    };
}

}  // namespace kes::track
