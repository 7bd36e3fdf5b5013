#include "server/AutomationServer.hpp"

#include "server/KeloEngine.hpp"
#include "server/PageRoutes.hpp"
#include "server/SimulatorPanel.hpp"
#include "server/WizardPanel.hpp"

namespace tavkelo {

namespace {

std::unique_ptr<httplib::Server> MakeHttpServer(const AutomationServer::Config& config) {
  if (config.tlsCert.empty()) return std::make_unique<httplib::Server>();
#ifdef CPPHTTPLIB_OPENSSL_SUPPORT
  return std::make_unique<httplib::SSLServer>(config.tlsCert.c_str(), config.tlsKey.c_str());
#else
  return std::make_unique<httplib::Server>();  // Start() refuses: this build has no TLS
#endif
}

AutomationServer::Config WithTls(AutomationServer::Config config) {
  config.security.tls = !config.tlsCert.empty();
  return config;
}

}  // namespace

AutomationServer::AutomationServer(EventLoop& loop, KeloEngine& engine, PortMap* ports,
                                   Config config)
    : config_(WithTls(std::move(config))),
      context_(loop, engine, ports),
      server_(MakeHttpServer(config_)),
      http_(*server_),
      guard_(config_.security, config_.host),
      readings_(context_, config_.maxStreams),
      automation_(context_, config_.leaseSeconds),
      console_(context_),
      monitor_(engine.Context()),
      metrics_(context_, [this](MetricsText& out) { WriteLoopMetrics(out); }) {
  readings_.Feed().SetDecorator([&engine](nlohmann::json& snapshot) {
    snapshot["wizard"] = WizardSummaryJson(engine.Calibrations().Forms());
  });
  guard_.Install(http_, &MetricsRoutes::RequestArrived,
                 [this](const httplib::Request& req, const httplib::Response& res) {
                   metrics_.Count(req, res);
                 });
  AddPageRoutes(http_, context_, automation_.Objects(), config_.webDir);
  automation_.AddRoutes(http_);
  readings_.AddRoutes(http_);
  console_.AddRoutes(http_);
  AddWizardRoutes(http_, context_);
  AddSimulatorRoutes(http_, context_);
  metrics_.AddRoutes(http_);
}

#if TAVKELO_HAS_HISTORY
void AutomationServer::AddHistory(HistoryStore* store, CalibrationSchedule* schedule) {
  history_ = std::make_unique<HistoryRoutes>(context_, store, schedule);
  history_->AddRoutes(http_);
  if (store == nullptr || schedule == nullptr) return;
  monitor_.LeaveLastPassToHistory();
  metrics_.AddSource([routes = history_.get()](MetricsText& out) { routes->WriteMetrics(out); });
}
#endif

void AutomationServer::WriteLoopMetrics(MetricsText& out) {
  using T = MetricsText::Type;
  monitor_.WriteMetrics(out);
  out.Family("tavkelo_objects", "Interface objects that remote clients hold", T::Gauge);
  out.Sample("tavkelo_objects", static_cast<double>(automation_.Objects().Count()));
  out.Family("tavkelo_readings_streams", "Server-sent-event streams of the readings open now",
             T::Gauge);
  out.Sample("tavkelo_readings_streams", readings_.Streams());
}

AutomationServer::~AutomationServer() {
  BeginStop();
  if (listener_.joinable()) listener_.join();
}

bool AutomationServer::Start(std::string& error) {
#ifndef CPPHTTPLIB_OPENSSL_SUPPORT
  if (!config_.tlsCert.empty()) {
    error = "this build of TavKeloASM serves no HTTPS (it is built without OpenSSL)";
    return false;
  }
#endif
  if (!http_.is_valid()) {
    error = "cannot load the TLS certificate " + config_.tlsCert + " or its key " + config_.tlsKey +
            " (PEM files, the key unencrypted)";
    return false;
  }
  http_.new_task_queue = [threads = config_.threads] {
    return new httplib::ThreadPool(static_cast<size_t>(threads));
  };
  http_.set_tcp_nodelay(true);
  // Keep-alive connections stay open for many requests, and an idle one does not hold up a stop.
  http_.set_keep_alive_max_count(100000);
  http_.set_keep_alive_timeout(1);
  http_.set_payload_max_length(config_.maxBodyBytes);
  http_.set_read_timeout(10, 0);
  http_.set_write_timeout(5, 0);
  if (config_.port == 0) {
    port_ = http_.bind_to_any_port(config_.host);
    if (port_ < 0) {
      error = "cannot listen on " + config_.host;
      return false;
    }
  } else {
    if (!http_.bind_to_port(config_.host, config_.port)) {
      error =
          "cannot listen on " + config_.host + ":" + std::to_string(config_.port) + " (in use?)";
      return false;
    }
    port_ = config_.port;
  }
  guard_.SetPort(port_);
  listener_ = std::thread([this] {
    http_.listen_after_bind();
    listenerDone_ = true;
  });
  return true;
}

void AutomationServer::BeginStop() {
  if (!context_.BeginStop()) return;
  readings_.Close();
  http_.stop();
  if (!listener_.joinable()) listenerDone_ = true;
}

void AutomationServer::ReleaseAll() {
  automation_.ReleaseAll();
  console_.Release();
}

}  // namespace tavkelo
