// The C interface over ZELFile and ZELBlock: handles, per-thread results and
// failures, and the one place where exceptions stop.
#include "zel/facade/zel_host.h"

#include <exception>
#include <filesystem>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include "zel/facade/host_exceptions.hpp"
#include "zel/facade/host_string.hpp"
#include "zel/facade/host_text.hpp"
#include "zel/facade/internal/code_page.hpp"
#include "zel/facade/zel_block.hpp"
#include "zel/facade/zel_file.hpp"
#include "zel/foundation/exception.hpp"

using Tessaly::Corvane::DB::ZEL::ZELBlock;
using Tessaly::Corvane::DB::ZEL::ZELFile;

// Whether the file of a handle is still open: shared by the file's handle and
// its blocks' handles, so that a block can tell after its file has gone.
struct zel_host_file {
    std::unique_ptr<ZELFile> file;
    std::shared_ptr<bool> open = std::make_shared<bool>(true);
};

struct zel_host_block {
    ZELBlock block;
    std::shared_ptr<const bool> file_open;
};

namespace {

struct last_failure {
    int status = ZEL_HOST_OK;
    std::u16string type_name;
    std::u16string text;
};

thread_local last_failure failure;
thread_local std::u16string result;

std::u16string ascii_units(const char* text) {
    return std::u16string(text, text + std::char_traits<char>::length(text));
}

// The native class of an exception, most derived first.
const char* native_type_name(const std::exception& e) {
    if (dynamic_cast<const vorn::zel::zel_validation_exception*>(&e) != nullptr) {
        return "vorn::zel::zel_validation_exception";
    }
    if (dynamic_cast<const vorn::zel::zel_exception*>(&e) != nullptr) {
        return "vorn::zel::zel_exception";
    }
    if (dynamic_cast<const vorn::zela::zel_archive_exception*>(&e) != nullptr) {
        return "vorn::zela::zel_archive_exception";
    }
    if (dynamic_cast<const vorn::system::mmap::mmap_error*>(&e) != nullptr) {
        return "vorn::system::mmap::mmap_error";
    }
    if (dynamic_cast<const vorn::zlib_runtime_exception*>(&e) != nullptr) {
        return "vorn::zlib_runtime_exception";
    }
    if (dynamic_cast<const vorn::vorn_exception*>(&e) != nullptr) {
        return "vorn::vorn_exception";
    }
    if (dynamic_cast<const std::invalid_argument*>(&e) != nullptr) {
        return "std::invalid_argument";
    }
    if (dynamic_cast<const std::bad_alloc*>(&e) != nullptr) {
        return "std::bad_alloc";
    }
    return "std::exception";
}

void fail(int status, std::u16string type_name, std::u16string text) noexcept {
    failure.status = status;
    failure.type_name = std::move(type_name);
    failure.text = std::move(text);
}

// A native message as host text, as the objects would convert it; the
// message must arrive even where the thread's code page cannot take it.
std::u16string host_text_of(const char* message) {
    try {
        return std::u16string(Tessaly::Corvane::DB::ZEL::to_host(message).view());
    } catch (...) {
        return Tessaly::Corvane::DB::ZEL::code_page::widen(message, "UTF-8",
                                                           static_cast<std::size_t>(-1));
    }
}

template <class Call>
int guarded(Call&& call) noexcept {
    try {
        try {
            call();
            return ZEL_HOST_OK;
        } catch (const System::Exception& e) {
            fail(ZEL_HOST_HOST_EXCEPTION, ascii_units(e.type_name()),
                 std::u16string(e.text().view()));
        } catch (const std::exception& e) {
            fail(ZEL_HOST_NATIVE_EXCEPTION, ascii_units(native_type_name(e)),
                 host_text_of(e.what()));
        } catch (...) {
            fail(ZEL_HOST_NATIVE_EXCEPTION, u"std::exception", u"unknown exception");
        }
    } catch (...) {
        // No memory left for the failure's texts.
        fail(ZEL_HOST_NATIVE_EXCEPTION, std::u16string(), std::u16string());
    }
    return failure.status;
}

System::String host(const zel_host_char* text) {
    return System::String(reinterpret_cast<const char16_t*>(text));
}

const zel_host_char* returned(const System::String& text) {
    result.assign(text.view());
    return reinterpret_cast<const zel_host_char*>(result.c_str());
}

template <class Pointer>
void check_handle(const Pointer* pointer, std::u16string_view name) {
    if (pointer == nullptr) {
        throw System::ArgumentNullException(System::String(name));
    }
}

ZELFile& open_file(zel_host_file* file) {
    check_handle(file, u"file");
    if (!*file->open) {
        throw System::ObjectDisposedException(u"ZELFile");
    }
    return *file->file;
}

ZELBlock& open_block(zel_host_block* block) {
    check_handle(block, u"block");
    if (!*block->file_open) {
        throw System::ObjectDisposedException(u"ZELBlock");
    }
    return block->block;
}

System::BoxedIntPtr box(const void* data) {
    return data == nullptr ? System::BoxedIntPtr() : System::BoxedIntPtr(data);
}

System::BoxedIntPtr box(int present, const void* data) {
    return present == 0 ? System::BoxedIntPtr() : System::BoxedIntPtr(data);
}

}  // namespace

extern "C" {

int zel_host_file_create(const zel_host_char* filename, const zel_host_char* content_location,
                         zel_host_file** file, const zel_host_char** message) {
    return guarded([&] {
        check_handle(file, u"file");
        check_handle(message, u"message");
        System::String log;
        auto handle = std::make_unique<zel_host_file>();
        handle->file = ZELFile::Create(host(filename), host(content_location), log);
        *message = returned(log);
        *file = handle.release();
    });
}

int zel_host_file_add_block(zel_host_file* file, const zel_host_char* type_tag,
                            const zel_host_char* block_name, zel_host_block** block) {
    return guarded([&] {
        ZELFile& open = open_file(file);
        check_handle(block, u"block");
        ZELBlock added = open.AddBlock(host(type_tag), host(block_name));
        *block = new zel_host_block{added, file->open};
    });
}

int zel_host_file_block_exists(zel_host_file* file, const zel_host_char* block_name, int* exists) {
    return guarded([&] {
        ZELFile& open = open_file(file);
        check_handle(exists, u"exists");
        *exists = open.BlockExists(host(block_name)) ? 1 : 0;
    });
}

int zel_host_file_add_binary_file(zel_host_file* file, const zel_host_char* hint,
                                  const zel_host_char* path, const zel_host_char** name) {
    return guarded([&] {
        ZELFile& open = open_file(file);
        check_handle(name, u"name");
        *name = returned(open.AddBinaryData(host(hint), host(path)));
    });
}

int zel_host_file_add_binary_data(zel_host_file* file, const zel_host_char* hint, const void* data,
                                  int32_t size, const zel_host_char** name) {
    return guarded([&] {
        ZELFile& open = open_file(file);
        check_handle(name, u"name");
        *name = returned(open.AddBinaryData(host(hint), box(data), size));
    });
}

int zel_host_file_add_binary_boxed(zel_host_file* file, const zel_host_char* hint, int present,
                                   const void* data, int32_t size, const zel_host_char** name) {
    return guarded([&] {
        ZELFile& open = open_file(file);
        check_handle(name, u"name");
        *name = returned(open.AddBinaryData(host(hint), box(present, data), size));
    });
}

int zel_host_file_close(zel_host_file* file) {
    return guarded([&] {
        check_handle(file, u"file");
        if (!*file->open) {
            return;
        }
        // Closed whatever the close raises: the writer is finished with.
        *file->open = false;
        file->file->CloseFile();
    });
}

void zel_host_file_free(zel_host_file* file) {
    if (file == nullptr) {
        return;
    }
    *file->open = false;
    // The destructor closes quietly what nobody closed.
    delete file;
}

int zel_host_block_add_int(zel_host_block* block, const zel_host_char* param_name, int32_t val) {
    return guarded([&] { open_block(block).AddParameter(host(param_name), val); });
}

int zel_host_block_add_float(zel_host_block* block, const zel_host_char* param_name, float val) {
    return guarded([&] { open_block(block).AddParameter(host(param_name), val); });
}

int zel_host_block_add_string(zel_host_block* block, const zel_host_char* param_name,
                              const zel_host_char* val) {
    return guarded([&] { open_block(block).AddParameter(host(param_name), host(val)); });
}

int zel_host_block_add_typed(zel_host_block* block, const zel_host_char* param_name,
                             const zel_host_char* val_type, const zel_host_char* val,
                             const zel_host_char* unit_type) {
    return guarded([&] {
        open_block(block).AddParameter(host(param_name), host(val_type), host(val),
                                       host(unit_type));
    });
}

int zel_host_block_add_link(zel_host_block* block, const zel_host_char* param_name,
                            const zel_host_char* block_name, const zel_host_char* location) {
    return guarded([&] {
        ZELBlock& open = open_block(block);
        if (location == nullptr) {
            open.AddLink(host(param_name), host(block_name));
        } else {
            open.AddLink(host(param_name), host(block_name), host(location));
        }
    });
}

int zel_host_block_add_link_with_tag(zel_host_block* block, const zel_host_char* param_name,
                                     const zel_host_char* block_name,
                                     const zel_host_char* tag_name) {
    return guarded([&] {
        open_block(block).AddLinkWithTag(host(param_name), host(block_name), host(tag_name));
    });
}

int zel_host_block_add_binary_link(zel_host_block* block, const zel_host_char* param_name,
                                   const zel_host_char* bin_name, const zel_host_char* location) {
    return guarded(
        [&] { open_block(block).AddBinaryLink(host(param_name), host(bin_name), host(location)); });
}

int zel_host_block_add_binary_file(zel_host_block* block, const zel_host_char* param_name,
                                   const zel_host_char* path_to_data,
                                   const zel_host_char* bin_name_hint) {
    return guarded([&] {
        open_block(block).AddBinaryLinkWithData(host(param_name), host(path_to_data),
                                                host(bin_name_hint));
    });
}

int zel_host_block_add_binary_data(zel_host_block* block, const zel_host_char* param_name,
                                   const zel_host_char* bin_name_hint, const void* data,
                                   int32_t size) {
    return guarded([&] {
        open_block(block).AddBinaryLinkWithData(host(param_name), host(bin_name_hint), box(data),
                                                size);
    });
}

int zel_host_block_add_binary_boxed(zel_host_block* block, const zel_host_char* param_name,
                                    const zel_host_char* bin_name_hint, int present,
                                    const void* data, int32_t size) {
    return guarded([&] {
        open_block(block).AddBinaryLinkWithData(host(param_name), host(bin_name_hint),
                                                box(present, data), size);
    });
}

int zel_host_block_add_extra_attribute(zel_host_block* block, const zel_host_char* attr_name,
                                       const zel_host_char* attr_value) {
    return guarded([&] { open_block(block).AddExtraAttribute(host(attr_name), host(attr_value)); });
}

void zel_host_block_free(zel_host_block* block) {
    delete block;
}

int zel_host_last_error_status(void) {
    return failure.status;
}

const zel_host_char* zel_host_last_error_type(void) {
    return reinterpret_cast<const zel_host_char*>(failure.type_name.c_str());
}

const zel_host_char* zel_host_last_error_text(void) {
    return reinterpret_cast<const zel_host_char*>(failure.text.c_str());
}

void zel_host_clear_error(void) {
    failure = last_failure();
}

}  // extern "C"
