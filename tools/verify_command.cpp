// zel verify: checks everything that a package records about itself.
//
// Opening the package checks the header and the hash of the table of
// contents. Then each entry must lie within the file, at a multiple of 16,
// outside the header, the table of contents and every other entry, which the
// reader tests before it reads a byte of the entry; its stored bytes must hash
// to the recorded value, and a deflated entry must inflate to exactly its
// recorded size. Readers test none of the entries' hashes, so this is where
// damage inside an entry shows.
//
// It also names the temporaries that unfinished writes of the package left
// beside it, which nothing reads and which only take room.
#include <cinttypes>
#include <cstdio>
#include <filesystem>
#include <string>

#include "tools/arguments.hpp"
#include "tools/command.hpp"
#include "tools/file_order.hpp"
#include "tools/printable.hpp"
#include "zel/archive/file_reader.hpp"
#include "zel/archive/system/output_file.hpp"
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
        for (const placed_entry& e : entries_in_file_order(reader_)) {
            check_entry(e);
        }
        return problems_;
    }

  private:
    void report(const std::string& name, const std::string& problem) {
        std::printf("entry %s: %s\n", printable(name).c_str(), printable(problem).c_str());
        ++problems_;
    }

    // The reader refuses an entry that lies outside the file, off a multiple
    // of 16 or over other bytes before anything is read or inflated, and a
    // stream that does not inflate to exactly its record as it inflates it.
    void check_entry(const placed_entry& e) {
        try {
            const auto raw = reader_.get_raw_entry(e.name);
            const std::uint64_t hash = hash_bytes(raw->data(), raw->size());
            if (hash != e.record->hash) {
                report(e.name, "stored bytes hash to " + hex(hash) +
                                   ", the table of contents records " + hex(e.record->hash));
            }
            if (raw->pending_size() != 0) {
                reader_.get_entry(e.name);
            }
        } catch (const vorn_exception& error) {
            report(e.name, error.message());
        }
    }

    const zela::zel_archive_file_reader& reader_;
    std::size_t problems_ = 0;
};

// Comes first, so that it is said even of a package that cannot be read,
// or that a killed first write never made.
void print_stray_temporaries(const std::string& package) {
    for (const std::filesystem::path& file : system::temporaries_of(package)) {
        std::printf(
            "%s: stray temporary of an unfinished write of %s; nothing reads it, and "
            "unless that write is still going on it may be deleted\n",
            printable(file.string()).c_str(), printable(package).c_str());
    }
}

int run_verify(const std::vector<std::string>& args) {
    const std::string package = arguments(args, {}).operands(1, 1)[0];
    print_stray_temporaries(package);
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
    "value; and that a deflated entry inflates to exactly its recorded size. Prints\n"
    "each problem found and exits with status 1 if there is any.\n\n"
    "It also names the stray temporaries of PACKAGE beside it, files named\n"
    "PACKAGE.<12 hexadecimal digits>.tmp that a write killed before it finished\n"
    "left behind (see zel pack --help). Nothing reads them and, once no write of\n"
    "PACKAGE is going on, they may be deleted; they do not change the status.\n",
    run_verify};

}  // namespace vorn::zel_tool
