// KvLog: a log file opened by name and mode.
#include <cstdarg>
#include <cstdio>

#include "fusekit/util.h"

KvLog::KvLog() : file_(nullptr) {}
KvLog::~KvLog() {
  Close();
}

bool KvLog::Open(const char* fileName, const char* mode) {
  Close();
  if (fileName == nullptr || fileName[0] == '\0' || mode == nullptr) return false;
  file_ = std::fopen(fileName, mode);
  return file_ != nullptr;
}

void KvLog::Close() {
  if (file_ != nullptr) std::fclose(file_);
  file_ = nullptr;
}

bool KvLog::IsOpen() const {
  return file_ != nullptr;
}

void KvLog::WriteMessage(const char* format, ...) {
  if (file_ == nullptr || format == nullptr) return;
  va_list args;
  va_start(args, format);
  std::vfprintf(file_, format, args);
  va_end(args);
  std::fflush(file_);
}
