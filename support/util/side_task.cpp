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

SerialWorker::SerialWorker() {
  try {
    thread_ = std::thread([this] { Run(); });
  } catch (const std::system_error&) {
    // Jobs run on the caller's thread.
  }
}

SerialWorker::~SerialWorker() {
  if (!thread_.joinable()) return;
  {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return !job_; });
    stopping_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void SerialWorker::Post(std::function<void()> job) {
  if (!thread_.joinable()) {
    job();
    return;
  }
  {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return !job_; });
    job_ = std::move(job);
  }
  changed_.notify_all();
}

void SerialWorker::Wait() {
  if (!thread_.joinable()) return;
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [this] { return !job_; });
}

void SerialWorker::Run() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return stopping_ || job_; });
    if (!job_) return;  // stopping, with nothing left to do
    lock.unlock();
    job_();
    lock.lock();
    job_ = nullptr;
    changed_.notify_all();
  }
}

}  // namespace fusekit::util
