// The least that a serializer can carry, for the tests of its kinds.
#pragma once

#include "lxccctserializer.h"

#include <gtest/gtest.h>

namespace LxCV::TestSupport {

/// What `WriteOneKey` writes with comments.
inline constexpr const char* c_sSectionText =
    "\n\n#----------------------------------\n::A\n\n# c\nk=0.50000000000000000000\n";

inline void WriteOneKey(LxCCCTSerializer& serializer)
{
    EXPECT_TRUE(serializer.IsStoring());
    serializer.WriteSection("::A");
    EXPECT_TRUE(serializer.Write<double>("k", 0.5, "c", c_iFormatDecimal));
}

inline void ExpectOneKey(LxCCCTSerializer& serializer)
{
    EXPECT_FALSE(serializer.IsStoring());
    EXPECT_TRUE(serializer.FindExtractSection("::A"));
    double value = 0.0;
    EXPECT_TRUE(serializer.Read<double>(serializer.GetSectionData(), "k", value, 1.0));
    EXPECT_EQ(value, 0.5);
}

} // namespace LxCV::TestSupport
