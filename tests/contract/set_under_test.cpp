#include "set_under_test.h"

#include <gtest/gtest.h>

namespace contract {

namespace {

std::unique_ptr<SetUnderTest> booted;

// One set for all cases of a program: a bench TV takes its time to boot.
class WithASet : public ::testing::Environment {
 public:
  void SetUp() override { booted = bootSet(); }
  void TearDown() override { booted.reset(); }
};

const auto* const environment = ::testing::AddGlobalTestEnvironment(new WithASet);

}  // namespace

SetUnderTest& theSet() { return *booted; }

}  // namespace contract
