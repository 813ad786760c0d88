#include "base/ordered_parallel.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>

using namespace vellmark;

// Commits come in order whatever the threads do, and a failing item stops the run at its
// place: everything before it is committed, nothing after it.
TEST(OrderedParallel, CommitsInOrderAndStopsAtAFailure) {
  for (unsigned threads : {1u, 2u, 5u}) {
    std::vector<std::size_t> committed;
    std::atomic<int> running{0}, most{0};
    auto work = [&](std::size_t i) {
      const int now = ++running;
      for (int seen = most.load(); now > seen && !most.compare_exchange_weak(seen, now);) {
      }
      std::this_thread::sleep_for(std::chrono::microseconds((i * 7919) % 300));
      --running;
      if (i == 70) throw std::runtime_error("item 70");
      return i * i;
    };
    auto commit = [&](std::size_t i, std::size_t square) {
      EXPECT_EQ(square, i * i);
      committed.push_back(i);
    };
    EXPECT_THROW(runOrdered(200, threads, work, commit), std::runtime_error) << threads;
    ASSERT_EQ(committed.size(), 70u) << threads;
    for (std::size_t i = 0; i < 70; ++i) EXPECT_EQ(committed[i], i);
    EXPECT_LE(most.load(), static_cast<int>(threads));
    if (threads > 1) {
      EXPECT_GT(most.load(), 1) << "no two items ever ran at once";
    }
  }
}
