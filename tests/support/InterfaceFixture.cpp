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
  for (size_t i = from; i < all.size(); ++i) names.push_back(RequestName(all[i]));
  return names;
}

}  // namespace tavkelo::test
