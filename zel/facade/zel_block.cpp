#include "zel/facade/zel_block.hpp"

#include <exception>
#include <string>

#include "zel/facade/host_exceptions.hpp"
#include "zel/facade/host_text.hpp"
#include "zel/facade/internal/argument_checks.hpp"
#include "zel/facade/internal/facade_texts.hpp"
#include "zel/foundation/generic_param.hpp"
#include "zel/scene/block.hpp"

namespace Tessaly::Corvane::DB::ZEL {

namespace {

// The narrow form of an optional text: empty for the null text.
std::string narrow_or_empty(const System::String& text) {
    return text.empty() ? std::string() : to_narrow(text);
}

}  // namespace

void ZELBlock::AddParameter(const System::String& paramName, std::int32_t val) {
    check_not_empty(paramName, texts::null_param_name);
    vorn::generic_param param;
    param.generate(static_cast<int>(val));
    m_block->add_parameter(to_narrow(paramName), param);
}

void ZELBlock::AddParameter(const System::String& paramName, float val) {
    check_not_empty(paramName, texts::null_param_name);
    const vorn::generic_param param(val);
    m_block->add_parameter(to_narrow(paramName), param);
}

void ZELBlock::AddParameter(const System::String& paramName, const System::String& val) {
    check_not_empty(paramName, texts::null_param_name);
    check_not_empty(val, texts::null_val);
    const std::string name = to_narrow(paramName);
    const vorn::generic_param param(to_narrow(val));
    m_block->add_parameter(name, param);
}

void ZELBlock::AddParameter(const System::String& paramName, const System::String& valType,
                            const System::String& val, const System::String& unitType) {
    check_not_empty(paramName, texts::null_param_name);
    if (valType.empty() && val.empty()) {
        throw System::ArgumentNullException(System::String(texts::null_type_and_val));
    }
    const std::string name = to_narrow(paramName);
    const std::string value = narrow_or_empty(val);
    vorn::generic_param param;
    if (valType.empty()) {
        param.generate(value);
    } else {
        param.create(value, to_narrow(valType));
    }
    if (!unitType.empty()) {
        param.set_unit(to_narrow(unitType));
    }
    m_block->add_parameter(name, param);
}

void ZELBlock::AddLink(const System::String& paramName, const System::String& blockName) {
    AddLink(paramName, blockName, System::String());
}

void ZELBlock::AddLink(const System::String& paramName, const System::String& blockName,
                       const System::String& location) {
    check_not_empty(paramName, texts::null_param_name);
    check_not_empty(blockName, texts::null_block_name);
    const std::string name = to_narrow(paramName);
    const std::string block = to_narrow(blockName);
    m_block->add_link(name, block, narrow_or_empty(location));
}

void ZELBlock::AddLinkWithTag(const System::String& paramName, const System::String& blockName,
                              const System::String& tagName) {
    check_not_empty(paramName, texts::null_param_name);
    const std::string name = to_narrow(paramName);
    check_not_empty(tagName, texts::null_tag_name);
    const std::string tag = to_narrow(tagName);
    // Past add_link: the link names no library and is never validated.
    std::string value(texts::link_separator);
    value += to_narrow(blockName);
    vorn::generic_param param;
    param.set_tag(tag);
    param.create(value, std::string(texts::link_type));
    m_block->add_parameter(name, param);
}

void ZELBlock::AddBinaryLink(const System::String& paramName, const System::String& binName,
                             const System::String& location) {
    check_not_empty(paramName, texts::null_param_name);
    check_not_empty(binName, texts::null_bin_name);
    const std::string name = to_narrow(paramName);
    const std::string binary = to_narrow(binName);
    const std::string library = narrow_or_empty(location);
    std::string failure;
    try {
        m_block->add_binary_link(name, binary, library);
        return;
    } catch (const std::exception& e) {
        failure = e.what();
    }
    // The block inserts before it validates: take the link back, and with it
    // every other untagged parameter of the name.
    m_block->remove_parameters(name, "");
    throw System::InvalidOperationException(to_host(failure));
}

void ZELBlock::AddBinaryLinkWithData(const System::String& paramName,
                                     const System::String& pathToData,
                                     const System::String& binNameHint) {
    check_not_empty(paramName, texts::null_param_name);
    check_not_empty(pathToData, texts::null_path_to_data);
    const std::string name = to_narrow(paramName);
    const std::filesystem::path path = to_path(pathToData);
    m_block->add_binary_link_with_data(name, path, narrow_or_empty(binNameHint));
}

void ZELBlock::AddBinaryLinkWithData(const System::String& paramName,
                                     const System::String& binNameHint,
                                     const System::BoxedIntPtr& data, std::int32_t size) {
    check_not_empty(paramName, texts::null_param_name);
    check_not_empty(binNameHint, texts::null_bin_name_hint);
    check_present(data, texts::null_block_data);
    check_positive(size, texts::size_not_positive);
    // Reading size bytes from a null pointer has no meaning.
    check_present(*data == nullptr ? System::BoxedIntPtr() : data, texts::null_block_data);
    const std::string name = to_narrow(paramName);
    const std::string hint = to_narrow(binNameHint);
    m_block->add_binary_link_with_data(name, hint, static_cast<const char*>(*data),
                                       static_cast<std::uint64_t>(size));
}

void ZELBlock::AddExtraAttribute(const System::String& attrName, const System::String& attrValue) {
    check_not_empty(attrName, texts::null_attr_name);
    check_not_empty(attrValue, texts::null_attr_value);
    const std::string name = to_narrow(attrName);
    m_block->add_extra_attribute(name, to_narrow(attrValue));
}

}  // namespace Tessaly::Corvane::DB::ZEL
