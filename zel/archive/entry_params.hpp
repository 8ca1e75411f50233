// The parameters of one archive entry: named values, in one list.
//
// A name may occur more than once. A new item goes behind the last item of
// the same name, or at the end of the list if its name is new, so equal
// names lie next to each other and the list otherwise keeps the order of
// insertion. Items are added, never removed. The table of contents writes
// the items in list order.
//
// Adding costs constant time, whatever the names: the items are kept in the
// order they came, linked in list order, and the last item of each name is
// known. A short list finds it by looking back over the items; a long one,
// which a hostile table of contents can make, keeps an index by name.
#pragma once

#include <cstddef>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "zel/foundation/generic_param.hpp"

namespace vorn::zela {

class entry_params {
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
        const_iterator(const entry_params* owner, std::size_t at) : owner_(owner), at_(at) {}
        const entry_params* owner_ = nullptr;
        std::size_t at_ = none;
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

    const_iterator begin() const { return {this, head_}; }
    const_iterator end() const { return {this, none}; }
    std::size_t size() const { return nodes_.size(); }
    bool empty() const { return nodes_.empty(); }
    void swap(entry_params& other) noexcept;

  private:
    static constexpr std::size_t none = ~std::size_t{0};
    // Up to this many items, the last of a name is found by looking back.
    static constexpr std::size_t unindexed_size = 16;

    struct node {
        item value;
        std::size_t next;  // in list order; none at the end
    };
    // The first and the last item of one name, by position in nodes_.
    struct run {
        std::size_t first;
        std::size_t last;
    };
    // Looks names up as views, without making a string of each.
    struct name_hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view name) const noexcept {
            return std::hash<std::string_view>()(name);
        }
    };
    using name_index = std::unordered_map<std::string, run, name_hash, std::equal_to<>>;

    // The run of that name; first is none if there is no such item.
    run run_of(std::string_view name) const;
    void build_index();

    std::vector<node> nodes_;  // in order of insertion
    std::size_t head_ = none;
    std::size_t tail_ = none;
    std::unique_ptr<name_index> index_;  // only past unindexed_size items
};

}  // namespace vorn::zela
