#include "com/ComServer.hpp"

#include "platform/Win32Text.hpp"

namespace tavkelo {

// The class factory: one per server, its own reference count, objects from ComServer's maker.
class ComServer::ClassFactory final : public IClassFactory {
 public:
  explicit ClassFactory(ComServer& server) : server_(server) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (!IsEqualIID(riid, IID_IUnknown) && !IsEqualIID(riid, IID_IClassFactory))
      return E_NOINTERFACE;
    *object = static_cast<IClassFactory*>(this);
    AddRef();
    return S_OK;
  }
  // The factory lives as long as the server; COM's references do not end it.
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }

  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID riid, void** object) override {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    // The object's final release reports which object it was.
    auto self = std::make_shared<IUnknown*>(nullptr);
    IDispatch* made = server_.make_([&server = server_, self] {
      server.live_.erase(*self);
      server.ObjectReleased();
    });
    if (made == nullptr) return E_OUTOFMEMORY;
    *self = made;
    server_.live_.insert(made);
    server_.ObjectCreated();
    HRESULT hr = made->QueryInterface(riid, object);
    made->Release();  // the caller's reference, if it took one, keeps the object
    return hr;
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
    server_.LockChanged(lock != FALSE);
    return S_OK;
  }

 private:
  ComServer& server_;
};

ComServer::ComServer(EventLoop& loop, MakeObject make, std::function<void()> onIdle)
    : loop_(loop),
      make_(std::move(make)),
      onIdle_(std::move(onIdle)),
      factory_(new ClassFactory(*this)) {}

ComServer::~ComServer() {
  if (pending_ != 0) loop_.Cancel(pending_);
  Withdraw();
  delete factory_;
}

IClassFactory* ComServer::Factory() {
  return factory_;
}

bool ComServer::Offer(const CLSID& clsid) {
  clsid_ = clsid;
  offeredOnce_ = true;
  HRESULT hr =
      ::CoRegisterClassObject(clsid, factory_, CLSCTX_LOCAL_SERVER, REGCLS_MULTIPLEUSE, &cookie_);
  if (FAILED(hr)) {
    cookie_ = 0;
    error_ =
        "the class cannot be offered to COM: " + Win32ErrorText(static_cast<unsigned long>(hr));
    return false;
  }
  return true;
}

void ComServer::Withdraw() {
  if (cookie_ == 0) return;
  ::CoRevokeClassObject(cookie_);
  cookie_ = 0;
}

void ComServer::DisconnectAll() {
  Withdraw();
  onIdle_ = nullptr;  // the server is ending already
  const std::set<IUnknown*> live = live_;
  for (IUnknown* object : live) {
    if (live_.count(object) != 0) ::CoDisconnectObject(object, 0);
  }
}

void ComServer::ObjectCreated() {
  ++objects_;
  Revive();
}

void ComServer::Revive() {
  everUsed_ = true;
  if (pending_ != 0) {  // a client came back within the grace, or while withdrawing
    loop_.Cancel(pending_);
    pending_ = 0;
  }
  if (cookie_ == 0 && offeredOnce_) Offer(clsid_);  // serve on
}

void ComServer::ObjectReleased() {
  --objects_;
  CheckIdle();
}

void ComServer::LockChanged(bool lock) {
  if (lock) {
    ++locks_;
    Revive();
    return;
  }
  --locks_;
  CheckIdle();
}

void ComServer::CheckIdle() {
  if (!onIdle_ || !everUsed_ || objects_ > 0 || locks_ > 0 || pending_ != 0) return;
  pending_ = loop_.CallAfterUs(kGraceUs, [this] { OnGraceOver(); });
}

void ComServer::OnGraceOver() {
  pending_ = 0;
  if (objects_ > 0 || locks_ > 0) return;
  Withdraw();
  pending_ = loop_.CallAfterUs(kDrainUs, [this] { OnDrained(); });
}

void ComServer::OnDrained() {
  pending_ = 0;
  if (objects_ > 0 || locks_ > 0) return;  // an activation got through: serving again
  onIdle_();
}

}  // namespace tavkelo
