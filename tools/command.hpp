// The commands of the zel tool.
//
// A command gets the arguments behind its name, --help already handled, and
// returns the exit status. What goes wrong is thrown: usage_error for
// arguments that make no sense, the library's own errors for a package that
// cannot be read or written. The tool reports either in one line.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace vorn::zel_tool {

inline constexpr int exit_success = 0;
// A package that is damaged, cannot be read or cannot be written.
inline constexpr int exit_failure = 1;
inline constexpr int exit_usage = 2;

class usage_error : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

struct command {
    const char* name;
    const char* usage;        // the arguments, as in "zel ls PACKAGE"
    const char* summary;      // one line for the tool's own help
    const char* description;  // the rest of the command's help
    int (*run)(const std::vector<std::string>& args);
    // Help shared by several commands, printed after the description.
    const char* shared_help = nullptr;
};

extern const command ls_command;
extern const command cat_command;
extern const command verify_command;
extern const command pack_command;
extern const command scene_command;
extern const command contents_command;
extern const command check_command;
extern const command resolve_command;
extern const command graph_command;

}  // namespace vorn::zel_tool
