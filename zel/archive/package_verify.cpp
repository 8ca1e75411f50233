#include "zel/archive/package_verify.hpp"

#include <cinttypes>
#include <cstdio>

#include "zel/archive/file_order.hpp"
#include "zel/archive/system/output_file.hpp"
#include "zel/foundation/exception.hpp"
#include "zel/foundation/hash.hpp"

namespace vorn::zela {

namespace {

constexpr std::string_view stray_prefix = "stray temporary of an unfinished write of ";
constexpr std::string_view stray_suffix =
    "; nothing reads it, and unless that write is still going on it may be deleted";

std::string hex(std::uint64_t value) {
    char text[17];
    std::snprintf(text, sizeof text, "%016" PRIx64, value);
    return text;
}

void add_finding(package_report& report, std::string_view code, const placed_entry& e,
                 std::string message) {
    finding f;
    f.code = code;
    f.place = finding_place::entry;
    f.entry = e.name;
    f.offset = e.record->off;
    f.message = std::move(message);
    report.findings.push_back(std::move(f));
}

// The reader refuses an entry that lies outside the file, off a multiple of
// 16 or over other bytes before anything is read or inflated, and a stream
// that does not inflate to exactly its record as it inflates it.
void check_entry(const zel_archive_reader& reader, const placed_entry& e, package_report& report) {
    std::shared_ptr<const read_buffer> raw;
    try {
        raw = reader.get_raw_entry(e.name);
    } catch (const vorn_exception& error) {
        add_finding(report, finding_codes::entry_unreadable, e, error.message());
        return;
    }
    const std::uint64_t hash = hash_bytes(raw->data(), raw->size());
    if (hash != e.record->hash) {
        add_finding(report, finding_codes::entry_hash_mismatch, e,
                    "stored bytes hash to " + hex(hash) + ", the table of contents records " +
                        hex(e.record->hash));
    }
    if (raw->pending_size() != 0) {
        try {
            reader.get_entry(e.name, raw);
        } catch (const vorn_exception& error) {
            add_finding(report, finding_codes::entry_inflate_failed, e, error.message());
        }
    }
}

}  // namespace

std::vector<finding> stray_temporaries(const std::string& package) {
    std::vector<finding> found;
    for (const std::filesystem::path& file : vorn::system::temporaries_of(package)) {
        finding f;
        f.code = finding_codes::stray_temporary_file;
        f.severity = finding_severity::warning;
        f.place = finding_place::file;
        f.file = file.string();
        f.message = std::string(stray_prefix) + package + std::string(stray_suffix);
        found.push_back(std::move(f));
    }
    return found;
}

package_report verify_package(const zel_archive_reader& reader, const std::string& package) {
    package_report report;
    report.command = "verify";
    report.package = package;
    report.findings = stray_temporaries(package);
    const std::vector<placed_entry> entries = entries_in_file_order(reader);
    for (const placed_entry& e : entries) {
        check_entry(reader, e, report);
    }
    report.counts.emplace_back("entries", entries.size());
    return report;
}

}  // namespace vorn::zela
