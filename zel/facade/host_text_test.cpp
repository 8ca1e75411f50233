#include "zel/facade/host_text.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <string>
#include <thread>

#include "zel/facade/internal/code_page.hpp"
#include "zel/testing/host_test.hpp"

namespace Tessaly::Corvane::DB::ZEL {
namespace {

using vorn::testing::host_failure_of;
using vorn::testing::thread_locale;

constexpr std::size_t no_limit = static_cast<std::size_t>(-1);
constexpr const char* ascii = "ANSI_X3.4-1968";
constexpr const char* latin1 = "ISO-8859-1";

TEST(HostTextTest, NarrowsWithTheDefaultCharacterAndNoBestFit) {
    struct row {
        const char* charset;
        std::u16string text;
        std::string narrow;
    };
    const row rows[] = {
        {"UTF-8", u"caf\u00e9", "caf\xc3\xa9"},
        {"UTF-8", u"\U0001F600", "\xf0\x9f\x98\x80"},
        {"UTF-8", u"a\xd800z", "a?z"},  // unpaired surrogates
        {"UTF-8", u"a\xdc00", "a?"},
        {"UTF-8", u"", ""},
        {ascii, u"caf\u00e9", "caf?"},  // no best fit: not "cafe"
        {ascii, u"\u00e9t\u00e9", "?t?"},
        {latin1, u"caf\u00e9", "caf\xe9"},
        {latin1, u"5\u20ac", "5?"},
        {latin1, u"\U0001F600!", "?!"},
        {latin1, u"a\xd800", "a?"},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(std::string(r.charset) + " " + r.narrow);
        EXPECT_EQ(code_page::narrow(r.text, r.charset, no_limit), r.narrow);
    }
}

TEST(HostTextTest, WidensWithTheReplacementCharacter) {
    struct row {
        const char* charset;
        std::string narrow;
        std::u16string text;
    };
    const row rows[] = {
        {"UTF-8", "caf\xc3\xa9", u"caf\u00e9"},
        {"UTF-8", "\xf0\x9f\x98\x80", u"\U0001F600"},
        {"UTF-8", "a\xffz", u"a\ufffdz"},
        {"UTF-8", "a\xc3", u"a\ufffd"},                    // cut off
        {"UTF-8", "\xc0\xaf", u"\ufffd\ufffd"},            // overlong
        {"UTF-8", "\xed\xa0\x80", u"\ufffd\ufffd\ufffd"},  // a surrogate
        {latin1, "caf\xe9", u"caf\u00e9"},
        {ascii, "caf\xe9", u"caf\ufffd"},
        {ascii, "", u""},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(std::string(r.charset) + " " + r.narrow);
        EXPECT_EQ(code_page::widen(r.narrow, r.charset, no_limit), r.text);
    }
}

TEST(HostTextTest, FailuresCarryTheirTexts) {
    const std::string too_long =
        "System.ArgumentOutOfRangeException: Size of string exceeds INT_MAX.";
    struct row {
        std::function<void()> call;
        std::string thrown;
    };
    const row rows[] = {
        {[] { code_page::narrow(u"x", "NO-SUCH-CHARSET", no_limit); },
         "System.ArgumentException: Conversion from WideChar to MultiByte failed.  Please check "
         "the content of the string and/or locale settings."},
        {[] { code_page::widen("x", "NO-SUCH-CHARSET", no_limit); },
         "System.ArgumentException: Conversion from MultiByte to WideChar failed.  Please check "
         "the content of the string and/or locale settings."},
        {[] { code_page::narrow(u"abc", "UTF-8", 3); }, "nothing thrown"},
        {[] { code_page::narrow(u"abcd", "UTF-8", 3); }, too_long},
        {[] { code_page::narrow(u"ab\u00e9", "UTF-8", 3); }, too_long},
        {[] { code_page::narrow(u"ab\u00e9", latin1, 3); }, "nothing thrown"},
        {[] { code_page::narrow(u"abcd", latin1, 3); }, too_long},
        {[] { code_page::widen("abc", "UTF-8", 3); }, "nothing thrown"},
        {[] { code_page::widen("\xf0\x9f\x98\x80!", "UTF-8", 3); }, "nothing thrown"},
        {[] { code_page::widen("abcd", latin1, 3); }, too_long},
        {[] { to_narrow(System::String()); },
         "System.ArgumentNullException: NULLPTR is not supported for this conversion."},
        {[] { to_wide(System::String()); },
         "System.ArgumentNullException: NULLPTR is not supported for this conversion."},
        {[] { to_narrow(System::String(u"")); }, "nothing thrown"},
    };
    for (const row& r : rows) {
        EXPECT_EQ(host_failure_of(r.call), r.thrown);
    }
}

TEST(HostTextTest, CodePageIsTheCallingThreadsLocale) {
    const thread_locale utf8("C.UTF-8");
    ASSERT_TRUE(utf8.available());
    EXPECT_EQ(to_narrow(u"caf\u00e9"), "caf\xc3\xa9");
    EXPECT_EQ(to_host("caf\xc3\xa9"), System::String(u"caf\u00e9"));
    std::string other_thread;
    std::thread([&] {
        const thread_locale c("C");
        other_thread = to_narrow(u"caf\u00e9");
    }).join();
    EXPECT_EQ(other_thread, "caf?");
    EXPECT_EQ(to_narrow(u"caf\u00e9"), "caf\xc3\xa9");
}

TEST(HostTextTest, PathsKeepTheirUnitsWithPairsJoined) {
    EXPECT_EQ(to_wide(u"d/caf\u00e9\U0001F600"), L"d/caf\u00e9\U0001F600");
    EXPECT_EQ(to_path(u"d/caf\u00e9").string(), "d/caf\xc3\xa9");
    // A path is no narrow text: the thread's code page plays no part.
    const thread_locale c("C");
    EXPECT_EQ(to_path(u"caf\u00e9").string(), "caf\xc3\xa9");
    EXPECT_EQ(to_path(u"a\xd800").string(), "a?");
}

TEST(HostTextTest, Utf8OfHostTextIgnoresTheLocale) {
    const thread_locale c("C");
    EXPECT_EQ(utf8_of(u"caf\u00e9"), "caf\xc3\xa9");
}

}  // namespace
}  // namespace Tessaly::Corvane::DB::ZEL
