#include "support/scratch_tokens.h"

#include <gtest/gtest.h>

int main(int argumentCount, char** arguments) {
    test_support::becomeUserWithRegistry();
    testing::InitGoogleTest(&argumentCount, arguments);
    return RUN_ALL_TESTS();
}
