// Threads on the agent's own stacks: each body runs once, ended threads' stacks
// are unmapped as later threads end, and a thread that cannot start never runs
// its body, which is destroyed.
#include "platform/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>

#include "support/gateway.h"
#include "support/sandbox.h"

namespace pemo {
namespace {

TEST(Threads, BodiesRunOnceAndEndedStacksAreUnmapped) {
  std::atomic<int> ran = 0;
  // A first thread: its stack stays mapped as the last ended one, and a
  // sanitizer's own helper thread has started by then.
  ASSERT_EQ(spawn_detached([&ran] { ++ran; }), 0);
  ASSERT_TRUE(test::eventually([&] { return ran == 1; }));
  const long before = test::guard_pages();
  for (int k = 0; k < 50; ++k) ASSERT_EQ(spawn_detached([&ran] { ++ran; }), 0);
  // The last thread to end keeps its stack; the others are gone.
  EXPECT_TRUE(test::eventually([&] { return ran == 51 && test::guard_pages() <= before; }))
      << ran << " bodies ran; " << before << " stacks before, " << test::guard_pages() << " after";
  EXPECT_EQ(ran, 51);
}

TEST(Threads, AThreadThatCannotStartDestroysItsBodyUnrun) {
  std::atomic<int> ran = 0;
  auto owned = std::make_shared<int>(0);
  const auto start = [&](std::size_t stack_size) { return spawn_detached([&ran, owned] { ++ran; }, stack_size); };
  // No mapping that large; a stack below the threads' minimum (plain builds: the
  // sanitizers' allowance makes any size large enough there), unmapped again.
  const long stacks = test::guard_pages();
  EXPECT_NE(start(std::size_t{1} << 60), 0);
  EXPECT_EQ(start(1) != 0, !test::kSanitizedBuild);
  if (!test::kSanitizedBuild) {  // there a thread started, with a sanitizer's helper beside it
    EXPECT_EQ(test::guard_pages(), stacks);
  }
  EXPECT_TRUE(test::eventually([&] { return owned.use_count() == 1; }));
  EXPECT_EQ(ran, test::kSanitizedBuild ? 1 : 0);
}

}  // namespace
}  // namespace pemo
