// Reads the fuzzer's bytes as a scene document, then prints the scene it
// gave in both forms and reads each print back.
//
// The form of a document is decided by its text (a root with an atom table,
// a root without one, no root), so one target reaches all three readers; the
// seeds under corpus/scene hold each form, and damaged ones. Whatever the
// bytes, reading either gives a scene or raises rapidxml's parse_error or an
// error of the library's family; anything else escapes and counts as a
// crash. A scene that was read must also print in both forms, and each print
// must read again under the same rule: the printer is the first client of
// what the reader built.
//
// The atomized form as the writer prints it has a reader of its own, which
// declines everything else. Where it takes the bytes, the general reader must
// give the same scene; a difference aborts.
#include <rapidxml/rapidxml.hpp>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "zel/foundation/exception.hpp"
#include "zel/scene/file_index.hpp"
#include "zel/scene/internal/atomized_stream_reader.hpp"
#include "zel/scene/internal/document_reader.hpp"

namespace {

using vorn::zel::document_text;
using vorn::zel::zel_file_index;

std::string printed(zel_file_index& scene, bool atomize) {
    std::string out;
    scene.write_document(out, atomize);
    return out;
}

// A scene read from hostile text may hold words that no writer would take
// (an empty type, a name with blanks), so its print need not parse; only a
// crash counts.
void check_reprint(zel_file_index& scene, bool atomize) {
    const std::string text = printed(scene, atomize);
    try {
        const zel_file_index again(document_text{text});
    } catch (const rapidxml::parse_error&) {
    } catch (const vorn::vorn_exception&) {
    }
}

// The atoms in number order and both prints.
std::string outcome(zel_file_index& scene) {
    std::string out;
    for (const vorn::intrusive_string& atom : scene.atoms()) {
        out.append(atom.view()).push_back('\n');
    }
    scene.write_document(out, false);
    scene.write_document(out, true);
    return out;
}

void compare_readers(std::string_view text) {
    std::vector<char> streamed_text(text.begin(), text.end());
    streamed_text.push_back('\0');
    std::vector<char> tree_text = streamed_text;
    zel_file_index streamed;
    if (!vorn::zel::read_atomized_stream(streamed, streamed_text.data())) {
        return;
    }
    zel_file_index tree;
    try {
        vorn::zel::read_document_tree(tree, tree_text.data());
    } catch (...) {
        std::abort();
    }
    if (outcome(streamed) != outcome(tree)) {
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    compare_readers(text);
    try {
        zel_file_index scene(document_text{text});
        check_reprint(scene, false);
        check_reprint(scene, true);
    } catch (const rapidxml::parse_error&) {
    } catch (const vorn::vorn_exception&) {
    }
    return 0;
}
