#include "support/TempDir.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace tavkelo::test {

TempDir::TempDir() {
  std::string pattern = (std::filesystem::temp_directory_path() / "tavkelo-test-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  path_ = pattern;
}

TempDir::~TempDir() {
  std::error_code ec;
  std::filesystem::remove_all(path_, ec);
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
  return "." + std::to_string(::getpid()) + "." + std::to_string(counter++);
}

}  // namespace tavkelo::test
