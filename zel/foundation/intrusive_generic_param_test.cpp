#include "zel/foundation/intrusive_generic_param.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "zel/testing/atom_texts_test.hpp"

namespace vorn {
namespace {

using testing::texts_of;

TEST(IntrusiveGenericParamTest, InternsValueTypeUnitTagInThatOrder) {
    generic_param source(2.5);
    source.set_unit("m");
    source.set_tag("t");
    atom_table table;
    const intrusive_generic_param param(source, table);
    EXPECT_EQ(texts_of(table), (std::vector<std::string>{"2.5", "double", "m", "t"}));
    EXPECT_EQ(param.value().index, 0u);
    EXPECT_EQ(param.type().index, 1u);
    EXPECT_EQ(param.unit().index, 2u);
    EXPECT_EQ(param.tag().index, 3u);
}

TEST(IntrusiveGenericParamTest, EmptyUnitAndTagStayUnset) {
    atom_table table;
    const intrusive_generic_param param(generic_param(7), table);
    EXPECT_EQ(table.size(), 2u);
    EXPECT_EQ(param.unit().data, nullptr);
    EXPECT_EQ(param.unit().index, intrusive_string::no_index);
    EXPECT_EQ(param.tag().index, intrusive_string::no_index);

    const intrusive_generic_param empty(generic_param(), table);
    EXPECT_EQ(table.size(), 2u);
    EXPECT_EQ(empty.value().index, intrusive_string::no_index);
}

TEST(IntrusiveGenericParamTest, SameNumberingTakesTheAtomsOfEqualIndex) {
    atom_table first;
    generic_param source(std::string("v"));
    source.set_tag("tag");
    const intrusive_generic_param original(source, first);

    atom_table second;
    for (const intrusive_string& atom : first) {
        second.append(atom.data, atom.size);
    }
    const intrusive_generic_param copy(original, second, true);
    EXPECT_EQ(copy.value().data, second.at(0).data);
    EXPECT_EQ(copy.type().data, second.at(1).data);
    EXPECT_EQ(copy.tag().data, second.at(2).data);
    EXPECT_EQ(copy.unit().size, 0u);
    EXPECT_EQ(copy.unit().index, intrusive_string::no_index);
}

TEST(IntrusiveGenericParamTest, CopyByContentInternsIntoTheNewTable) {
    atom_table first;
    generic_param source(std::string("v"));
    source.set_unit("u");
    const intrusive_generic_param original(source, first);

    atom_table second;
    second.intern(intrusive_string("u"));
    const intrusive_generic_param copy(original, second, false);
    EXPECT_EQ(texts_of(second), (std::vector<std::string>{"u", "v", "string"}));
    EXPECT_EQ(copy.unit().index, 0u);
    EXPECT_EQ(copy.value().index, 1u);
    EXPECT_EQ(copy.type().index, 2u);
    EXPECT_EQ(copy.tag().index, intrusive_string::no_index);
}

}  // namespace
}  // namespace vorn
