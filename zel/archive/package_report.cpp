#include "zel/archive/package_report.hpp"

#include <algorithm>
#include <cstdio>

namespace vorn::zela {

namespace {

// The length of the valid UTF-8 sequence at text[at], or 0 if none starts
// there: no overlong forms, no surrogates, nothing above U+10FFFF.
std::size_t utf8_sequence(std::string_view text, std::size_t at) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(at);
    std::size_t size = 0;
    unsigned char low = 0x80;
    unsigned char high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        size = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        size = 3;
        low = lead == 0xE0 ? 0xA0 : 0x80;
        high = lead == 0xED ? 0x9F : 0xBF;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        size = 4;
        low = lead == 0xF0 ? 0x90 : 0x80;
        high = lead == 0xF4 ? 0x8F : 0xBF;
    } else {
        return 0;
    }
    if (at + size > text.size() || byte(at + 1) < low || byte(at + 1) > high) {
        return 0;
    }
    for (std::size_t i = 2; i < size; ++i) {
        if (byte(at + i) < 0x80 || byte(at + i) > 0xBF) {
            return 0;
        }
    }
    return size;
}

void append_escaped(std::string& out, std::string_view text) {
    out += '"';
    for (std::size_t i = 0; i < text.size();) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
            ++i;
        } else if (c == '\n') {
            out += "\\n";
            ++i;
        } else if (c == '\t') {
            out += "\\t";
            ++i;
        } else if (c < 0x20 || c == 0x7F) {
            char code[8];
            std::snprintf(code, sizeof code, "\\u%04x", c);
            out += code;
            ++i;
        } else if (c < 0x80) {
            out += static_cast<char>(c);
            ++i;
        } else if (const std::size_t size = utf8_sequence(text, i); size != 0) {
            out.append(text.substr(i, size));
            i += size;
        } else {
            char code[8];
            std::snprintf(code, sizeof code, "\\u%04x", c);
            out += code;
            ++i;
        }
    }
    out += '"';
}

void append_key(std::string& out, std::string_view key) {
    append_escaped(out, key);
    out += ": ";
}

void append_field(std::string& out, std::string_view key, std::string_view value) {
    out += ", ";
    append_key(out, key);
    append_escaped(out, value);
}

void append_field(std::string& out, std::string_view key, std::uint64_t value) {
    out += ", ";
    append_key(out, key);
    out += std::to_string(value);
}

void append_finding(std::string& out, const finding& f) {
    out += '{';
    append_key(out, "code");
    append_escaped(out, f.code);
    append_field(out, "severity", f.severity == finding_severity::error ? "error" : "warning");
    switch (f.place) {
        case finding_place::package:
            break;
        case finding_place::file:
            append_field(out, "file", f.file);
            break;
        case finding_place::entry:
            append_field(out, "entry", f.entry);
            append_field(out, "offset", f.offset);
            break;
        case finding_place::parameter:
            append_field(out, "block", f.block);
            out += ", ";
            append_key(out, "metadata");
            out += f.metadata ? "true" : "false";
            append_field(out, "parameter", f.parameter);
            append_field(out, "link", f.link);
            break;
        case finding_place::library:
            append_field(out, "library", f.library);
            break;
    }
    append_field(out, "message", f.message);
    out += '}';
}

}  // namespace

std::size_t package_report::errors() const noexcept {
    return static_cast<std::size_t>(
        std::count_if(findings.begin(), findings.end(),
                      [](const finding& f) { return f.severity == finding_severity::error; }));
}

std::size_t package_report::warnings() const noexcept {
    return findings.size() - errors();
}

std::uint64_t package_report::count(std::string_view name) const noexcept {
    for (const auto& [counted, value] : counts) {
        if (counted == name) {
            return value;
        }
    }
    return 0;
}

std::string to_json(const package_report& report) {
    std::string out = "{";
    append_key(out, "command");
    append_escaped(out, report.command);
    append_field(out, "package", report.package);
    append_field(out, "errors", report.errors());
    append_field(out, "warnings", report.warnings());
    out += ", ";
    append_key(out, "counts");
    out += '{';
    for (std::size_t i = 0; i < report.counts.size(); ++i) {
        out += i == 0 ? "" : ", ";
        append_key(out, report.counts[i].first);
        out += std::to_string(report.counts[i].second);
    }
    out += '}';
    if (report.external_refs) {
        out += ", ";
        append_key(out, "external_refs");
        out += '[';
        for (std::size_t i = 0; i < report.external_refs->size(); ++i) {
            out += i == 0 ? "" : ", ";
            append_escaped(out, (*report.external_refs)[i]);
        }
        out += ']';
    }
    out += ", ";
    append_key(out, "findings");
    out += '[';
    for (std::size_t i = 0; i < report.findings.size(); ++i) {
        out += i == 0 ? "" : ", ";
        append_finding(out, report.findings[i]);
    }
    out += "]}";
    return out;
}

package_report unreadable_package_report(const std::string& command, const std::string& package,
                                         const std::string& message) {
    package_report report;
    report.command = command;
    report.package = package;
    finding f;
    f.code = finding_codes::package_unreadable;
    f.message = message;
    report.findings.push_back(std::move(f));
    return report;
}

}  // namespace vorn::zela
