#include "zel/archive/file_order.hpp"

#include <algorithm>
#include <tuple>

namespace vorn::zela {

std::vector<placed_entry> entries_in_file_order(const zel_archive_reader& reader) {
    std::vector<std::string> names;
    reader.list_entries(names);
    std::vector<placed_entry> entries;
    entries.reserve(names.size());
    for (std::string& name : names) {
        const auto* record = reader.get_entry_record(name);
        entries.push_back({std::move(name), record});
    }
    std::sort(entries.begin(), entries.end(), [](const placed_entry& a, const placed_entry& b) {
        return std::tie(a.record->off, a.name) < std::tie(b.record->off, b.name);
    });
    return entries;
}

}  // namespace vorn::zela
