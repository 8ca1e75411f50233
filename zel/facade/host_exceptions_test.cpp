#include "zel/facade/host_exceptions.hpp"

#include <gtest/gtest.h>

#include <string>

namespace System {
namespace {

// The one string lands in the message for some types and in the parameter
// name for others, as the runtime's one-string constructors place it.
TEST(HostExceptionsTest, OneStringConstructorsPlaceTheTextAsTheRuntimeDoes) {
    struct row {
        const Exception& thrown;
        const char* type_name;
        std::u16string message;
        std::string what;
    };
    const ArgumentNullException null_argument(u"hint is empty or null.");
    const ArgumentOutOfRangeException out_of_range(u"Size of string exceeds INT_MAX.");
    const ArgumentException argument(u"size should be above zero.");
    const InvalidOperationException invalid(u"Add binary data failed.");
    const InsufficientMemoryException memory;
    const row rows[] = {
        {null_argument, "System.ArgumentNullException",
         u"Value cannot be null.\nParameter name: hint is empty or null.",
         "Value cannot be null.\nParameter name: hint is empty or null."},
        {out_of_range, "System.ArgumentOutOfRangeException",
         u"Specified argument was out of the range of valid values.\nParameter name: Size of "
         u"string exceeds INT_MAX.",
         "Specified argument was out of the range of valid values.\nParameter name: Size of "
         "string exceeds INT_MAX."},
        {argument, "System.ArgumentException", u"size should be above zero.",
         "size should be above zero."},
        {invalid, "System.InvalidOperationException", u"Add binary data failed.",
         "Add binary data failed."},
        {memory, "System.InsufficientMemoryException",
         u"Insufficient memory to continue the execution of the program.",
         "Insufficient memory to continue the execution of the program."},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.type_name);
        EXPECT_STREQ(r.thrown.type_name(), r.type_name);
        EXPECT_EQ(r.thrown.Message(), r.message);
        EXPECT_STREQ(r.thrown.what(), r.what.c_str());
    }
    EXPECT_EQ(null_argument.ParamName(), String(u"hint is empty or null."));
    EXPECT_EQ(null_argument.text(), String(u"hint is empty or null."));
    EXPECT_TRUE(argument.ParamName().is_null());
    EXPECT_EQ(argument.text(), String(u"size should be above zero."));
}

TEST(HostExceptionsTest, FamilyFollowsTheRuntime) {
    EXPECT_THROW(throw ArgumentNullException(u"x"), ArgumentException);
    EXPECT_THROW(throw ArgumentOutOfRangeException(u"x"), ArgumentException);
    EXPECT_THROW(throw InsufficientMemoryException(), OutOfMemoryException);
    EXPECT_THROW(throw InvalidOperationException(u"x"), std::exception);
}

TEST(HostStringTest, NullAndEmptyAreDifferentValues) {
    const String null_text;
    const String from_null_pointer(static_cast<const char16_t*>(nullptr));
    const String empty(u"");
    EXPECT_TRUE(null_text.is_null());
    EXPECT_TRUE(from_null_pointer.is_null());
    EXPECT_FALSE(empty.is_null());
    EXPECT_NE(null_text, empty);
    EXPECT_TRUE(String::IsNullOrEmpty(null_text));
    EXPECT_TRUE(String::IsNullOrEmpty(empty));
    EXPECT_FALSE(String::IsNullOrEmpty(String(u"a")));
}

}  // namespace
}  // namespace System
