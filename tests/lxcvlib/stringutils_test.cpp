#include "stringutils.h"

#include <gtest/gtest.h>

namespace LxCV {
namespace {

TEST(ReplaceAll, LeavesTheTextWhenBothPartsAreEqual)
{
    EXPECT_EQ(ReplaceAll(std::string("abc"), "b", "b"), "abc");
}

} // namespace
} // namespace LxCV
