#pragma once
// A fresh folder under the system's temporary folder, removed with everything in it at the end.

#include <string>

namespace tavkelo::test {

std::string Native(std::string path);

class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::string& Path() const { return path_; }
  // A path in the folder, written with "/" and given in the platform's form (see Native).
  std::string File(const std::string& name) const { return Native(path_ + "/" + name); }
  // Creates a sub-folder and returns its path.
  std::string MakeDir(const std::string& name) const;

 private:
  std::string path_;
};

// A path written with "/" in the platform's own form: on Windows every "/" becomes "\\".
std::string Native(std::string path);
// The whole content of a file ("" when it does not exist).
std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& content);
bool FileExists(const std::string& path);
// A suffix unique to this test process, for named objects shared across processes.
std::string UniqueSuffix();

}  // namespace tavkelo::test
