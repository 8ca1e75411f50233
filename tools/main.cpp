// zel: looks into scene packages, checks them, makes them from files and
// follows their scenes across packages.
#include <cstdio>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "tools/command.hpp"
#include "tools/printable.hpp"
#include "zel/foundation/exception.hpp"

namespace {

using namespace vorn::zel_tool;

const command* const commands[] = {&ls_command,    &cat_command,     &verify_command,
                                   &pack_command,  &scene_command,   &contents_command,
                                   &check_command, &resolve_command, &graph_command};

const command* find_command(std::string_view name) {
    for (const command* c : commands) {
        if (name == c->name) {
            return c;
        }
    }
    return nullptr;
}

bool asks_for_help(std::string_view arg) {
    return arg == "--help" || arg == "-h";
}

void print_overview(std::FILE* out) {
    std::fprintf(out, "usage: zel COMMAND [ARGUMENTS]\n\nCommands:\n");
    for (const command* c : commands) {
        std::fprintf(out, "  %-9s %s\n", c->name, c->summary);
    }
    std::fprintf(out, "\nzel COMMAND --help tells more about each.\n");
}

void print_help(const command& c) {
    std::printf("usage: zel %s %s\n\n%s%s", c.name, c.usage, c.description,
                c.shared_help != nullptr ? c.shared_help : "");
}

// A message on one line, and not too much of it: a parse error quotes the
// rest of the text it failed on, and names may hold line feeds.
std::string one_line(const std::string& message) {
    constexpr std::size_t most = 300;
    if (message.size() > most) {
        return printable(std::string_view(message).substr(0, most)) + "...";
    }
    return printable(message);
}

int run(const command& c, const std::vector<std::string>& args) {
    try {
        return c.run(args);
    } catch (const usage_error& e) {
        std::fprintf(stderr, "zel %s: %s\nusage: zel %s %s\n", c.name, one_line(e.what()).c_str(),
                     c.name, c.usage);
        return exit_usage;
    } catch (const vorn::vorn_exception& e) {
        std::fprintf(stderr, "zel %s: %s\n", c.name, one_line(e.message()).c_str());
    } catch (const std::exception& e) {
        std::fprintf(stderr, "zel %s: %s\n", c.name, one_line(e.what()).c_str());
    }
    return exit_failure;
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> args(argv + 1, argv + argc);
    if (args.empty()) {
        print_overview(stderr);
        return exit_usage;
    }
    if (asks_for_help(args[0]) || args[0] == "help") {
        const command* c = args.size() > 1 ? find_command(args[1]) : nullptr;
        if (c != nullptr) {
            print_help(*c);
        } else {
            print_overview(stdout);
        }
        return exit_success;
    }
    const command* c = find_command(args[0]);
    if (c == nullptr) {
        std::fprintf(stderr, "zel: no command \"%s\"; zel --help lists them\n",
                     one_line(args[0]).c_str());
        return exit_usage;
    }
    const std::vector<std::string> rest(args.begin() + 1, args.end());
    for (const std::string& arg : rest) {
        if (arg == "--") {
            break;  // what follows is a name, even if it reads --help
        }
        if (asks_for_help(arg)) {
            print_help(*c);
            return exit_success;
        }
    }
    return run(*c, rest);
}
