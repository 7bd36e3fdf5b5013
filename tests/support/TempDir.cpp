#include "support/TempDir.hpp"

#ifdef _WIN32
#include <process.h>
#else
#include <sys/stat.h>
#include <unistd.h>
#endif

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace tavkelo::test {

TempDir::TempDir() {
#ifdef _WIN32
  // No mkdtemp: a name of the process and a counter, made afresh until one is new.
  for (int attempt = 0; attempt < 100; ++attempt) {
    auto candidate = std::filesystem::temp_directory_path() / ("tavkelo-test" + UniqueSuffix());
    if (std::filesystem::create_directory(candidate)) {
      path_ = candidate.string();
      return;
    }
  }
  throw std::runtime_error("no temporary folder could be made");
#else
  std::string pattern = (std::filesystem::temp_directory_path() / "tavkelo-test-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  path_ = pattern;
#endif
}

TempDir::~TempDir() {
  std::error_code ec;
  std::filesystem::remove_all(path_, ec);
}

std::string Native(std::string path) {
#ifdef _WIN32
  for (char& c : path) {
    if (c == '/') c = '\\';
  }
#endif
  return path;
}

std::string TempDir::MakeDir(const std::string& name) const {
  std::string dir = File(name);
  std::filesystem::create_directories(dir);
  return dir;
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream buffer;
  buffer << in.rdbuf();
  return buffer.str();
}

void WriteFile(const std::string& path, const std::string& content) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << content;
}

bool FileExists(const std::string& path) {
  return std::filesystem::exists(path);
}

std::string UniqueSuffix() {
  static std::atomic<int> counter{0};
#ifdef _WIN32
  const int pid = ::_getpid();
#else
  const int pid = ::getpid();
#endif
  return "." + std::to_string(pid) + "." + std::to_string(counter++);
}

}  // namespace tavkelo::test
