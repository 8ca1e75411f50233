#include "zel/foundation/intrusive_string.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace vorn {
namespace {

TEST(IntrusiveStringTest, EqualByBytesWhereverTheyLive) {
    const std::string a = "parameter";
    const std::string b = "parameter";
    const intrusive_string ha(a);
    const intrusive_string hb(b.data(), 9, 17);
    EXPECT_NE(ha.data, hb.data);
    EXPECT_EQ(ha, hb);
    EXPECT_TRUE(std::equal_to<intrusive_string>()(ha, hb));
    EXPECT_EQ(hash<intrusive_string>()(ha), hash<intrusive_string>()(hb));
    EXPECT_EQ(hash<intrusive_string>()(ha), hash<std::string>()(a));

    EXPECT_NE(ha, intrusive_string(a.data(), 8));
    EXPECT_NE(intrusive_string("ab"), intrusive_string("ac"));
}

TEST(IntrusiveStringTest, UnsetHandleEqualsEveryEmptyText) {
    const intrusive_string unset;
    EXPECT_EQ(unset.data, nullptr);
    EXPECT_EQ(unset.size, 0u);
    EXPECT_EQ(unset.index, 0xFFFFFFFFu);
    EXPECT_FALSE(unset.is_atom());
    EXPECT_EQ(unset, intrusive_string(""));
    EXPECT_EQ(hash<intrusive_string>()(unset), 0xDEADBF10DEADBF10ull);
}

}  // namespace
}  // namespace vorn
