// libFuzzer target: arbitrary and truncated controller replies through gathering and parsing.
#include <cstdint>
#include <cstdlib>

#include "support/ReplyFuzzDriver.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  for (int32_t result : tavkelo::test::RunExchangesWithReplies(data, size)) {
    if (!tavkelo::test::IsExchangeResult(result)) std::abort();
  }
  return 0;
}
