#include "tools/arguments.hpp"

#include <algorithm>
#include <utility>

#include "tools/command.hpp"

namespace vorn::zel_tool {

arguments::arguments(const std::vector<std::string>& args,
                     std::initializer_list<std::string_view> flags,
                     std::initializer_list<std::string_view> valued) {
    const auto known = [](std::initializer_list<std::string_view> names, std::string_view name) {
        return std::find(names.begin(), names.end(), name) != names.end();
    };
    bool options_ended = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (options_ended || arg.size() < 2 || arg[0] != '-') {
            operands_.push_back(arg);
        } else if (arg == "--") {
            options_ended = true;
        } else if (known(flags, arg)) {
            options_.emplace_back(arg, std::string());
        } else if (known(valued, arg)) {
            if (i + 1 == args.size()) {
                throw usage_error(arg + " needs a value");
            }
            options_.emplace_back(arg, args[++i]);
        } else {
            throw usage_error("unknown option " + arg);
        }
    }
}

bool arguments::has(std::string_view flag) const {
    return std::any_of(options_.begin(), options_.end(),
                       [flag](const auto& option) { return option.first == flag; });
}

std::vector<std::string> arguments::values(std::string_view option) const {
    std::vector<std::string> found;
    for (const auto& [name, value] : options_) {
        if (name == option) {
            found.push_back(value);
        }
    }
    return found;
}

std::vector<std::pair<std::string, std::string>> arguments::named_values(
    std::string_view option, std::string_view form) const {
    std::vector<std::pair<std::string, std::string>> found;
    for (const std::string& value : values(option)) {
        const std::size_t equals = value.find('=');
        if (equals == std::string::npos || equals == 0 || equals + 1 == value.size()) {
            throw usage_error(std::string(option) + " takes " + std::string(form) + ", not \"" +
                              value + "\"");
        }
        std::string name = value.substr(0, equals);
        if (std::any_of(found.begin(), found.end(),
                        [&name](const auto& given) { return given.first == name; })) {
            throw usage_error(std::string(option) + " " + name + " given twice");
        }
        found.emplace_back(std::move(name), value.substr(equals + 1));
    }
    return found;
}

const std::vector<std::string>& arguments::operands(std::size_t least, std::size_t most) const {
    if (operands_.size() < least) {
        throw usage_error("too few arguments");
    }
    if (operands_.size() > most) {
        throw usage_error("too many arguments");
    }
    return operands_;
}

}  // namespace vorn::zel_tool
