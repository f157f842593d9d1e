// Work on many things at a time, whose results are taken one after the other, in order.
#pragma once
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

// take(work(i, memory)) for i from 0 to count - 1, or until take gives false. Up to `jobs` threads work, this one among
// them; where no more can be started, fewer. Each has a Memory of its own. Neither work nor take may throw.
template <class Result, class Memory, class Work, class Take>
void workInOrder(size_t count, size_t jobs, const Work& work, const Take& take) {
  struct Slot {
    Result result;
    bool done = false;
  };
  // Results that wait for an earlier one. Where there is no room for more, none is begun.
  std::vector<Slot> slots(16 * jobs);
  std::mutex mutex;
  std::condition_variable room;
  size_t begun = 0, taken = 0;
  const auto run = [&] {
    Memory memory = {};
    std::unique_lock lock(mutex);
    while (begun < count) {
      if (begun - taken == slots.size()) {
        room.wait(lock);
        continue;
      }
      const size_t i = begun++;
      lock.unlock();
      Result result = work(i, memory);
      lock.lock();
      slots[i % slots.size()] = {std::move(result), true};
      for (Slot* first; (first = &slots[taken % slots.size()])->done; ++taken) {
        first->done = false;
        if (!take(first->result)) count = begun;
      }
      room.notify_all();
    }
  };
  std::vector<std::thread> threads;
  threads.reserve(jobs);
  try {
    while (threads.size() + 1 < jobs) threads.emplace_back(run);
  } catch (const std::exception&) {  // those that are there will do
  }
  run();
  for (std::thread& thread : threads) thread.join();
}
