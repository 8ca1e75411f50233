#include "zel/archive/entry_params.hpp"

namespace vorn::zela {

entry_params::entry_params() = default;
entry_params::~entry_params() = default;
entry_params::entry_params(entry_params&&) noexcept = default;
entry_params& entry_params::operator=(entry_params&&) noexcept = default;

void entry_params::swap(entry_params& other) noexcept {
    nodes_.swap(other.nodes_);
    std::swap(head_, other.head_);
    std::swap(tail_, other.tail_);
    index_.swap(other.index_);
}

entry_params::run entry_params::run_of(std::string_view name) const {
    if (index_) {
        const auto found = index_->find(name);
        return found == index_->end() ? run{none, none} : found->second;
    }
    // The items of a name follow one another in the list in the order they
    // came, so the last one to come is the last of its run.
    run r{none, none};
    for (std::size_t i = nodes_.size(); i-- > 0;) {
        if (nodes_[i].value.name == name) {
            r.first = i;
            if (r.last == none) {
                r.last = i;
            }
        }
    }
    return r;
}

void entry_params::build_index() {
    index_ = std::make_unique<name_index>();
    for (std::size_t i = 0; i < nodes_.size(); ++i) {
        const auto [it, fresh] = index_->try_emplace(nodes_[i].value.name, run{i, i});
        if (!fresh) {
            it->second.last = i;
        }
    }
}

void entry_params::add(std::string name, generic_param param) {
    if (!index_ && nodes_.size() >= unindexed_size) {
        build_index();
    }
    const std::size_t at = nodes_.size();
    const run r = run_of(name);
    nodes_.push_back({item{std::move(name), std::move(param)}, none});
    if (r.last == none) {
        (tail_ == none ? head_ : nodes_[tail_].next) = at;
        tail_ = at;
    } else {
        nodes_[at].next = nodes_[r.last].next;
        nodes_[r.last].next = at;
        if (tail_ == r.last) {
            tail_ = at;
        }
    }
    if (index_) {
        const auto [it, fresh] = index_->try_emplace(nodes_[at].value.name, run{at, at});
        it->second.last = at;
    }
}

const generic_param* entry_params::find(std::string_view name) const {
    const run r = run_of(name);
    return r.first == none ? nullptr : &nodes_[r.first].value.param;
}

std::pair<entry_params::const_iterator, entry_params::const_iterator> entry_params::equal_range(
    std::string_view name) const {
    const run r = run_of(name);
    if (r.first == none) {
        return {end(), end()};
    }
    return {const_iterator(this, r.first), const_iterator(this, nodes_[r.last].next)};
}

}  // namespace vorn::zela
