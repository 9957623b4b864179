// The log file name: the one piece of configuration kept between calls.
#include <cstring>
#include <memory>
#include <new>

#include "core/log_name.h"
#include "fusekit/core.h"
#include "fusekit/util.h"

namespace {
// Heap copy of the name in force; absent means "".
std::unique_ptr<char[]> g_log_file_name;
}  // namespace

void SetLogFileName(const char* name) {
  g_log_file_name.reset();
  if (name == nullptr) return;
  const std::size_t size = std::strlen(name) + 1;
  char* copy = new (std::nothrow) char[size];
  if (copy == nullptr) return;  // out of memory: no name, logging goes nowhere
  util_strncpy(copy, name, size);
  g_log_file_name.reset(copy);
}

const char* GetLogFileName() {
  return g_log_file_name ? g_log_file_name.get() : "";
}

namespace fusekit::core {

void ConsumeLogFileName() {
  g_log_file_name.reset();
}

}  // namespace fusekit::core
