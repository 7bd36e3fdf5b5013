// libFuzzer target: arbitrary controller bytes, split into arbitrary batches, through gathering,
// the frame check and both reply parsers.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "support/ReplyBytesProperties.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string broken = tavkelo::test::CheckReplyBytes(data, size);
  if (!broken.empty()) {
    std::fprintf(stderr, "broken promise: %s\n", broken.c_str());
    std::abort();
  }
  return 0;
}
