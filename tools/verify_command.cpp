// zel verify: checks everything that a package records about itself.
//
// Opening the package checks the header and the hash of the table of
// contents. Then each entry must lie within the file, at a multiple of 16,
// outside the header, the table of contents and every other entry; its stored
// bytes must hash to the recorded value, and a deflated entry must inflate to
// its recorded size. Readers test none of the entries' hashes, so this is
// where damage inside an entry shows.
#include <cinttypes>
#include <cstdio>
#include <string>

#include "tools/arguments.hpp"
#include "tools/command.hpp"
#include "tools/file_order.hpp"
#include "tools/printable.hpp"
#include "zel/archive/file_reader.hpp"
#include "zel/archive/zel_archive_header.hpp"
#include "zel/archive/zlib_stream.hpp"
#include "zel/foundation/exception.hpp"
#include "zel/foundation/hash.hpp"

namespace vorn::zel_tool {

namespace {

std::string hex(std::uint64_t value) {
    char text[17];
    std::snprintf(text, sizeof text, "%016" PRIx64, value);
    return text;
}

class package_check {
  public:
    explicit package_check(const zela::zel_archive_file_reader& reader) : reader_(reader) {}

    // Checks every entry; the number of problems found.
    std::size_t run() {
        // Of the entries before, the one that reaches furthest.
        const placed_entry* previous = nullptr;
        const auto entries = entries_in_file_order(reader_);
        for (const placed_entry& e : entries) {
            if (check_entry(e, previous) && e.record->csize > 0 &&
                (previous == nullptr || end_of(e) > end_of(*previous))) {
                previous = &e;
            }
        }
        return problems_;
    }

  private:
    static std::uint64_t end_of(const placed_entry& e) { return e.record->off + e.record->csize; }

    void report(const std::string& name, const std::string& problem) {
        std::printf("entry %s: %s\n", printable(name).c_str(), printable(problem).c_str());
        ++problems_;
    }

    // False if the entry's bytes could not be read at all.
    bool check_entry(const placed_entry& e, const placed_entry* previous) {
        std::shared_ptr<const read_buffer> raw;
        try {
            raw = reader_.get_raw_entry(e.name);
        } catch (const vorn_exception& error) {
            report(e.name, error.message());
            return false;
        }
        check_place(e, previous);
        const std::uint64_t hash = hash_bytes(raw->data(), raw->size());
        if (hash != e.record->hash) {
            report(e.name, "stored bytes hash to " + hex(hash) +
                               ", the table of contents records " + hex(e.record->hash));
        }
        if (raw->pending_size() != 0) {
            check_inflation(e.name, *raw);
        }
        return true;
    }

    // Only called for an entry that lies within the file, so no sum here can
    // overflow.
    void check_place(const placed_entry& e, const placed_entry* previous) {
        const auto& r = *e.record;
        if (r.off % 16 != 0) {
            report(e.name, "offset " + std::to_string(r.off) + " is not a multiple of 16");
        }
        if (r.csize == 0) {
            return;
        }
        const auto& header = reader_.header();
        if (r.off < zela::zel_archive_header::size) {
            report(e.name, "starts inside the header, at offset " + std::to_string(r.off));
        }
        if (previous != nullptr && end_of(*previous) > r.off) {
            report(e.name, "overlaps entry " + previous->name);
        }
        if (r.off < header.toc_offset + header.toc_csize && header.toc_offset < r.off + r.csize) {
            report(e.name, "overlaps the table of contents");
        }
    }

    void check_inflation(const std::string& name, const read_buffer& raw) {
        std::uint64_t size = 0;
        try {
            zlib_inflate([&size](const char*, std::size_t n) { size += n; }, raw.data(),
                         raw.size());
        } catch (const vorn_exception& error) {
            report(name, "does not inflate: " + error.message());
            return;
        }
        if (size != raw.pending_size()) {
            report(name, "inflates to " + std::to_string(size) +
                             " bytes, the table of contents records " +
                             std::to_string(raw.pending_size()));
        }
    }

    const zela::zel_archive_file_reader& reader_;
    std::size_t problems_ = 0;
};

int run_verify(const std::vector<std::string>& args) {
    const std::string package = arguments(args, {}).operands(1, 1)[0];
    const zela::zel_archive_file_reader reader(package);
    std::vector<std::string> names;
    reader.list_entries(names);
    const std::size_t problems = package_check(reader).run();
    if (problems != 0) {
        std::printf("%s: %zu %s in %zu entries\n", printable(package).c_str(), problems,
                    problems == 1 ? "problem" : "problems", names.size());
        return exit_failure;
    }
    std::printf("%s: header, table of contents and %zu %s sound\n", printable(package).c_str(),
                names.size(), names.size() == 1 ? "entry is" : "entries are");
    return exit_success;
}

}  // namespace

const command verify_command = {
    "verify", "PACKAGE", "check a package for damage",
    "Checks the header and the table of contents of PACKAGE, then every entry: that\n"
    "it lies within the file at a multiple of 16, apart from the header, the table of\n"
    "contents and the other entries; that its stored bytes hash to the recorded\n"
    "value; and that a deflated entry inflates to its recorded size. Prints each\n"
    "problem found and exits with status 1 if there is any.\n",
    run_verify};

}  // namespace vorn::zel_tool
