// File-system and environment helpers for tests: a fresh directory per test,
// removed with its contents at the end, and environment variables put back
// as they were.
#ifndef KY_TESTS_SCRATCH_H
#define KY_TESTS_SCRATCH_H

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <system_error>

namespace ky::test {

// A new empty directory under the system's temporary directory.
class ScratchDir {
 public:
  ScratchDir() {
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base && *base ? base : "/tmp") + "/kytest.XXXXXX";
    path_ = ::mkdtemp(pattern.data()) ? pattern : std::string();
  }
  ~ScratchDir() {
    std::error_code ec;
    if (!path_.empty()) std::filesystem::remove_all(path_, ec);
  }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;

  const std::string& Path() const { return path_; }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

// Whole contents of a file; "" when it cannot be read.
inline std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// Sets or clears an environment variable for a scope, then restores it.
class EnvVar {
 public:
  explicit EnvVar(const char* name) : name_(name) {
    if (const char* v = std::getenv(name)) old_ = v;
  }
  EnvVar(const char* name, const char* value) : EnvVar(name) { Set(value); }
  ~EnvVar() {
    if (old_) {
      ::setenv(name_, old_->c_str(), 1);
    } else {
      ::unsetenv(name_);
    }
  }
  EnvVar(const EnvVar&) = delete;
  EnvVar& operator=(const EnvVar&) = delete;

  void Set(const char* value) {
    if (value) {
      ::setenv(name_, value, 1);
    } else {
      ::unsetenv(name_);
    }
  }

 private:
  const char* name_;
  std::optional<std::string> old_;
};

}  // namespace ky::test

#endif  // KY_TESTS_SCRATCH_H
