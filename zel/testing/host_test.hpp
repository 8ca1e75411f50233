// What the host sees of a failure, and what a package's scene holds, for the
// tests of the host façade.
#pragma once

#include <locale.h>

#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "zel/archive/file_reader.hpp"
#include "zel/facade/host_exceptions.hpp"
#include "zel/facade/host_text.hpp"
#include "zel/scene/file_index.hpp"
#include "zel/writer/create_contents_file.hpp"
#include "zel/writer/file_writer.hpp"

namespace vorn::testing {

// "System.X: text" for a host exception, with the text its constructor got;
// the what() of any other exception; or "nothing thrown".
inline std::string host_failure_of(const std::function<void()>& f) {
    try {
        f();
    } catch (const System::Exception& e) {
        return std::string(e.type_name()) + ": " +
               Tessaly::Corvane::DB::ZEL::utf8_of(e.text().view());
    } catch (const std::exception& e) {
        return e.what();
    }
    return "nothing thrown";
}

// Sets the calling thread's locale for the life of the object.
class thread_locale {
  public:
    explicit thread_locale(const char* name) : locale_(::newlocale(LC_ALL_MASK, name, nullptr)) {
        if (locale_ != nullptr) {
            previous_ = ::uselocale(locale_);
        }
    }
    thread_locale(const thread_locale&) = delete;
    thread_locale& operator=(const thread_locale&) = delete;
    ~thread_locale() {
        if (locale_ != nullptr) {
            ::uselocale(previous_);
            ::freelocale(locale_);
        }
    }
    bool available() const { return locale_ != nullptr; }

  private:
    locale_t locale_;
    locale_t previous_ = nullptr;
};

inline std::shared_ptr<zel::zel_file_index> read_scene(const std::filesystem::path& package) {
    return std::make_shared<zel::zel_file_index>(
        std::make_shared<zela::zel_archive_file_reader>(package), "__zel_index__.xml");
}

// The parameters of a block in their order, each as
// "name=value" + " type:" + type, with " unit:" and " tag:" when set.
inline std::vector<std::string> parameters_of(const zel::zel_file_index& scene,
                                              const std::string& block) {
    std::vector<std::string> out;
    for (const auto& p : scene.get_block(block)->parameters()) {
        std::string line =
            p.name.str() + "=" + p.value.value().str() + " type:" + p.value.type().str();
        if (p.value.unit().size != 0) {
            line += " unit:" + p.value.unit().str();
        }
        if (p.value.tag().size != 0) {
            line += " tag:" + p.value.tag().str();
        }
        out.push_back(line);
    }
    return out;
}

// A library package with one block and one binary, and its contents file at
// contents.
inline void make_library(const std::filesystem::path& contents, const std::string& block_type,
                         const std::string& block_name, const std::string& binary_name) {
    const std::filesystem::path package = contents.string() + ".zel";
    {
        zel::zel_file_writer writer(package, false, true);
        writer.add_block(block_type, block_name);
        const std::string bytes = "bytes of " + binary_name;
        writer.add_binary_data(binary_name, bytes.data(), bytes.size());
    }
    zel::create_contents_file(contents, package);
}

}  // namespace vorn::testing
