// Independent per-member work (compressing tiles, inflating archive members) spread over a
// few threads, with every visible effect kept in the order of the plain sequential loop:
// work(i) may run on any thread and in any order, commit(i, result) runs on the calling
// thread for i = 0, 1, 2, ... one after another. Files a tool writes and boxes it shows in
// commit therefore come out exactly as without threads.
#pragma once

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace vellmark {

// Worker threads the tools use by default: one per core, at most 8.
inline unsigned defaultThreadCount() {
  const unsigned cores = std::thread::hardware_concurrency();
  return cores == 0 ? 1u : std::min(cores, 8u);
}

// Runs work(i) for every i below `count` and commit(i, std::move(result)) in increasing i on
// the calling thread. With `threads` <= 1 it is the plain loop commit(i, work(i)) with no
// thread started. Otherwise `threads` - 1 workers and the calling thread (between commits)
// run the work, at most `window` items ahead of the last commit (8 x `threads` when 0), which
// bounds the memory held by finished, uncommitted results. An exception from work(i) is rethrown when
// item i would have been committed (later items' work may have run, their commits do
// not); an exception from commit stops the workers and leaves.
template <class Work, class Commit>
void runOrdered(std::size_t count, unsigned threads, Work&& work, Commit&& commit, std::size_t window = 0) {
  using Result = decltype(work(std::size_t{}));
  if (threads <= 1 || count <= 1) {
    for (std::size_t i = 0; i < count; ++i) commit(i, work(i));
    return;
  }

  struct Slot {
    std::optional<Result> result;
    std::exception_ptr error;
    bool done = false;
  };
  std::vector<Slot> slots(count);
  std::mutex mutex;
  std::condition_variable changed;
  std::size_t next = 0;       // next item a worker takes
  std::size_t committed = 0;  // items committed so far
  bool stop = false;
  if (window == 0) window = std::size_t{threads} * 8;

  // Takes the next item if the window allows; call with the lock held.
  auto claim = [&](std::size_t& i) {
    if (stop || next >= count || next >= committed + window) return false;
    i = next++;
    return true;
  };
  auto run = [&](std::size_t i) {
    Slot slot;
    try {
      slot.result.emplace(work(i));
    } catch (...) {
      slot.error = std::current_exception();
    }
    {
      std::lock_guard lock(mutex);
      slots[i] = std::move(slot);
      slots[i].done = true;
    }
    changed.notify_all();
  };
  auto worker = [&] {
    for (;;) {
      std::size_t i;
      {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return stop || next >= count || next < committed + window; });
        if (!claim(i)) return;
      }
      run(i);
    }
  };

  // Declared after everything the workers use, so that it stops and joins them first.
  struct Pool {
    std::vector<std::thread> threads;
    std::mutex& mutex;
    std::condition_variable& changed;
    bool& stop;
    ~Pool() {
      {
        std::lock_guard lock(mutex);
        stop = true;
      }
      changed.notify_all();
      for (auto& t : threads) t.join();
    }
  } pool{{}, mutex, changed, stop};
  const std::size_t workers = std::min<std::size_t>(threads, count) - 1;
  for (std::size_t t = 0; t < workers; ++t) pool.threads.emplace_back(worker);

  for (std::size_t i = 0; i < count; ++i) {
    Slot slot;
    {
      std::unique_lock lock(mutex);
      // While item i is not done, the calling thread works on the next free item itself.
      for (std::size_t j; !slots[i].done;) {
        if (claim(j)) {
          lock.unlock();
          run(j);
          lock.lock();
        } else {
          changed.wait(lock, [&] { return slots[i].done || (next < count && next < committed + window); });
        }
      }
      slot = std::move(slots[i]);
      committed = i + 1;
    }
    changed.notify_all();
    if (slot.error) std::rethrow_exception(slot.error);
    commit(i, std::move(*slot.result));
  }
}

}  // namespace vellmark
