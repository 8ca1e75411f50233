#include "zel/archive/entry_params.hpp"

#include <algorithm>

namespace vorn::zela {

void entry_params::add(std::string name, generic_param param) {
    auto last =
        std::find_if(items_.rbegin(), items_.rend(), [&](const item& i) { return i.name == name; });
    const auto at = last == items_.rend() ? items_.end() : last.base();
    items_.insert(at, item{std::move(name), std::move(param)});
}

const generic_param* entry_params::find(std::string_view name) const {
    const auto range = equal_range(name);
    return range.first == range.second ? nullptr : &range.first->param;
}

std::pair<entry_params::const_iterator, entry_params::const_iterator> entry_params::equal_range(
    std::string_view name) const {
    const auto first =
        std::find_if(items_.begin(), items_.end(), [&](const item& i) { return i.name == name; });
    const auto last =
        std::find_if(first, items_.end(), [&](const item& i) { return i.name != name; });
    return {first, last};
}

}  // namespace vorn::zela
