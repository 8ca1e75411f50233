// The parameters of one archive entry: named values, in one list.
//
// A name may occur more than once. A new item goes behind the last item of
// the same name, or at the end of the list if its name is new, so equal
// names lie next to each other and the list otherwise keeps the order of
// insertion. Items are added, never removed. The table of contents writes
// the items in list order.
//
// Adding costs constant time, whatever the names: the items are kept in the
// order they came, and name_runs keeps the list order over them. A short list
// finds the last item of a name by a scan; a long one, which a hostile table
// of contents can make, keeps an index by name.
#pragma once

#include <cstddef>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zel/foundation/generic_param.hpp"
#include "zel/foundation/name_runs.hpp"

namespace vorn::zela {

class entry_params {
    // Up to 16 items, the last of a name is found by a scan. The index keys
    // its own copies of the names, as the items move when nodes_ grows.
    using order = name_runs<std::string, 16>;

  public:
    struct item {
        std::string name;
        generic_param param;
    };

    // Walks the items in list order.
    class const_iterator {
      public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = item;
        using difference_type = std::ptrdiff_t;
        using pointer = const item*;
        using reference = const item&;

        const_iterator() = default;
        reference operator*() const { return owner_->nodes_[at_].value; }
        pointer operator->() const { return &owner_->nodes_[at_].value; }
        const_iterator& operator++() {
            at_ = owner_->nodes_[at_].next;
            return *this;
        }
        const_iterator operator++(int) {
            const_iterator before = *this;
            ++*this;
            return before;
        }
        friend bool operator==(const const_iterator& a, const const_iterator& b) {
            return a.at_ == b.at_;
        }

      private:
        friend class entry_params;
        const_iterator(const entry_params* owner, order::id at) : owner_(owner), at_(at) {}
        const entry_params* owner_ = nullptr;
        order::id at_ = order::none;
    };

    entry_params();
    ~entry_params();
    entry_params(entry_params&&) noexcept;
    entry_params& operator=(entry_params&&) noexcept;

    void add(std::string name, generic_param param);

    // The first item of that name, or null.
    const generic_param* find(std::string_view name) const;
    // The items of that name, next to each other.
    std::pair<const_iterator, const_iterator> equal_range(std::string_view name) const;

    const_iterator begin() const { return {this, order_.first()}; }
    const_iterator end() const { return {this, order::none}; }
    std::size_t size() const { return nodes_.size(); }
    bool empty() const { return nodes_.empty(); }
    void swap(entry_params& other) noexcept;

  private:
    struct node {
        item value;
        order::id next;
        order::id previous;
    };

    auto named(std::string_view name) const noexcept {
        return [this, name](order::id at) { return nodes_[at].value.name == name; };
    }

    std::vector<node> nodes_;  // in order of insertion; order_ links them
    order order_;
};

}  // namespace vorn::zela
