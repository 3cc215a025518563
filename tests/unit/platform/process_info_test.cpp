#include "platform/process_info.h"

#include <gtest/gtest.h>

#include "support.h"

namespace passbridge::platform {
namespace {

using testing::ChildProcess;

TEST(ProcessInfo, TellsProcessesApartByTheirCreation) {
  const auto own = ProcessCreationTime(CurrentProcessId());
  ASSERT_TRUE(own);
  EXPECT_EQ(own, ProcessCreationTime(CurrentProcessId()));
  const ChildProcess child;
  const auto later = ProcessCreationTime(child.Id());
  ASSERT_TRUE(later);
  EXPECT_GE(*later, *own);
  EXPECT_NE(child.Id(), CurrentProcessId());
}

TEST(ProcessInfo, KnowsWhatRuns) {
  EXPECT_TRUE(ProcessExists(CurrentProcessId()));
  ChildProcess child;
  EXPECT_TRUE(ProcessExists(child.Id()));
  child.Kill();
  EXPECT_FALSE(ProcessExists(child.Id()));
  EXPECT_FALSE(ProcessExists(0xFFFFFFF0));
  EXPECT_FALSE(ProcessCreationTime(0xFFFFFFF0));
}

}  // namespace
}  // namespace passbridge::platform
