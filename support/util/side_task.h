// A task run on a second thread while the caller goes on with its own work.
#ifndef FUSEKIT_SUPPORT_UTIL_SIDE_TASK_H
#define FUSEKIT_SUPPORT_UTIL_SIDE_TASK_H

#include <functional>
#include <thread>

namespace fusekit::util {

// Starts task on a thread of its own; where no thread can be started, the task runs at once
// on the caller's thread instead, so the outcome never depends on threads being available.
// Wait (or the destructor) returns once the task has finished. The task must not throw.
class SideTask {
 public:
  explicit SideTask(std::function<void()> task);
  SideTask(const SideTask&) = delete;
  SideTask& operator=(const SideTask&) = delete;
  ~SideTask();

  void Wait();

 private:
  std::thread thread_;
};

}  // namespace fusekit::util

#endif  // FUSEKIT_SUPPORT_UTIL_SIDE_TASK_H
