#include "zel/writer/link_check.hpp"

#include <functional>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "zel/foundation/exception.hpp"
#include "zel/scene/names.hpp"
#include "zel/scene/scene_texts.hpp"
#include "zel/writer/internal/writer_texts.hpp"

namespace vorn::zel {

namespace {

class scene_walk {
  public:
    scene_walk(const zel_file_index& scene, link_report& report,
               const std::function<const zel_contents_file*(std::string_view)>& library)
        : scene_(scene), report_(report), library_(library) {}

    void block(intrusive_string name, const zel_block& block, bool metadata) {
        for (const zel_block::parameter& p : block.parameters()) {
            const std::string_view type = p.value.type().view();
            if (type == texts::link_type || type == texts::binary_type) {
                const std::string problem = check(p.value.value().view(), type == texts::link_type);
                if (!problem.empty()) {
                    report_.broken.push_back(
                        {name.str(), metadata, p.name.str(), p.value.value().str(), problem});
                }
            } else if (metadata && name.view() == texts::library_refs_name &&
                       p.name.view() == texts::library_ref_parameter) {
                report_.external_refs.push_back(p.value.value().str());
            }
        }
    }

    // The aliases that links used, in order of first use.
    const std::vector<std::string>& aliases() const noexcept { return aliases_; }

  private:
    // What is missing for one link value, or nothing.
    std::string check(std::string_view value, bool is_block) {
        const link_parts parts = split_link_value(value);
        if (!parts.has_separator) {
            return "the value has no \"#\"";
        }
        const std::string target(parts.target);
        if (parts.location.empty()) {
            if (is_block) {
                ++report_.local_links;
                return scene_.exists_block(target) ? "" : "no block " + target + " in the package";
            }
            ++report_.local_binaries;
            const auto& archive = scene_.archive_reader();
            return archive && archive->get_entry_record(target) != nullptr
                       ? ""
                       : "no entry " + target + " in the package";
        }
        ++report_.library_links;
        const std::string alias(parts.location);
        if (seen_aliases_.insert(alias).second) {
            aliases_.push_back(alias);
        }
        const zel_contents_file* contents = library_(alias);
        if (contents == nullptr) {
            return "library " + alias + " is not registered";
        }
        if (is_block) {
            return contents->has_block(target) ? "" : "no block " + target + " in library " + alias;
        }
        return contents->identity_of(target) != binary_identity{}
                   ? ""
                   : "no binary " + target + " in library " + alias;
    }

    const zel_file_index& scene_;
    link_report& report_;
    const std::function<const zel_contents_file*(std::string_view)>& library_;
    // A package may name any number of aliases, so they are found by hash.
    std::unordered_set<std::string> seen_aliases_;
    std::vector<std::string> aliases_;
};

}  // namespace

void link_checker::add_library(const std::string& alias,
                               std::shared_ptr<const zel_contents_file> contents) {
    if (alias.empty()) {
        throw zel_exception(std::string(texts::empty_alias));
    }
    if (find(alias) != nullptr) {
        throw zel_exception("library alias " + alias + " given twice");
    }
    libraries_.push_back({alias, std::move(contents)});
}

const zel_contents_file* link_checker::find(std::string_view alias) const {
    for (const library& l : libraries_) {
        if (l.alias == alias) {
            return l.contents.get();
        }
    }
    return nullptr;
}

link_report link_checker::check(const zel_file_index& scene) const {
    link_report report;
    const std::function<const zel_contents_file*(std::string_view)> library =
        [this](std::string_view alias) { return find(alias); };
    scene_walk walk(scene, report, library);
    scene.visit_metadata_blocks(
        [&walk](intrusive_string name, zel_block& block) { walk.block(name, block, true); });
    scene.visit_blocks(
        [&walk](intrusive_string name, zel_block& block) { walk.block(name, block, false); });
    const std::unordered_set<std::string> listed(report.external_refs.begin(),
                                                 report.external_refs.end());
    for (const std::string& alias : walk.aliases()) {
        if (!listed.contains(alias)) {
            report.unlisted_aliases.push_back(alias);
        }
    }
    return report;
}

zela::package_report package_report_of(const link_report& report, const std::string& package) {
    zela::package_report out;
    out.command = "check";
    out.package = package;
    out.counts = {{"links", report.links()},
                  {"local_links", report.local_links},
                  {"local_binaries", report.local_binaries},
                  {"library_links", report.library_links}};
    out.external_refs = report.external_refs;
    for (const broken_link& b : report.broken) {
        zela::finding f;
        f.code = zela::finding_codes::broken_link;
        f.place = zela::finding_place::parameter;
        f.block = b.block;
        f.metadata = b.metadata;
        f.parameter = b.parameter;
        f.link = b.value;
        f.message = b.problem;
        out.findings.push_back(std::move(f));
    }
    for (const std::string& alias : report.unlisted_aliases) {
        zela::finding f;
        f.code = zela::finding_codes::unlisted_library;
        f.place = zela::finding_place::library;
        f.library = alias;
        f.message = texts::unlisted_library;
        out.findings.push_back(std::move(f));
    }
    return out;
}

}  // namespace vorn::zel
