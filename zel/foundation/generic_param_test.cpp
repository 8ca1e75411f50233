#include "zel/foundation/generic_param.hpp"

#include <gtest/gtest.h>

#include <string>

namespace vorn {
namespace {

TEST(GenericParamTest, StartsEmpty) {
    const generic_param param;
    EXPECT_EQ(param.value, "");
    EXPECT_EQ(param.unit, "");
    EXPECT_EQ(param.type, "");
    EXPECT_EQ(param.tag, "");
}

TEST(GenericParamTest, ScalarsTakeTheTypeWordOfTheirKind) {
    EXPECT_EQ(generic_param('A').value, "A");
    EXPECT_EQ(generic_param('A').type, "integer");
    EXPECT_EQ(generic_param('\0').value, std::string(1, '\0'));
    EXPECT_EQ(generic_param(static_cast<unsigned char>(66)).value, "B");
    EXPECT_EQ(generic_param(static_cast<short>(-3)).value, "-3");
    EXPECT_EQ(generic_param(42).type, "integer");
    EXPECT_EQ(generic_param(18446744073709551615ull).value, "18446744073709551615");
    EXPECT_EQ(generic_param(1.5f).value, "1.5");
    EXPECT_EQ(generic_param(1.5f).type, "double");
    EXPECT_EQ(generic_param(1.5).value, "1.5");
    EXPECT_EQ(generic_param(1.5).type, "double");
    EXPECT_EQ(generic_param(true).value, "true");
    EXPECT_EQ(generic_param(true).type, "boolean");
    EXPECT_EQ(generic_param(std::string("a b")).value, "a b");
    EXPECT_EQ(generic_param(std::string("a b")).type, "string");
}

TEST(GenericParamTest, ArraysJoinElementsAndCountThemInTheType) {
    const double one[] = {2.5};
    const generic_param single(one, 1);
    EXPECT_EQ(single.value, "2.5");
    EXPECT_EQ(single.type, "double1");

    const std::string strings[] = {"a", "b c", "d"};
    const generic_param words(strings, 3);
    EXPECT_EQ(words.value, "a b c d");
    EXPECT_EQ(words.type, "string3");

    const bool flags[] = {true, false};
    EXPECT_EQ(generic_param(flags, 2).value, "true false");
    EXPECT_EQ(generic_param(flags, 2).type, "boolean2");

    const int ten[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, -9};
    const generic_param numbers(ten, 10);
    EXPECT_EQ(numbers.value, "0 1 2 3 4 5 6 7 8 -9");
    EXPECT_EQ(numbers.type, "integer10");

    const char bytes[] = {'x', 'y'};
    EXPECT_EQ(generic_param(bytes, 2).value, "x y");
}

// An array of no elements has no last element to read: it raises, and a
// parameter it was generated into keeps what it held.
TEST(GenericParamTest, ArrayOfNoElementsRaises) {
    const int none[1] = {42};
    EXPECT_THROW(generic_param(none, 0), vorn_exception);
    const std::string no_strings[1] = {"x"};
    EXPECT_THROW(generic_param(no_strings, 0), vorn_exception);
    generic_param param(7);
    try {
        param.generate(none, 0);
        ADD_FAILURE() << "nothing thrown";
    } catch (const vorn_exception& e) {
        EXPECT_EQ(e.message(), "could not generate an array of no elements in generic_param");
    }
    EXPECT_EQ(param.value, "7");
    EXPECT_EQ(param.type, "integer");
}

TEST(GenericParamTest, GenerateAppendsExceptForScalarStrings) {
    generic_param param(std::string("old"));
    param.generate(7);
    EXPECT_EQ(param.value, "old7");
    EXPECT_EQ(param.type, "integer");

    const float pair[] = {1.0f, 0.5f};
    param.generate(pair, 2);
    EXPECT_EQ(param.value, "old71.0 0.5");
    EXPECT_EQ(param.type, "double2");

    param.generate(std::string("new"));
    EXPECT_EQ(param.value, "new");
    EXPECT_EQ(param.type, "string");

    param.generate(param.value);
    EXPECT_EQ(param.value, "new");
}

TEST(GenericParamTest, CreateAndSettersStoreTextsUnchecked) {
    generic_param param(3);
    param.create("#binaries/a.bin", "no such type");
    param.set_unit("m/s");
    param.set_tag("");
    EXPECT_EQ(param.value, "#binaries/a.bin");
    EXPECT_EQ(param.type, "no such type");
    EXPECT_EQ(param.unit, "m/s");
    EXPECT_EQ(param.tag, "");
}

}  // namespace
}  // namespace vorn
