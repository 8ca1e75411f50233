#include "zel/archive/entry_params.hpp"

namespace vorn::zela {

entry_params::entry_params() = default;
entry_params::~entry_params() = default;
entry_params::entry_params(entry_params&&) noexcept = default;
entry_params& entry_params::operator=(entry_params&&) noexcept = default;

void entry_params::swap(entry_params& other) noexcept {
    nodes_.swap(other.nodes_);
    order_.swap(other.order_);
}

void entry_params::add(std::string name, generic_param param) {
    order::check_room(nodes_.size());
    nodes_.push_back({item{std::move(name), std::move(param)}, order::none, order::none});
    const std::string_view added = nodes_.back().value.name;
    try {
        order_.enter(nodes_, added, named(added),
                     [this](order::id at) -> std::string_view { return nodes_[at].value.name; });
    } catch (...) {
        nodes_.pop_back();
        throw;
    }
}

const generic_param* entry_params::find(std::string_view name) const {
    const order::run r = order_.find(nodes_, name, named(name));
    return r.head == order::none ? nullptr : &nodes_[r.head].value.param;
}

std::pair<entry_params::const_iterator, entry_params::const_iterator> entry_params::equal_range(
    std::string_view name) const {
    const order::run r = order_.find(nodes_, name, named(name));
    if (r.head == order::none) {
        return {end(), end()};
    }
    return {const_iterator(this, r.head), const_iterator(this, nodes_[r.tail].next)};
}

}  // namespace vorn::zela
