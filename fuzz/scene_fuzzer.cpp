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
#include <rapidxml/rapidxml.hpp>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "zel/foundation/exception.hpp"
#include "zel/scene/file_index.hpp"

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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    try {
        zel_file_index scene(document_text{text});
        check_reprint(scene, false);
        check_reprint(scene, true);
    } catch (const rapidxml::parse_error&) {
    } catch (const vorn::vorn_exception&) {
    }
    return 0;
}
