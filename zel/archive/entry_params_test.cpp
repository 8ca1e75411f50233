#include "zel/archive/entry_params.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vorn::zela {
namespace {

generic_param value(const std::string& text) {
    generic_param p;
    p.create(text, "string");
    return p;
}

// The list as "name=value" texts, in list order.
std::vector<std::string> listed(const entry_params& params) {
    std::vector<std::string> texts;
    for (const auto& item : params) {
        texts.push_back(item.name + "=" + item.param.value);
    }
    return texts;
}

// Each name's items lie together, in the order they came, and the names in
// the order of their first item; the same whether the list is short enough
// to be searched or long enough to keep an index, and across the change.
TEST(EntryParamsTest, EqualNamesLieTogetherInTheOrderTheyCame) {
    for (const std::size_t count : {5u, 16u, 17u, 40u}) {
        SCOPED_TRACE(count);
        entry_params params;
        std::vector<std::string> expected[3];
        const char* const names[] = {"a", "b", "c"};
        for (std::size_t i = 0; i < count; ++i) {
            // a, b, a, c, a, b, a, c, ...: every name comes back after others.
            const std::size_t which = i % 2 == 0 ? 0 : (i % 4 == 1 ? 1 : 2);
            params.add(names[which], value(std::to_string(i)));
            expected[which].push_back(std::string(names[which]) + "=" + std::to_string(i));
        }
        std::vector<std::string> all;
        for (const auto& run : expected) {
            all.insert(all.end(), run.begin(), run.end());
        }
        EXPECT_EQ(listed(params), all);
        EXPECT_EQ(params.size(), count);
        EXPECT_EQ(params.find("a")->value, "0");
        EXPECT_EQ(params.find("c")->value, "3");
        EXPECT_EQ(params.find("d"), nullptr);
        const auto b = params.equal_range("b");
        std::vector<std::string> bs;
        for (auto it = b.first; it != b.second; ++it) {
            bs.push_back(it->name + "=" + it->param.value);
        }
        EXPECT_EQ(bs, expected[1]);
        const auto none = params.equal_range("d");
        EXPECT_EQ(none.first, none.second);
    }
}

TEST(EntryParamsTest, SwapExchangesWholeLists) {
    entry_params small;
    small.add("x", value("1"));
    entry_params large;
    for (int i = 0; i < 20; ++i) {
        large.add(i % 2 ? "p" : "q", value(std::to_string(i)));
    }
    small.swap(large);
    EXPECT_EQ(large.size(), 1u);
    EXPECT_EQ(listed(large), std::vector<std::string>{"x=1"});
    EXPECT_EQ(small.size(), 20u);
    small.add("x", value("new"));
    large.add("q", value("new"));
    EXPECT_EQ(listed(small).back(), "x=new");
    EXPECT_EQ(listed(large), (std::vector<std::string>{"x=1", "q=new"}));
    EXPECT_EQ(small.find("q")->value, "0");

    entry_params empty;
    EXPECT_TRUE(empty.empty());
    EXPECT_EQ(empty.begin(), empty.end());
}

}  // namespace
}  // namespace vorn::zela
