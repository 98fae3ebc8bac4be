// The verdicts are those of the plain tool.

#include <gtest/gtest.h>

#include <string>

#include "tests/spf_bulk/BulkDirectory.h"
#include "tests/spf_bulk/RandomPolicies.h"

namespace {

TEST(EqualityTest, RandomLinesGetTheVerdictsOfThePlainTool) {
  CompareWithTool(400, 2);
}

}  // namespace
