#include <windows.h>
// after windows.h
#include <oaidl.h>

#include <cctype>
#include <cstdio>

#include "automation/clsKeloInterface.hpp"
#include "com/ComRegistration.hpp"
#include "com/ComServer.hpp"
#include "com/KeloDispatch.hpp"
#include "platform/Win32Text.hpp"
#include "server/ComHosting.hpp"

namespace tavkelo {

ComApartment::ComApartment() {
  initialized_ = SUCCEEDED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
}

ComApartment::~ComApartment() {
  if (initialized_) ::CoUninitialize();
}

void UseParentConsole() {
  HANDLE output = ::GetStdHandle(STD_OUTPUT_HANDLE);
  if (output != nullptr && output != INVALID_HANDLE_VALUE) return;  // redirected: keep it
  if (!::AttachConsole(ATTACH_PARENT_PROCESS)) return;              // started by COM, say
  std::freopen("CONOUT$", "w", stdout);
  std::freopen("CONOUT$", "w", stderr);
  std::freopen("CONIN$", "r", stdin);
}

bool IsEmbeddingSwitch(const std::string& argument) {
  if (argument.size() != 10 || (argument[0] != '-' && argument[0] != '/')) return false;
  const char* word = "embedding";
  for (size_t i = 1; i < argument.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(argument[i])) != word[i - 1]) return false;
  }
  return true;
}

ComHosting::ComHosting(EventLoop& loop, KeloContext& ctx, std::string exePath,
                       std::function<void()> onIdle)
    : loop_(loop), ctx_(ctx), exePath_(std::move(exePath)), onIdle_(std::move(onIdle)) {}

ComHosting::~ComHosting() {
  server_.reset();
  if (dispatchInfo_ != nullptr) static_cast<ITypeInfo*>(dispatchInfo_)->Release();
}

void ComHosting::DisconnectClients() {
  if (server_) server_->DisconnectAll();
}

bool ComHosting::Start(std::string& error) {
  ComClassIdentity identity;
  ITypeInfo* dispatch = nullptr;
  error = ReadComIdentity(WideFromUtf8(exePath_), identity, &dispatch);
  if (!error.empty()) return false;
  dispatchInfo_ = dispatch;
  server_ = std::make_unique<ComServer>(
      loop_,
      [this](std::function<void()> released) -> IDispatch* {
        // Every object creation is the class's own: it resets the shared link as documented.
        return new KeloDispatch(std::make_unique<clsKeloInterface>(ctx_),
                                static_cast<ITypeInfo*>(dispatchInfo_), std::move(released));
      },
      onIdle_);
  if (!server_->Offer(identity.clsid)) {
    error = server_->Error();
    return false;
  }
  return true;
}

}  // namespace tavkelo
