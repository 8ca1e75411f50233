// zel pack: writes a package from files.
//
// Each file becomes one entry named by its path as given on the command line;
// a directory adds every file below it, in the order of their names. Files are
// deflated unless their extension is one that --store names. Equal stored
// bytes are written once: a file whose bytes are already in the package adds
// no entry of its own, and its bytes are read under the earlier name.
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
        const bool compress =
            std::find(stored_extensions.begin(), stored_extensions.end(),
                      extension_key(f.path.extension().string())) == stored_extensions.end();
        const std::string name = a.add_file_entry(f.name, f.path, compress, false);
        const std::uint64_t stored = a.get_entry_key(name).size;
        if (name != f.name) {
            std::printf("  %-8s %12" PRIu64 " bytes, same as %s: %s\n", "kept", stored,
                        name.c_str(), f.name.c_str());
            totals.saved += stored;
            continue;
        }
        std::printf("  %-8s %12" PRIu64 " -> %" PRIu64 " bytes: %s\n",
                    compress ? "deflated" : "stored",
                    static_cast<std::uint64_t>(fs::file_size(f.path)), stored, f.name.c_str());
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

    pack_totals totals;
    try {
        // The appender writes the table of contents and the header when it
        // is destroyed; only then is the package complete.
        appender a(package, true);
        totals = add_files(a, files, stored_extensions);
    } catch (...) {
        std::error_code ignored;
        fs::remove(package, ignored);  // no half-made package is left behind
        throw;
    }
    std::printf("%s: %zu files in %zu entries, %" PRIu64 " bytes; deduplication saved %" PRIu64
                " bytes\n",
                package.string().c_str(), files.size(), totals.entries,
                static_cast<std::uint64_t>(fs::file_size(package)), totals.saved);
    return exit_success;
}

}  // namespace

const command pack_command = {
    "pack", "[--store EXT]... PACKAGE FILE...", "write a package from files",
    "Writes PACKAGE anew with one entry for each FILE, named by its path as given;\n"
    "a directory adds every file below it. Entries are deflated, except files with\n"
    "an extension named by --store, which are kept as they are. A file whose bytes\n"
    "are already in the package is not stored again: it is read under the name of\n"
    "the first file with those bytes.\n\n"
    "  --store EXT   keep files ending in .EXT uncompressed; may be given more than once\n",
    run_pack};

}  // namespace vorn::zel_tool
