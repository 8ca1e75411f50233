// zel pack: writes a package from files.
//
// Each file becomes one entry named by its path as given on the command line;
// a directory adds every file below it, in the order of their names. Files are
// deflated unless their extension is one that --store names. Equal stored
// bytes are written once: a file whose bytes are already in the package adds
// no entry of its own, and its bytes are read under the earlier name. An empty
// file is stored as given: deflated, it would read back as its stream.
//
// The package is written beside the old one and takes its place only when it
// is complete; if anything fails, the old package stays as it was.
#include <algorithm>
#include <cctype>
#include <cinttypes>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tools/arguments.hpp"
#include "tools/command.hpp"
#include "tools/printable.hpp"
#include "zel/archive/appender.hpp"

namespace vorn::zel_tool {

namespace {

namespace fs = std::filesystem;
using appender = zela::zel_archive_file_appender<parallel::mutex_traits_no_op>;

struct input_file {
    std::string name;  // the entry's name
    fs::path path;
};

std::string lower_case(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// "png", ".png" and ".PNG" all name the same extension.
std::string extension_key(const std::string& extension) {
    return lower_case(extension.starts_with('.') ? extension.substr(1) : extension);
}

// The files named by the operands, directories expanded, skipping the package
// itself should it lie among them.
std::vector<input_file> input_files(const std::vector<std::string>& operands,
                                    const fs::path& package) {
    std::vector<input_file> files;
    for (const std::string& operand : operands) {
        if (!fs::is_directory(operand)) {
            files.push_back({operand, operand});
            continue;
        }
        std::vector<input_file> below;
        for (const auto& item : fs::recursive_directory_iterator(operand)) {
            if (item.is_regular_file()) {
                below.push_back({item.path().generic_string(), item.path()});
            }
        }
        std::sort(below.begin(), below.end(),
                  [](const input_file& a, const input_file& b) { return a.name < b.name; });
        files.insert(files.end(), below.begin(), below.end());
    }
    std::erase_if(files, [&package](const input_file& f) {
        std::error_code ignored;
        return fs::equivalent(f.path, package, ignored);
    });
    return files;
}

struct pack_totals {
    std::size_t entries = 0;
    std::uint64_t saved = 0;  // stored bytes that deduplication did not write
};

pack_totals add_files(appender& a, const std::vector<input_file>& files,
                      const std::vector<std::string>& stored_extensions) {
    pack_totals totals;
    for (const input_file& f : files) {
        std::error_code unknown;  // the reading tells what is wrong with the file
        const std::uintmax_t size = fs::file_size(f.path, unknown);
        const bool compress =
            size != 0 &&
            std::find(stored_extensions.begin(), stored_extensions.end(),
                      extension_key(f.path.extension().string())) == stored_extensions.end();
        const std::string name = a.add_file_entry(f.name, f.path, compress, false);
        const std::uint64_t stored = a.get_entry_key(name).size;
        if (name != f.name) {
            std::printf("  %-8s %12" PRIu64 " bytes, same as %s: %s\n", "kept", stored,
                        printable(name).c_str(), printable(f.name).c_str());
            totals.saved += stored;
            continue;
        }
        std::printf(
            "  %-8s %12" PRIu64 " -> %" PRIu64 " bytes: %s\n", compress ? "deflated" : "stored",
            static_cast<std::uint64_t>(unknown ? 0 : size), stored, printable(f.name).c_str());
        ++totals.entries;
    }
    return totals;
}

int run_pack(const std::vector<std::string>& args) {
    const arguments parsed(args, {}, {"--store"});
    const auto& operands = parsed.operands(2, static_cast<std::size_t>(-1));
    const fs::path package = operands[0];
    std::vector<std::string> stored_extensions;
    for (const std::string& extension : parsed.values("--store")) {
        stored_extensions.push_back(extension_key(extension));
    }
    const auto files =
        input_files(std::vector<std::string>(operands.begin() + 1, operands.end()), package);

    appender a(package, true);
    pack_totals totals;
    try {
        totals = add_files(a, files, stored_extensions);
        a.close();
    } catch (...) {
        // The destructor would put what was added so far in the old
        // package's place.
        a.abandon();
        throw;
    }
    std::error_code unknown;
    const std::uintmax_t size = fs::file_size(package, unknown);
    std::printf("%s: %zu files in %zu entries, %" PRIu64 " bytes; deduplication saved %" PRIu64
                " bytes\n",
                printable(package.string()).c_str(), files.size(), totals.entries,
                static_cast<std::uint64_t>(unknown ? 0 : size), totals.saved);
    return exit_success;
}

}  // namespace

const command pack_command = {
    "pack", "[--store EXT]... PACKAGE FILE...", "write a package from files",
    "Writes PACKAGE anew with one entry for each FILE, named by its path as given;\n"
    "a directory adds every file below it. Entries are deflated, except files with\n"
    "an extension named by --store, and empty files, which are kept as they are. A\n"
    "file whose bytes are already in the package is not stored again: it is read\n"
    "under the name of the first file with those bytes. If any file cannot be read\n"
    "or the package cannot be written, PACKAGE is left as it was and the status is 1.\n\n"
    "The new package is written beside PACKAGE as PACKAGE.<12 hexadecimal digits>.tmp\n"
    "and renamed to PACKAGE once complete. A pack that is killed leaves that file\n"
    "behind: nothing reads it, and once no pack of PACKAGE is running it may be\n"
    "deleted. zel verify PACKAGE names such files.\n\n"
    "  --store EXT   keep files ending in .EXT uncompressed; may be given more than once\n",
    run_pack};

}  // namespace vorn::zel_tool
