// The appender's own state: the table that recognises stored bytes, the
// file with its positions, and the locks that guard them. The appender keeps
// it behind one pointer, so that its public header needs neither the hash
// table nor the file classes.
#pragma once

#include <google/dense_hash_map>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "zel/archive/internal/gate_shared_mutex.hpp"
#include "zel/archive/mutex_traits.hpp"
#include "zel/archive/system/file_system_calls.hpp"
#include "zel/archive/system/output_file.hpp"
#include "zel/foundation/hash.hpp"
#include "zel/foundation/spin_mutex.hpp"

namespace vorn::zela {

template <class traits>
struct appender_state {
    struct content_key {
        std::uint64_t csize = 0;
        std::uint64_t hash = 0;
        friend bool operator==(const content_key&, const content_key&) = default;
    };
    // Both words, mixed: keys read from an archive's table of contents are
    // whatever that file says, and a plain combination of the two lets
    // crafted keys (a hash equal to its size, say) fall into one probe chain.
    // The table is never iterated, so its hash decides no bytes of a file.
    struct content_key_hash {
        std::size_t operator()(const content_key& key) const {
            return static_cast<std::size_t>(hash_words(key.csize, key.hash));
        }
    };
    using content_table_type = google::dense_hash_map<content_key, std::string, content_key_hash>;

    explicit appender_state(system::file_system_calls& file_calls)
        : content_table(std::make_unique<content_table_type>()),
          calls(&file_calls),
          file(file_calls) {
        content_table->set_empty_key(content_key{0, 0});
        content_table->set_deleted_key(content_key{~std::uint64_t{0}, 0});
        content_table->set_resizing_parameters(0.2f, 0.5f);
    }

    std::unique_ptr<content_table_type> content_table;
    std::uint64_t write_position = 0;
    // Where the file stands: the end of the last bytes placed, up to 15
    // bytes before write_position. The gap is crossed when the next bytes
    // come, so nothing follows the table of contents.
    std::uint64_t stream_position = 0;
    // Bytes from here on were not in the file when it was opened. A gap
    // there is filled with zeros, which reads as if it were left unwritten
    // and keeps the file from seeking (and flushing) for every entry; a
    // gap before it is seeked over, so bytes of an old table of contents
    // stay where they are.
    std::uint64_t fresh_from = 0;
    std::filesystem::path path;
    system::file_system_calls* calls = nullptr;
    system::output_file file;
    [[no_unique_address]] typename traits::mutex file_lock;
    [[no_unique_address]] typename traits::mutex content_lock;
};

}  // namespace vorn::zela
