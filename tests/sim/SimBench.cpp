#include "SimBench.hpp"

#include <cstdlib>

namespace tavkelo::test {

double GroupValue(const std::string& frame) {
  auto eq = frame.find('=');
  if (frame.empty() || frame[0] != '\x02' || eq == std::string::npos) return -1e9;
  return std::strtod(frame.c_str() + eq + 1, nullptr);
}

}  // namespace tavkelo::test
