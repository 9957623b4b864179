// Work shared by two threads in one exchange: the deciding thread decides once what the working
// thread is to do (a plan, or nothing), the working thread waits for that decision, does the work
// and posts its result, and the deciding thread takes the result when it needs it.
#ifndef FUSEKIT_SUPPORT_UTIL_HAND_OFF_H
#define FUSEKIT_SUPPORT_UTIL_HAND_OFF_H

#include <condition_variable>
#include <mutex>
#include <optional>
#include <utility>

namespace fusekit::util {

template <class Plan, class Result>
class HandOff {
 public:
  HandOff() = default;
  HandOff(const HandOff&) = delete;
  HandOff& operator=(const HandOff&) = delete;

  // The deciding thread's side.
  //
  // The first call decides: the plan, or none. Later calls change nothing.
  void Decide(std::optional<Plan> plan) {
    if (decided_) return;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      plan_ = std::move(plan);
      decided_ = true;
    }
    changed_.notify_all();
  }
  bool Decided() const { return decided_; }
  // The plan decided; none before the decision or when decided so.
  const std::optional<Plan>& DecidedPlan() const { return plan_; }
  // Waits for the working thread's result; to be called once, and only after a plan was decided.
  Result Take() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return posted_; });
    return std::move(result_);
  }

  // The working thread's side.
  //
  // Waits for the decision: the plan, or none.
  std::optional<Plan> Await() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return decided_; });
    return plan_;
  }
  // Hands the result over; once, for a plan.
  void Post(Result result) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      result_ = std::move(result);
      posted_ = true;
    }
    changed_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  // Written by the deciding thread only, under the lock; read without it by that thread.
  bool decided_ = false;
  std::optional<Plan> plan_;
  bool posted_ = false;
  Result result_{};
};

}  // namespace fusekit::util

#endif  // FUSEKIT_SUPPORT_UTIL_HAND_OFF_H
