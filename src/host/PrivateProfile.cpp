#include "host/PrivateProfile.hpp"

#include <cctype>
#include <fstream>
#include <sstream>
#include <vector>

namespace tavkelo {

namespace {

std::string Trim(const std::string& text) {
  size_t begin = 0;
  size_t end = text.size();
  while (begin < end && (text[begin] == ' ' || text[begin] == '\t')) ++begin;
  while (end > begin && (text[end - 1] == ' ' || text[end - 1] == '\t' || text[end - 1] == '\r'))
    --end;
  return text.substr(begin, end - begin);
}

bool SameText(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(a[i])) !=
        std::tolower(static_cast<unsigned char>(b[i])))
      return false;
  }
  return true;
}

bool ReadLines(const std::string& fileName, std::vector<std::string>& lines,
               bool& endsWithNewline) {
  std::ifstream in(fileName, std::ios::binary);
  if (!in) return false;
  std::stringstream buffer;
  buffer << in.rdbuf();
  std::string text = buffer.str();
  endsWithNewline = text.empty() || text.back() == '\n';
  std::string line;
  for (char c : text) {
    if (c == '\n') {
      if (!line.empty() && line.back() == '\r') line.pop_back();
      lines.push_back(line);
      line.clear();
    } else {
      line.push_back(c);
    }
  }
  if (!line.empty()) {
    if (line.back() == '\r') line.pop_back();
    lines.push_back(line);
  }
  return true;
}

// Section header name of a line, or false.
bool SectionName(const std::string& line, std::string& name) {
  std::string t = Trim(line);
  if (t.size() < 2 || t.front() != '[') return false;
  size_t close = t.find(']');
  if (close == std::string::npos) return false;
  name = Trim(t.substr(1, close - 1));
  return true;
}

bool KeyOf(const std::string& line, std::string& key, std::string& value) {
  size_t eq = line.find('=');
  if (eq == std::string::npos) return false;
  key = Trim(line.substr(0, eq));
  value = Trim(line.substr(eq + 1));
  return !key.empty();
}

std::string Unquote(const std::string& value) {
  if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
      value.back() == value.front())
    return value.substr(1, value.size() - 2);
  return value;
}

}  // namespace

size_t GetPrivateProfileString(const std::string& section, const std::string& key,
                               const std::string& defaultValue, std::string& out, size_t bufferSize,
                               const std::string& fileName) {
  size_t limit = bufferSize == 0 ? 0 : bufferSize - 1;
  std::string result = defaultValue;
  std::vector<std::string> lines;
  bool endsWithNewline = true;
  if (ReadLines(fileName, lines, endsWithNewline)) {
    bool inSection = false;
    for (const std::string& line : lines) {
      std::string name;
      if (SectionName(line, name)) {
        inSection = SameText(name, section);
        continue;
      }
      std::string k, v;
      if (inSection && KeyOf(line, k, v) && SameText(k, key)) {
        result = Unquote(v);
        break;
      }
    }
  }
  out = result.substr(0, limit);
  return out.size();
}

bool WritePrivateProfileString(const std::string& section, const std::string& key,
                               const std::string& value, const std::string& fileName) {
  std::vector<std::string> lines;
  bool endsWithNewline = true;
  ReadLines(fileName, lines, endsWithNewline);

  const std::string entry = key + "=" + value;
  int sectionLine = -1;
  int lastLineOfSection = -1;
  bool done = false;
  for (size_t i = 0; i < lines.size() && !done; ++i) {
    std::string name;
    if (SectionName(lines[i], name)) {
      if (sectionLine >= 0) break;  // the section ended without the key
      if (SameText(name, section)) {
        sectionLine = static_cast<int>(i);
        lastLineOfSection = static_cast<int>(i);
      }
      continue;
    }
    if (sectionLine < 0) continue;
    std::string k, v;
    if (KeyOf(lines[i], k, v) && SameText(k, key)) {
      lines[i] = entry;
      done = true;
    } else if (!Trim(lines[i]).empty()) {
      lastLineOfSection = static_cast<int>(i);
    }
  }
  if (!done) {
    if (sectionLine >= 0) {
      lines.insert(lines.begin() + lastLineOfSection + 1, entry);
    } else {
      lines.push_back("[" + section + "]");
      lines.push_back(entry);
    }
  }
  std::ofstream outFile(fileName, std::ios::binary | std::ios::trunc);
  if (!outFile) return false;
  for (const std::string& line : lines) outFile << line << "\r\n";
  return static_cast<bool>(outFile);
}

}  // namespace tavkelo
