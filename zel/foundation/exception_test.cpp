#include "zel/foundation/exception.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace vorn {
namespace {

const std::string tail = " from context of\n(backtrace support was disabled)";

TEST(ExceptionTest, EachLayerPutsItsWordsInFrontOfTheMessage) {
    struct row {
        vorn_exception error;
        std::string message;
    };
    const row rows[] = {
        {vorn_exception("x"), "x"},
        {zel::zel_exception("x"), "zel exception: x"},
        {zel::zel_validation_exception("x"), "zel exception: failed validation: x"},
        {zela::zel_archive_exception("x"), "zel_archive exception: x"},
        {system::mmap::mmap_error("x"), "x"},
        {vorn_exception(""), ""},
    };
    for (const row& r : rows) {
        EXPECT_EQ(r.error.message(), r.message);
        EXPECT_EQ(r.error.context(), "(backtrace support was disabled)");
        EXPECT_EQ(std::string(r.error.what()), r.message + tail);
    }
}

TEST(ExceptionTest, ZlibErrorCarriesItsMessageAlone) {
    const zlib_runtime_exception error("unknown zlib stream error during inflate");
    EXPECT_STREQ(error.what(), "unknown zlib stream error during inflate");
    EXPECT_EQ(error.message(), "unknown zlib stream error during inflate");
    EXPECT_EQ(error.context(), "");
}

TEST(ExceptionTest, CopiesKeepTextAndBoundaries) {
    const zel::zel_validation_exception original("x");
    const zel::zel_validation_exception copy = original;
    EXPECT_STREQ(copy.what(), original.what());
    EXPECT_EQ(copy.message(), "zel exception: failed validation: x");
    EXPECT_EQ(copy.context(), "(backtrace support was disabled)");
}

TEST(ExceptionTest, CatchFollowsTheClassTree) {
    auto caught_as_zel = [](auto error) {
        try {
            throw error;
        } catch (const zel::zel_exception&) {
            return true;
        } catch (const vorn_exception&) {
            return false;
        }
    };
    EXPECT_TRUE(caught_as_zel(zel::zel_validation_exception("x")));
    EXPECT_TRUE(caught_as_zel(zel::zel_exception("x")));
    EXPECT_FALSE(caught_as_zel(zela::zel_archive_exception("x")));
    EXPECT_FALSE(caught_as_zel(system::mmap::mmap_error("x")));
    EXPECT_FALSE(caught_as_zel(zlib_runtime_exception("x")));
    EXPECT_FALSE(caught_as_zel(vorn_exception("x")));
}

TEST(ExceptionTest, MmapErrorAppendsTheSystemText) {
    const system::mmap::mmap_error known(ENOENT, "Could not create mapped region");
    EXPECT_EQ(known.error_code(), std::uint32_t(ENOENT));
    EXPECT_EQ(known.message(),
              std::string("Could not create mapped region: ") + std::strerror(ENOENT));
    EXPECT_NE(known.message().back(), '\n');

    const system::mmap::mmap_error unknown(4000000000u, "Could not create file mapping");
    EXPECT_EQ(unknown.message(), "Could not create file mapping: Unknown error 4000000000");
    EXPECT_EQ(system::mmap::system_error_text(123456), "Unknown error 123456");

    EXPECT_EQ(system::mmap::mmap_error("plain").error_code(), 0u);
}

}  // namespace
}  // namespace vorn
