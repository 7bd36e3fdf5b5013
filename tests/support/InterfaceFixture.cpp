#include "support/InterfaceFixture.hpp"

#include <cstdio>

namespace tavkelo::test {

InterfaceFixture::InterfaceFixture(KeloSimOptions options, int16_t logControl)
    : LinkFixture(logControl), sim(loop, std::move(options)), tests(*ctx), calibrations(*ctx) {
  sim.Attach(line->DeviceEnd());
  ctx->openPort = [this](int16_t port) -> std::unique_ptr<SerialChannel> {
    if (port != 1) return nullptr;
    return line->HostPort();
  };
}

InterfaceFixture::~InterfaceFixture() = default;

std::unique_ptr<clsKeloInterface> InterfaceFixture::NewInterface() {
  auto iface = std::make_unique<clsKeloInterface>(*ctx);
  iface->Init(true, 1, 9600, "N");
  return iface;
}

std::vector<std::string> InterfaceFixture::RequestNames(size_t from) const {
  std::vector<std::string> names;
  const auto& all = sim.Requests();
  for (size_t i = from; i < all.size(); ++i) {
    const ReceivedRequest& r = all[i];
    std::string name(1, static_cast<char>(r.command));
    if (r.command == 'E' || r.command == 'F') {
      char number[8];
      std::snprintf(number, sizeof number, "%03d", r.variable);
      name += number;
    }
    if (r.command == 'F') {
      std::string value = r.valueText;
      size_t blank = value.find(' ');
      name += "=" + (blank == std::string::npos ? value : value.substr(0, blank));
    }
    names.push_back(name);
  }
  return names;
}

}  // namespace tavkelo::test
