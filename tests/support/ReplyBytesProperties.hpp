#pragma once
// What the reply functions promise for any bytes, checked on arbitrary input: the input's first
// byte chooses how the rest arrives in batches; the rest is what the controller sent. Gathering
// keeps to 255 bytes, ends only at a first ACK or NAK or at a later "$", and ends the same way
// however the bytes are split while they fit; the frame check and both parsers end with a result
// code and read nothing outside the bytes they are given (the sanitizers see to that).

#include <cstddef>
#include <cstdint>
#include <string>

namespace tavkelo::test {

// "" when every promise holds, otherwise the first one that broke.
std::string CheckReplyBytes(const uint8_t* data, size_t size);

}  // namespace tavkelo::test
