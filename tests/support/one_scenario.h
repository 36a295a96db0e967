// OneScenarioPerProcess: base of every fixture that touches process-wide state.
//
// The bridge is a singleton and each rate-limited log site counts for the whole process, so a
// scenario needs a process of its own. ctest gives it one; a program started by hand with more than
// one such case fails at the second instead of passing or failing by accident.
#pragma once

#include <gtest/gtest.h>

class OneScenarioPerProcess : public ::testing::Test {
 protected:
  void SetUp() override {
    static int scenarios = 0;
    ASSERT_EQ(++scenarios, 1) << "a second scenario in one process: run the tests with ctest, or "
                                 "one by --gtest_filter";
  }
};
