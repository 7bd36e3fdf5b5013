// libFuzzer target: arbitrary host bytes through the simulator's request framer, whole and cut
// into batches the input itself chooses. The framer must never crash and must frame the bytes the
// same however they arrive.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "sim/RequestFramer.hpp"

namespace {

std::string Describe(const tavkelo::FramerEvent& e) {
  return std::to_string(static_cast<int>(e.kind)) + "/" + std::to_string(e.command) + "/" +
         std::to_string(e.variable) + "/" + e.valueText + "/" + e.problem + "\n";
}

std::string Frame(const uint8_t* data, size_t size, const std::vector<size_t>& cuts) {
  tavkelo::RequestFramer framer;
  std::string events;
  const auto sink = [&](const tavkelo::FramerEvent& e) { events += Describe(e); };
  size_t at = 0;
  for (size_t cut : cuts) {
    framer.Feed(data + at, cut - at, sink);
    at = cut;
  }
  framer.Feed(data + at, size - at, sink);
  return events + "skipped " + std::to_string(framer.SkippedBytes());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  // The first byte seeds the batch sizes; the rest is what the host sent.
  unsigned seed = data[0];
  ++data;
  --size;
  std::vector<size_t> cuts;
  for (size_t at = 0;;) {
    seed = seed * 1103515245u + 12345u;
    at += 1 + (seed >> 16) % 7;
    if (at >= size) break;
    cuts.push_back(at);
  }
  std::vector<size_t> everyByte;
  for (size_t at = 1; at < size; ++at) everyByte.push_back(at);
  const std::string whole = Frame(data, size, {});
  if (Frame(data, size, cuts) != whole || Frame(data, size, everyByte) != whole) {
    std::fprintf(stderr, "the framing depends on how the bytes were split\n");
    std::abort();
  }
  return 0;
}
