// The two forms of a check's report: the text that people read, and with
// --json one JSON object on one line (doc/package_report.md). Either way the
// exit status is 1 if the report holds an error, else 0.
//
// In the JSON form a package that cannot be opened is a report as well, of
// one "package-unreadable" finding, so that a program reading the output
// always finds an object; the text form leaves that failure to the tool.
#pragma once

#include <functional>
#include <string>

#include "zel/archive/package_report.hpp"

namespace vorn::zel_tool {

int run_report(const std::string& command, const std::string& package, bool json,
               const std::function<void(const zela::package_report&)>& print_text,
               const std::function<zela::package_report()>& make_report);

// The report that make_report makes, or the report of a package that cannot
// be opened; a usage_error passes.
zela::package_report report_or_unreadable(const std::string& command, const std::string& package,
                                          const std::function<zela::package_report()>& make_report);

// Prints the JSON form; the exit status that goes with the report.
int print_json(const zela::package_report& report);

}  // namespace vorn::zel_tool
