#pragma once
// Feeds arbitrary controller bytes through the link: the input is read as a list of exchanges,
// each a request (a command and a variable) and the reply bytes the controller sends for each
// attempt. Every exchange must end with one of the documented result codes; anything else, a
// crash or an out-of-bounds read (under the sanitizers) is a finding.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tavkelo::test {

// Runs the exchanges; returns each exchange's result code.
std::vector<int32_t> RunExchangesWithReplies(const uint8_t* data, size_t size);
// True for the result codes an exchange may end with.
bool IsExchangeResult(int32_t result);

}  // namespace tavkelo::test
