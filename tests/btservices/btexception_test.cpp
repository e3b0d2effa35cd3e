#include "orx/btservices/btexception.h"

#include <gtest/gtest.h>

namespace {

TEST(BtException, GivesItsTextWideAndInUtf8)
{
    const BtException exception(L"no caf\u00E9");
    EXPECT_EQ(exception.GetText(), L"no caf\u00E9");
    EXPECT_STREQ(exception.what(), "no caf\xC3\xA9");
}

TEST(BtException, IsCaughtAsAStandardException)
{
    try {
        throw BtException(L"text");
    } catch (const std::exception& exception) {
        EXPECT_STREQ(exception.what(), "text");
    }
}

} // namespace
