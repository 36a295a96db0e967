// The process's one bridge: made once, whoever asks first.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <future>
#include <new>
#include <thread>
#include <vector>

#include "airplay_bridge.h"
#include "in_memory_tv.h"
#include "one_scenario.h"

namespace {

using namespace std::chrono_literals;
using norvale::AirPlayBridge;
using ::testing::IsEmpty;

constexpr auto kDeadline = 10s;

// Holds the maker of the bridge in the middle of its work: within the allocation of a bridge.
class Hold {
 public:
  Hold() { living = this; }
  ~Hold() { living = nullptr; }
  Hold(const Hold&) = delete;
  Hold& operator=(const Hold&) = delete;

  bool isReached() { return reached.get_future().wait_for(kDeadline) == std::future_status::ready; }
  void release() { released.set_value(); }

  static void onAllocation(std::size_t size) {
    Hold* hold = living;
    if (hold != nullptr && size == sizeof(AirPlayBridge) && !hold->isUsed.exchange(true)) {
      hold->reached.set_value();
      (void)hold->released.get_future().wait_for(kDeadline);
    }
  }

 private:
  static inline std::atomic<Hold*> living{nullptr};

  std::atomic<bool> isUsed{false};
  std::promise<void> reached;
  std::promise<void> released;
};

// Waits for |condition|; false when it does not come about in time.
template <class Condition>
bool comesAbout(Condition condition) {
  const auto deadline = std::chrono::steady_clock::now() + kDeadline;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) {
      return false;
    }
    std::this_thread::yield();
  }
  return true;
}

std::future<AirPlayBridge*> anotherThreadAsks() {
  return std::async(std::launch::async, [] { return AirPlayBridge::getInstance(); });
}

}  // namespace

void* operator new(std::size_t size) {
  Hold::onAllocation(size);
  if (void* memory = std::malloc(size)) {
    return memory;
  }
  throw std::bad_alloc();
}

// Inlined, these would look to the compiler as if free() met memory of another allocator.
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

class TheOneBridge : public OneScenarioPerProcess {
 protected:
  InMemoryTv tv;
};

TEST_F(TheOneBridge, IsTheSameEverAfter) {
  AirPlayBridge* const bridge = AirPlayBridge::getInstance();

  ASSERT_NE(bridge, nullptr);
  EXPECT_EQ(AirPlayBridge::getInstance(), bridge);
  EXPECT_EQ(anotherThreadAsks().get(), bridge);
}

TEST_F(TheOneBridge, IsMadeWithoutAWordAndWithoutAComponent) {
  (void)AirPlayBridge::getInstance();

  EXPECT_THAT(tv.take(), IsEmpty());
}

TEST_F(TheOneBridge, IsOneAlsoWhenManyThreadsAskAtOnce) {
  std::promise<void> gate;
  const std::shared_future<void> start = gate.get_future().share();
  std::vector<std::future<AirPlayBridge*>> asking;
  for (int i = 0; i < 8; ++i) {
    asking.push_back(std::async(std::launch::async, [start] {
      start.wait();
      return AirPlayBridge::getInstance();
    }));
  }

  gate.set_value();

  for (auto& each : asking) {
    EXPECT_EQ(each.get(), AirPlayBridge::getInstance());
  }
}

TEST_F(TheOneBridge, KeepsThoseWaitingWhoAskWhileItIsBeingMade) {
  Hold hold;
  std::future<AirPlayBridge*> maker = anotherThreadAsks();
  ASSERT_TRUE(hold.isReached());
  std::future<AirPlayBridge*> other = anotherThreadAsks();

  ASSERT_TRUE(comesAbout([&] { return !tv.takeOnly({"base.waitForInstance"}).empty(); }));
  EXPECT_EQ(other.wait_for(0s), std::future_status::timeout);
  EXPECT_EQ(maker.wait_for(0s), std::future_status::timeout);

  hold.release();
  EXPECT_EQ(other.get(), maker.get());
  EXPECT_EQ(AirPlayBridge::getInstance(), AirPlayBridge::getInstance());
}

}  // namespace
