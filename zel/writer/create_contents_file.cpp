#include "zel/writer/create_contents_file.hpp"

#include <string>
#include <vector>

#include "zel/archive/file_reader.hpp"
#include "zel/foundation/generic_param.hpp"
#include "zel/scene/scene_texts.hpp"
#include "zel/writer/file_writer.hpp"
#include "zel/writer/internal/writer_texts.hpp"

namespace vorn::zel {

namespace {

void add_binary_block(zel_file_writer& writer, const zela::zel_archive_reader& library,
                      const std::string& name) {
    const binary_identity identity = library.get_entry_key(name);
    zel_block& block = writer.add_block(std::string(texts::binary_block_type), name);
    // The reader goes by position: hash first, then size.
    block.add_extra_attribute(std::string(texts::hash_attribute),
                              generic_param(static_cast<unsigned long long>(identity.hash)).value);
    block.add_extra_attribute(std::string(texts::size_attribute),
                              generic_param(static_cast<unsigned long long>(identity.size)).value);
    if (const zela::entry_params* params = library.get_entry_params(name)) {
        for (const zela::entry_params::item& item : *params) {
            block.add_parameter(item.name, item.param);
        }
    }
}

}  // namespace

void create_contents_file(const std::filesystem::path& output,
                          const std::filesystem::path& source_package) {
    const zela::zel_archive_file_reader library(source_package);
    zel_file_writer writer(output, false, true);
    writer.set_index_entry_name(std::string(texts::catalogue_entry));

    const std::string scene_entry(texts::index_entry);
    const auto scene = library.get_entry(scene_entry);
    writer.add_binary_data(scene_entry, scene->data(), scene->size());

    std::vector<std::string> names;
    library.list_entries(names);
    for (const std::string& name : names) {
        add_binary_block(writer, library, name);
    }

    zel_block* info = writer.file_index().add_metadata_block(std::string(texts::package_info_type),
                                                             std::string(texts::package_info_name));
    const package_id id = library.get_package_id();
    const unsigned long long numbers[] = {id.toc_hash, id.toc_end};
    info->add_parameter(std::string(texts::package_id_parameter), generic_param(numbers, 2));
    writer.close();
}

}  // namespace vorn::zel
