#include "tools/report_output.hpp"

#include <cstdio>
#include <exception>

#include "tools/command.hpp"
#include "zel/foundation/exception.hpp"

namespace vorn::zel_tool {

zela::package_report report_or_unreadable(
    const std::string& command, const std::string& package,
    const std::function<zela::package_report()>& make_report) {
    try {
        return make_report();
    } catch (const usage_error&) {
        throw;
    } catch (const vorn_exception& e) {
        return zela::unreadable_package_report(command, package, e.message());
    } catch (const std::exception& e) {
        return zela::unreadable_package_report(command, package, e.what());
    }
}

int print_json(const zela::package_report& report) {
    std::printf("%s\n", zela::to_json(report).c_str());
    return report.sound() ? exit_success : exit_failure;
}

int run_report(const std::string& command, const std::string& package, bool json,
               const std::function<void(const zela::package_report&)>& print_text,
               const std::function<zela::package_report()>& make_report) {
    if (json) {
        return print_json(report_or_unreadable(command, package, make_report));
    }
    const zela::package_report report = make_report();
    print_text(report);
    return report.sound() ? exit_success : exit_failure;
}

}  // namespace vorn::zel_tool
