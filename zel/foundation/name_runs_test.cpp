#include "zel/foundation/name_runs.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace vorn {
namespace {

struct node {
    std::string name;
    std::uint32_t next;
    std::uint32_t previous;
};

// The items of a list of names, in room enough that the texts never move,
// as a string_view index needs.
template <class runs_type>
class named_list {
  public:
    named_list() { nodes_.reserve(64); }

    void add(const std::string& name) {
        nodes_.push_back({name, runs_type::none, runs_type::none});
        const std::string_view text = nodes_.back().name;
        runs_.enter(nodes_, text, is_named(text),
                    [this](std::uint32_t at) -> std::string_view { return nodes_[at].name; });
    }
    void remove_if(std::string_view name, bool (*drop)(std::uint32_t)) {
        runs_.remove_if(nodes_, name, is_named(name), drop);
    }
    typename runs_type::run find(std::string_view name) const {
        return runs_.find(nodes_, name, is_named(name));
    }
    std::vector<std::uint32_t> order() const {
        std::vector<std::uint32_t> numbers;
        for (auto at = runs_.first(); at != runs_type::none; at = nodes_[at].next) {
            numbers.push_back(at);
        }
        return numbers;
    }
    std::size_t live() const { return runs_.live(); }

  private:
    auto is_named(std::string_view name) const {
        return [this, name](std::uint32_t at) { return nodes_[at].name == name; };
    }

    std::vector<node> nodes_;
    runs_type runs_;
};

// Each name's items in the order they came, the names in the order of their
// first item.
std::vector<std::uint32_t> model_order(const std::vector<std::string>& names) {
    std::vector<std::string> firsts;
    for (const std::string& name : names) {
        if (std::find(firsts.begin(), firsts.end(), name) == firsts.end()) {
            firsts.push_back(name);
        }
    }
    std::vector<std::uint32_t> order;
    for (const std::string& first : firsts) {
        for (std::uint32_t at = 0; at < names.size(); ++at) {
            if (names[at] == first) {
                order.push_back(at);
            }
        }
    }
    return order;
}

// The same names through the index (past 2 items) and through the scan
// alone give the order of the model.
TEST(NameRunsTest, ScanAndIndexGiveTheOrderOfRuns) {
    const std::vector<std::vector<std::string>> inputs = {
        {},
        {"a"},
        {"a", "b", "a", "c", "b", "a"},
        {"", "x", "", "x", ""},
        {"p", "q", "r", "s", "t", "p", "u", "q", "", "p", "", "t"},
    };
    for (const auto& names : inputs) {
        named_list<name_runs<std::string_view, 2>> indexed;
        named_list<name_runs<std::string, 1000>> scanned;
        for (const std::string& name : names) {
            indexed.add(name);
            scanned.add(name);
        }
        EXPECT_EQ(indexed.order(), model_order(names));
        EXPECT_EQ(scanned.order(), model_order(names));
        EXPECT_EQ(indexed.live(), names.size());
    }
}

// Takes the last two of three "a" items out of a b a a c, then adds one
// more "a": it goes behind the one that is left of its run.
template <class runs_type>
void remove_and_add() {
    named_list<runs_type> list;
    for (const char* name : {"a", "b", "a", "a", "c"}) {
        list.add(name);
    }
    list.remove_if("a", [](std::uint32_t at) { return at >= 2; });
    list.add("a");
    EXPECT_EQ(list.order(), (std::vector<std::uint32_t>{0, 5, 1, 4}));
    EXPECT_EQ(list.live(), 4u);
    EXPECT_EQ(list.find("a").tail, 5u);
}

TEST(NameRunsTest, RemovedItemsLeaveTheirRunAndLaterItemsFollowTheRest) {
    remove_and_add<name_runs<std::string_view, 2>>();
    remove_and_add<name_runs<std::string_view, 1000>>();
}

}  // namespace
}  // namespace vorn
