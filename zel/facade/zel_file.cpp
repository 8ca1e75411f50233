#include "zel/facade/zel_file.hpp"

#include <exception>
#include <filesystem>
#include <new>
#include <string>
#include <utility>

#include "zel/facade/file_in_memory.hpp"
#include "zel/facade/host_exceptions.hpp"
#include "zel/facade/host_text.hpp"
#include "zel/facade/internal/argument_checks.hpp"
#include "zel/facade/internal/facade_texts.hpp"
#include "zel/writer/file_writer.hpp"

namespace Tessaly::Corvane::DB::ZEL {

namespace {

std::u16string log_line(std::u16string_view words, const System::String& location) {
    std::u16string line(words);
    line.append(location.view()).append(System::Environment::NewLine);
    return line;
}

std::filesystem::path library_path(const std::wstring& location, std::u16string_view file) {
    // Joined as text, so the slash is there whatever the location ends in.
    return path_of(location + to_wide(System::String(file)));
}

}  // namespace

std::unique_ptr<ZELFile> ZELFile::Create(const System::String& filename,
                                         const System::String& contentLocation,
                                         System::String& message) {
    check_not_empty(filename, texts::null_file_location);
    check_not_empty(contentLocation, texts::null_content_location);
    auto file = std::make_unique<ZELFile>(filename, false, true);
    vorn::zel::zel_file_writer& writer = *file->m_zel_writer;
    const std::wstring location = to_wide(contentLocation);
    try {
        message = log_line(texts::loading_first_library, contentLocation);
        writer.register_library_contents(library_path(location, texts::first_library_file),
                                         std::string(texts::first_library_alias));
        message = log_line(texts::loading_second_library, contentLocation);
        writer.register_library_contents(library_path(location, texts::second_library_file),
                                         std::string(texts::second_library_alias));
        writer.set_validation_mode(vorn::zel::validate_library_links);
    } catch (const std::exception&) {
        // A file without its libraries still works: it only proves nothing.
        message = std::u16string(message.view()) + log_line(texts::loading_failed, contentLocation);
        writer.set_validation_mode(0);
    }
    return file;
}

ZELFile::ZELFile(const System::String& locationToWrite, bool allowDup, bool atomize) {
    check_not_empty(locationToWrite, texts::null_file_location);
    const std::filesystem::path path = to_path(locationToWrite);
    m_zel_writer.reset(new (std::nothrow) vorn::zel::zel_file_writer(path, allowDup, atomize));
    if (!m_zel_writer) {
        throw System::InvalidOperationException(System::String(texts::writer_not_created));
    }
}

ZELFile::~ZELFile() {
    try {
        CloseFile();
    } catch (...) {
        // Nobody is left to tell; see the header.
    }
}

ZELBlock ZELFile::AddBlock(const System::String& typeTag, const System::String& blockName) {
    check_not_empty(typeTag, texts::null_type_tag);
    check_not_empty(blockName, texts::null_block_name);
    const std::string type = to_narrow(typeTag);
    const std::string name = to_narrow(blockName);
    return ZELBlock(&m_zel_writer->add_block(type, name));
}

bool ZELFile::BlockExists(const System::String& blockName) {
    check_not_empty(blockName, texts::null_block_name);
    return m_zel_writer->exists_block(to_narrow(blockName));
}

System::String ZELFile::AddBinaryData(const System::String& hint, const System::String& path) {
    check_not_empty(hint, texts::null_hint);
    check_not_empty(path, texts::null_path);
    const std::string name_hint = to_narrow(hint);
    const std::wstring wide_path = to_wide(path);
    std::string stored;
    bool stored_from_file = false;
    try {
        stored = m_zel_writer->add_binary_data(name_hint, path_of(wide_path));
        stored_from_file = true;
    } catch (const std::exception&) {
        // Whatever went wrong, the second attempt decides.
    }
    if (!stored_from_file) {
        const FileInMemory file(wide_path);
        if (file.contentSize() == 0) {
            throw System::InvalidOperationException(System::String(texts::add_binary_data_failed));
        }
        stored = m_zel_writer->add_binary_data(name_hint, file.contents(),
                                               static_cast<std::uint64_t>(file.contentSize()));
    }
    return to_host(stored);
}

System::String ZELFile::AddBinaryData(const System::String& hint, const System::BoxedIntPtr& data,
                                      std::int32_t size) {
    check_not_empty(hint, texts::null_hint);
    check_present(data, texts::null_file_data);
    check_positive(size, texts::size_not_positive);
    // Reading size bytes from a null pointer has no meaning.
    check_present(*data == nullptr ? System::BoxedIntPtr() : data, texts::null_file_data);
    const std::string name_hint = to_narrow(hint);
    return to_host(m_zel_writer->add_binary_data(name_hint, static_cast<const char*>(*data),
                                                 static_cast<std::uint64_t>(size)));
}

void ZELFile::CloseFile() {
    if (!m_zel_writer) {
        return;
    }
    // The checked close; the field is cleared only once it returned.
    m_zel_writer->close();
    m_zel_writer.reset();
}

void ZELFile::Dispose() {
    CloseFile();
}

}  // namespace Tessaly::Corvane::DB::ZEL
