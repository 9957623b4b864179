// Reading and writing of row files.
#include "support/legacy_fusemap/row_file.h"

#include <cctype>
#include <charconv>
#include <cstdio>
#include <memory>

namespace fusekit::legacy {
namespace {

struct Closer {
  void operator()(std::FILE* f) const { std::fclose(f); }
};

// The next run of characters that are not blank; empty at the end of the file.
std::string NextToken(std::FILE* file) {
  int c;
  while ((c = std::getc(file)) != EOF && std::isspace(c)) {
  }
  std::string token;
  for (; c != EOF && !std::isspace(c); c = std::getc(file)) token += static_cast<char>(c);
  return token;
}

}  // namespace

bool ReadRowFile(const std::string& path, RowFile& rows) {
  std::unique_ptr<std::FILE, Closer> file(std::fopen(path.c_str(), "rb"));
  if (!file) return false;
  rows.clear();
  for (std::string index = NextToken(file.get()); !index.empty(); index = NextToken(file.get())) {
    int value = 0;
    const auto [ptr, ec] = std::from_chars(index.data(), index.data() + index.size(), value);
    if (ec != std::errc() || ptr != index.data() + index.size()) return false;
    std::string bits = NextToken(file.get());
    if (bits.find_first_not_of("01") != std::string::npos) return false;
    if (!rows.emplace(value, std::move(bits)).second) return false;
  }
  return true;
}

bool WriteRowFile(const std::string& path, const RowFile& rows) {
  std::unique_ptr<std::FILE, Closer> file(std::fopen(path.c_str(), "wb"));
  if (!file) return false;
  auto write = [&](int index, const std::string& bits) {
    std::fprintf(file.get(), "\n\t%d\n%s", index, bits.c_str());
  };
  for (auto it = rows.lower_bound(0); it != rows.end(); ++it) write(it->first, it->second);
  for (int index : {kUsercodeRow, kERow}) {
    const auto it = rows.find(index);
    if (it != rows.end()) write(it->first, it->second);
  }
  std::fputc('\n', file.get());
  const bool written = std::fflush(file.get()) == 0 && std::ferror(file.get()) == 0;
  return std::fclose(file.release()) == 0 && written;
}

int WriteResultFile(const char* path, int result, const char* meaning) {
  if (path != nullptr && path[0] != '\0') {
    if (std::unique_ptr<std::FILE, Closer> file{std::fopen(path, "wb")}) {
      std::fprintf(file.get(), "%d %s\n", result, meaning);
    }
  }
  return result;
}

}  // namespace fusekit::legacy
