// The parameters of one archive entry: named values, in one list.
//
// A name may occur more than once. A new item goes behind the last item of
// the same name, or at the end of the list if its name is new, so equal
// names lie next to each other and the list otherwise keeps the order of
// insertion. Items are added, never removed. The table of contents writes
// the items in list order.
#pragma once

#include <string>
#include <string_view>
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
    using const_iterator = std::vector<item>::const_iterator;

    void add(std::string name, generic_param param);

    // The first item of that name, or null.
    const generic_param* find(std::string_view name) const;
    // The items of that name, next to each other.
    std::pair<const_iterator, const_iterator> equal_range(std::string_view name) const;

    const_iterator begin() const { return items_.begin(); }
    const_iterator end() const { return items_.end(); }
    std::size_t size() const { return items_.size(); }
    bool empty() const { return items_.empty(); }
    void swap(entry_params& other) noexcept { items_.swap(other.items_); }

  private:
    std::vector<item> items_;
};

}  // namespace vorn::zela
