#include "platform/SerialChannel.hpp"

#include <cstdlib>

namespace tavkelo {

int SettingsBaudRate(const std::string& settings) {
  return std::atoi(settings.c_str());
}

bool IsStandardBaudRate(int baud) {
  for (int rate : {300, 1200, 2400, 4800, 9600, 19200, 38400, 57600, 115200})
    if (baud == rate) return true;
  return false;
}

}  // namespace tavkelo
