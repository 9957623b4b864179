#include "support/util/side_task.h"

#include <system_error>
#include <utility>

namespace fusekit::util {

SideTask::SideTask(std::function<void()> task) {
  try {
    thread_ = std::thread(task);
  } catch (const std::system_error&) {
    task();  // no thread to be had: the work is done here, before the caller's
  }
}

SideTask::~SideTask() {
  Wait();
}

void SideTask::Wait() {
  if (thread_.joinable()) thread_.join();
}

}  // namespace fusekit::util
