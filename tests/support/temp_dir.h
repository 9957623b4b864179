// A temporary folder per test, removed with everything in it when the test ends.
#ifndef FUSEKIT_TESTS_SUPPORT_TEMP_DIR_H
#define FUSEKIT_TESTS_SUPPORT_TEMP_DIR_H

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include <unistd.h>

namespace fusekit::testing {

class TempDir {
 public:
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "fusekit-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  // Writes bytes to a file of the folder and returns its path.
  std::string Write(const std::string& name, std::string_view bytes) const {
    const std::string file = Path(name);
    std::ofstream out(file, std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return file;
  }
  std::string Path(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

// The whole content of a file.
inline std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace fusekit::testing

#endif  // FUSEKIT_TESTS_SUPPORT_TEMP_DIR_H
