#include "platform/SerialChannel.hpp"

#include <cstdlib>

namespace tavkelo {

int SettingsBaudRate(const std::string& settings) {
  return std::atoi(settings.c_str());
}

}  // namespace tavkelo
