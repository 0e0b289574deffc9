#include "OnfResultRequestFile.h"

#include <gtest/gtest.h>

TEST(ResultRequestFile, ConstructsEmpty) {
    OnfResultRequestFile file(L"unused.onf");
    EXPECT_TRUE(file.IsEmpty());
}
