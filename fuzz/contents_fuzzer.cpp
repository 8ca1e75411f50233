// Opens a contents file from the fuzzer's bytes and asks it everything.
//
// A contents file is read from disk when a library is registered, so it may
// be damaged or hostile. Whatever the bytes, opening it either succeeds or
// raises an error of the library's family, or the scene reader's parse error
// for text that is not well formed; anything else counts as a crash.
#include <rapidxml/rapidxml.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>

#include "fuzz/image_reader.hpp"
#include "zel/foundation/exception.hpp"
#include "zel/writer/contents_file.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        const auto archive = std::make_shared<vorn::fuzzing::image_reader>(
            reinterpret_cast<const char*>(data), size);
        const vorn::zel::zel_contents_file contents(archive, "fuzz input");
        volatile std::uint64_t sink = contents.get_package_id().toc_end;
        for (const vorn::intrusive_string& name : contents.binary_names()) {
            const vorn::binary_identity identity = contents.identity_of(name);
            sink = sink + identity.size + contents.name_of(identity).size;
            sink = sink + contents.has_block(name.view());
        }
        for (const vorn::intrusive_string& alias : contents.external_references()) {
            sink = sink + alias.size;
        }
    } catch (const vorn::vorn_exception&) {
    } catch (const rapidxml::parse_error&) {
    }
    return 0;
}
