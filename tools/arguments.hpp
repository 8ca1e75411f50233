// The arguments of one command, split into options and the rest.
//
// Options may stand anywhere among the other arguments; "--" ends them, so
// that a file or entry whose name begins with "-" can still be named. An
// option that the command does not know is a usage_error.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vorn::zel_tool {

class arguments {
  public:
    // flags take no value; valued options take the argument behind them.
    arguments(const std::vector<std::string>& args, std::initializer_list<std::string_view> flags,
              std::initializer_list<std::string_view> valued = {});

    bool has(std::string_view flag) const;
    // Every value given to the option, in order.
    std::vector<std::string> values(std::string_view option) const;
    // Every value given to the option, split at its first "=" into a name
    // and a text, in order; raises usage_error for a value with an empty
    // name or text (form, such as "ALIAS=FILE.zelc", says what it should
    // be) and for a name given twice.
    std::vector<std::pair<std::string, std::string>> named_values(std::string_view option,
                                                                  std::string_view form) const;
    // The arguments that are not options, in order; raises usage_error unless
    // there are from least to most of them.
    const std::vector<std::string>& operands(std::size_t least, std::size_t most) const;

  private:
    std::vector<std::pair<std::string, std::string>> options_;
    std::vector<std::string> operands_;
};

}  // namespace vorn::zel_tool
