#include "server/AutomationServer.hpp"

#include "automation/MemberBinding.hpp"
#include "host/Notices.hpp"
#include "link/KeloContext.hpp"
#include "runtime/EventLoop.hpp"
#include "server/AutomationApi.hpp"
#include "server/KeloEngine.hpp"
#include "server/PortMap.hpp"
#include "server/SimulatorPanel.hpp"
#include "server/WizardPanel.hpp"

namespace tavkelo {

namespace {

const char* kJson = "application/json";

nlohmann::json ParseBody(const httplib::Request& req) {
  if (req.body.empty()) return nlohmann::json::object();
  nlohmann::json body = nlohmann::json::parse(req.body, nullptr, false);
  if (body.is_discarded()) throw ApiError(400, "malformed JSON in the request body");
  if (!body.is_object()) throw ApiError(400, "the request body must be a JSON object");
  return body;
}

}  // namespace

AutomationServer::AutomationServer(EventLoop& loop, KeloEngine& engine, PortMap* ports, Config config)
    : loop_(loop),
      engine_(engine),
      ports_(ports),
      config_(std::move(config)),
      registry_(engine.Context(), config_.leaseSeconds),
      feed_(engine.Context(), ports),
      leaseTimer_(loop) {
  typeLibrary_ = TypeLibraryJson().dump();
  feed_.SetDecorator([&engine](nlohmann::json& snapshot) {
    WizardForms& forms = engine.Calibrations().Forms();
    snapshot["wizard"] = {{"open", forms.OpenForm() != nullptr}, {"revision", forms.Revision()}};
  });
  // The console object exists before any client's, so that its creation disturbs nobody.
  console_ = std::make_unique<clsKeloInterface>(engine.Context());
  leaseTimer_.SetHandler([this] {
    auto expired = registry_.TakeExpired();
    if (!expired.empty()) ReleaseLater(std::move(expired));
  });
  leaseTimer_.SetInterval(1000);
  leaseTimer_.SetEnabled(true);
  Routes();
}

AutomationServer::~AutomationServer() {
  BeginStop();
  if (listener_.joinable()) listener_.join();
}

void AutomationServer::ReleaseLater(std::vector<std::unique_ptr<clsKeloInterface>> objects) {
  // A release can wait (it disconnects), so it runs at the loop's top level.
  auto shared = std::make_shared<std::vector<std::unique_ptr<clsKeloInterface>>>(std::move(objects));
  loop_.Post([shared] { shared->clear(); }, CallKind::CanWait);
}

bool AutomationServer::Start(std::string& error) {
  http_.new_task_queue = [threads = config_.threads] { return new httplib::ThreadPool(static_cast<size_t>(threads)); };
  http_.set_tcp_nodelay(true);
  // Keep-alive connections stay open for many requests, and an idle one does not hold up a stop.
  http_.set_keep_alive_max_count(100000);
  http_.set_keep_alive_timeout(1);
  http_.set_payload_max_length(config_.maxBodyBytes);
  http_.set_read_timeout(10, 0);
  http_.set_write_timeout(5, 0);
  if (!config_.webDir.empty()) http_.set_mount_point("/", config_.webDir);
  if (config_.port == 0) {
    port_ = http_.bind_to_any_port(config_.host);
    if (port_ < 0) {
      error = "cannot listen on " + config_.host;
      return false;
    }
  } else {
    if (!http_.bind_to_port(config_.host, config_.port)) {
      error = "cannot listen on " + config_.host + ":" + std::to_string(config_.port) + " (in use?)";
      return false;
    }
    port_ = config_.port;
  }
  listener_ = std::thread([this] {
    http_.listen_after_bind();
    listenerDone_ = true;
  });
  return true;
}

void AutomationServer::BeginStop() {
  if (stopping_.exchange(true)) return;
  feed_.Close();
  http_.stop();
  if (!listener_.joinable()) listenerDone_ = true;
}

void AutomationServer::ReleaseAll() {
  leaseTimer_.SetEnabled(false);
  auto all = registry_.TakeAll();
  all.clear();
  console_.reset();
}

nlohmann::json AutomationServer::OnLoop(bool canWait, const std::function<nlohmann::json()>& fn) {
  if (stopping_) throw ApiError(503, "the server is stopping");
  return loop_.Invoke(fn, canWait ? CallKind::CanWait : CallKind::NeverWaits);
}

nlohmann::json AutomationServer::CallOnObject(const std::string& id, bool canWait,
                                              const std::function<nlohmann::json(clsKeloInterface&)>& fn) {
  struct EndCall {
    ObjectRegistry& registry;
    const std::string& id;
    ~EndCall() { registry.EndCall(id); }
  };
  if (!canWait) {
    return OnLoop(false, [&] {
      clsKeloInterface* object = registry_.BeginCall(id);
      if (object == nullptr) return nlohmann::json(nullptr);
      EndCall end{registry_, id};
      return fn(*object);
    });
  }
  // A call that can wait may queue behind another client's long call: it is under way from the
  // moment it arrives, so the object does not expire while it waits its turn.
  bool arrived = OnLoop(false, [&] { return nlohmann::json(registry_.BeginCall(id) != nullptr); }).get<bool>();
  if (!arrived) return nlohmann::json(nullptr);
  return OnLoop(true, [&] {
    EndCall end{registry_, id};
    clsKeloInterface* object = registry_.Find(id);
    return object == nullptr ? nlohmann::json(nullptr) : fn(*object);
  });
}

void AutomationServer::Handle(httplib::Response& res, const std::function<std::pair<int, nlohmann::json>()>& fn) {
  int status = 200;
  nlohmann::json body;
  try {
    std::tie(status, body) = fn();
  } catch (const ApiError& e) {
    status = e.Status();
    body = {{"error", e.what()}};
  } catch (const std::future_error&) {
    status = 503;
    body = {{"error", "the server is stopping"}};
  } catch (const std::exception& e) {
    status = 500;
    body = {{"error", std::string("internal error: ") + e.what()}};
  }
  res.status = status;
  if (!body.is_null()) res.set_content(body.dump(), kJson);
}

void AutomationServer::Routes() {
  http_.set_error_handler([](const httplib::Request& req, httplib::Response& res) {
    if (!res.body.empty()) return;
    std::string message = res.status == 404   ? "no such path: " + req.path
                          : res.status == 413 ? "request body too large"
                          : res.status == 400 ? "bad request (a POST or PUT needs a body: send {} when there is nothing to say)"
                                              : "request failed with status " + std::to_string(res.status);
    res.set_content(nlohmann::json{{"error", message}}.dump(), kJson);
  });
  AutomationRoutes();
  DashboardRoutes();
}

void AutomationServer::AutomationRoutes() {
  http_.Post("/automation/objects", [this](const httplib::Request& req, httplib::Response& res) {
    Handle(res, [&] {
      nlohmann::json body = ParseBody(req);
      int lease = 0;
      if (body.contains("leaseSeconds")) {
        if (!body["leaseSeconds"].is_number_integer() || body["leaseSeconds"].get<int64_t>() < 1 ||
            body["leaseSeconds"].get<int64_t>() > 3600) {
          throw ApiError(400, "leaseSeconds must be a whole number from 1 to 3600");
        }
        lease = body["leaseSeconds"].get<int>();
      }
      nlohmann::json created = OnLoop(true, [&] {
        ObjectRegistry::Created c = registry_.Create(lease);
        return nlohmann::json{{"id", c.id}, {"leaseSeconds", c.leaseSeconds}};
      });
      return std::make_pair(201, created);
    });
  });

  http_.Delete(R"(/automation/objects/([^/]+))", [this](const httplib::Request& req, httplib::Response& res) {
    Handle(res, [&] {
      std::string id = req.matches[1];
      bool released = OnLoop(true, [&] {
        auto object = registry_.Take(id);
        if (!object) return nlohmann::json(false);
        object.reset();  // Class_Terminate: disconnects and closes
        return nlohmann::json(true);
      });
      if (!released) throw ApiError(404, "unknown object " + id);
      return std::make_pair(200, nlohmann::json{{"released", true}});
    });
  });

  http_.Post(R"(/automation/objects/([^/]+)/ping)", [this](const httplib::Request& req, httplib::Response& res) {
    Handle(res, [&] {
      std::string id = req.matches[1];
      nlohmann::json lease = OnLoop(false, [&] {
        int seconds = 0;
        return registry_.Ping(id, seconds) ? nlohmann::json(seconds) : nlohmann::json(nullptr);
      });
      if (lease.is_null()) throw ApiError(404, "unknown object " + id + " (released, or its lease ran out)");
      return std::make_pair(200, nlohmann::json{{"leaseSeconds", lease}});
    });
  });

  http_.Get(R"(/automation/objects/([^/]+)/properties/([A-Za-z0-9_]+))",
            [this](const httplib::Request& req, httplib::Response& res) {
              Handle(res, [&] {
                std::string id = req.matches[1];
                std::string name = req.matches[2];
                const BoundMember* m = FindBoundMember(name, MemberKind::PropertyGet);
                if (m == nullptr) throw ApiError(404, "clsKeloInterface has no property " + name);
                std::vector<AutoValue> args;
                for (const ParamInfo& p : m->params) {
                  if (!req.has_param(p.name.c_str())) throw ApiError(400, name + " needs the query parameter " + p.name);
                  std::string text = req.get_param_value(p.name.c_str());
                  nlohmann::json value = nlohmann::json::parse(text, nullptr, false);
                  if (value.is_discarded()) value = text;
                  args.push_back(ArgumentFromJson(value, p));
                }
                for (const auto& [key, value] : req.params) {
                  bool known = false;
                  for (const ParamInfo& p : m->params) known = known || p.name == key;
                  if (!known) throw ApiError(400, name + " takes no query parameter " + key);
                }
                nlohmann::json value = CallOnObject(id, m->canWait, [&](clsKeloInterface& object) {
                  return nlohmann::json{{"value", ValueToJson(m->invoke(object, args))}};
                });
                if (value.is_null()) throw ApiError(404, "unknown object " + id + " (released, or its lease ran out)");
                return std::make_pair(200, value);
              });
            });

  http_.Put(R"(/automation/objects/([^/]+)/properties/([A-Za-z0-9_]+))",
            [this](const httplib::Request& req, httplib::Response& res) {
              Handle(res, [&] {
                std::string id = req.matches[1];
                std::string name = req.matches[2];
                const BoundMember* m = FindBoundMember(name, MemberKind::PropertyPut);
                if (m == nullptr) {
                  if (FindMember(name, MemberKind::PropertyGet) != nullptr) {
                    throw ApiError(405, "property " + name + " is read-only");
                  }
                  throw ApiError(404, "clsKeloInterface has no property " + name);
                }
                nlohmann::json body = ParseBody(req);
                if (!body.contains("value")) throw ApiError(400, "the body needs {\"value\": ...}");
                std::vector<AutoValue> args{ArgumentFromJson(body["value"], m->params[0])};
                nlohmann::json done = CallOnObject(id, m->canWait, [&](clsKeloInterface& object) {
                  m->invoke(object, args);
                  return nlohmann::json(true);
                });
                if (done.is_null()) throw ApiError(404, "unknown object " + id + " (released, or its lease ran out)");
                return std::make_pair(200, nlohmann::json{{"value", body["value"]}});
              });
            });

  http_.Post(R"(/automation/objects/([^/]+)/methods/([A-Za-z0-9_]+))",
             [this](const httplib::Request& req, httplib::Response& res) {
               Handle(res, [&] {
                 std::string id = req.matches[1];
                 std::string name = req.matches[2];
                 const BoundMember* m = FindBoundMember(name, MemberKind::Method);
                 if (m == nullptr) throw ApiError(404, "clsKeloInterface has no method " + name);
                 nlohmann::json body = ParseBody(req);
                 std::vector<AutoValue> args =
                     ArgumentsFromJson(*m, body.contains("args") ? body["args"] : nlohmann::json());
                 nlohmann::json answer = CallOnObject(id, m->canWait, [&](clsKeloInterface& object) {
                   AutoValue result = m->invoke(object, args);
                   return CallResultJson(*m, result, args);
                 });
                 if (answer.is_null()) throw ApiError(404, "unknown object " + id + " (released, or its lease ran out)");
                 return std::make_pair(200, answer);
               });
             });

  http_.Get("/automation/typelib", [this](const httplib::Request&, httplib::Response& res) {
    res.set_content(typeLibrary_, kJson);
  });
}

void AutomationServer::DashboardRoutes() {
  http_.Get("/api/readings", [this](const httplib::Request&, httplib::Response& res) {
    Handle(res, [&] { return std::make_pair(200, OnLoop(false, [&] { return feed_.Snapshot(); })); });
  });

  http_.Get("/api/readings/stream", [this](const httplib::Request&, httplib::Response& res) {
    if (streams_.fetch_add(1) >= config_.maxStreams) {
      streams_.fetch_sub(1);
      res.status = 503;
      res.set_content(nlohmann::json{{"error", "too many reading streams open"}}.dump(), kJson);
      return;
    }
    res.set_header("Cache-Control", "no-cache");
    res.set_chunked_content_provider(
        "text/event-stream",
        [this, seq = uint64_t{0}](size_t, httplib::DataSink& sink) mutable {
          std::string json;
          if (feed_.WaitNext(seq, json, 2000)) {
            std::string event = "data: " + json + "\n\n";
            return sink.write(event.data(), event.size());
          }
          if (feed_.Closed()) {
            sink.done();
            return false;
          }
          // A comment line keeps the connection alive and finds clients that went away.
          static const std::string keepAlive = ": keep-alive\n\n";
          return sink.write(keepAlive.data(), keepAlive.size());
        },
        [this](bool) { streams_.fetch_sub(1); });
  });

  http_.Get("/api/notices", [this](const httplib::Request& req, httplib::Response& res) {
    Handle(res, [&] {
      uint64_t since = 0;
      if (req.has_param("since")) {
        try {
          since = std::stoull(req.get_param_value("since"));
        } catch (const std::exception&) {
          throw ApiError(400, "since must be a whole number");
        }
      }
      nlohmann::json list = nlohmann::json::array();
      for (const Notice& n : engine_.Context().host.notices.Since(since)) {
        list.push_back({{"sequence", n.sequence}, {"text", n.text}, {"style", n.style}});
      }
      return std::make_pair(200, nlohmann::json{{"notices", list}});
    });
  });

  http_.Get("/api/server", [this](const httplib::Request&, httplib::Response& res) {
    Handle(res, [&] {
      return std::make_pair(200, OnLoop(false, [&] {
                              HostContext& host = engine_.Context().host;
                              nlohmann::json ports = nlohmann::json::object();
                              if (ports_ != nullptr) {
                                for (int16_t p = 1; p <= 4; ++p) ports[std::to_string(p)] = ports_->Describe(p);
                              }
                              return nlohmann::json{{"program", "TavKeloASM"},
                                                    {"version", host.ProgramVersionText},
                                                    {"objects", registry_.Count()},
                                                    {"leaseSeconds", registry_.DefaultLease()},
                                                    {"simulated", ports_ != nullptr && ports_->AnySimulated()},
                                                    {"ports", ports}};
                            }));
    });
  });

  // The console: the dashboard's own object for connecting, starting and stopping tests.
  http_.Post(R"(/api/console/([a-z-]+))", [this](const httplib::Request& req, httplib::Response& res) {
    Handle(res, [&] {
      std::string action = req.matches[1];
      nlohmann::json body = ParseBody(req);
      auto intArg = [&](const char* key, int fallback, int lo, int hi) {
        if (!body.contains(key)) return fallback;
        if (!body[key].is_number_integer() || body[key].get<int64_t>() < lo || body[key].get<int64_t>() > hi) {
          throw ApiError(400, std::string(key) + " must be a whole number from " + std::to_string(lo) + " to " +
                                  std::to_string(hi));
        }
        return body[key].get<int>();
      };
      nlohmann::json answer;
      if (action == "connect") {
        int port = intArg("port", 1, 1, 255);
        answer = OnLoop(true, [&] {
          console_->Init(true, static_cast<int16_t>(port), 9600, "N");
          return nlohmann::json{{"connected", console_->Connect()}};
        });
      } else if (action == "disconnect") {
        answer = OnLoop(true, [&] {
          console_->DisConnect();
          return nlohmann::json{{"connected", false}};
        });
      } else if (action == "start") {
        int test = intArg("test", -1, 1, 6);
        if (test < 0) throw ApiError(400, "start needs {\"test\": 1 to 6}");
        answer = OnLoop(false, [&] {
          return nlohmann::json{{"result", console_->StartTest(static_cast<QRTXTestIndeces>(test))}};
        });
      } else if (action == "stop") {
        answer = OnLoop(true, [&] { return nlohmann::json{{"result", console_->StopTest()}}; });
      } else if (action == "raise-lifts" || action == "lower-lifts") {
        bool raise = action == "raise-lifts";
        answer = OnLoop(true, [&] {
          return nlohmann::json{{"result", raise ? console_->RaiseLifts(true, false) : console_->LowerLifts(true, false)}};
        });
      } else {
        throw ApiError(404, "no console action " + action);
      }
      if (answer.contains("result")) answer["text"] = ErrorToString(answer["result"].get<int32_t>());
      return std::make_pair(200, answer);
    });
  });

  // The open calibration form and its three buttons.
  http_.Get("/api/wizard", [this](const httplib::Request&, httplib::Response& res) {
    Handle(res, [&] {
      return std::make_pair(200, OnLoop(false, [&] {
                              WizardForms& forms = engine_.Calibrations().Forms();
                              auto snapshot = forms.SnapshotOpenForm();
                              nlohmann::json answer = {{"open", snapshot.has_value()}, {"revision", forms.Revision()}};
                              if (snapshot) answer["form"] = WizardFormJson(*snapshot);
                              return answer;
                            }));
    });
  });

  http_.Post(R"(/api/wizard/([a-zA-Z]+))", [this](const httplib::Request& req, httplib::Response& res) {
    Handle(res, [&] {
      std::string name = req.matches[1];
      std::optional<WizardButton> button = WizardButtonFromName(name);
      if (!button) throw ApiError(404, "the wizard forms have no button " + name);
      bool pressed = OnLoop(false, [&] { return nlohmann::json(engine_.Calibrations().Forms().Press(*button)); });
      if (!pressed) throw ApiError(409, "no calibration form is open, or its " + name + " button is hidden");
      return std::make_pair(200, nlohmann::json{{"pressed", name}});
    });
  });

  http_.Get("/api/sim", [this](const httplib::Request& req, httplib::Response& res) {
    Handle(res, [&] {
      int port = req.has_param("port") ? std::atoi(req.get_param_value("port").c_str()) : 1;
      return std::make_pair(200, OnLoop(false, [&] { return SimulatorPanel::State(ports_, static_cast<int16_t>(port)); }));
    });
  });

  http_.Post("/api/sim", [this](const httplib::Request& req, httplib::Response& res) {
    Handle(res, [&] {
      nlohmann::json body = ParseBody(req);
      if (!body.contains("command") || !body["command"].is_string()) {
        throw ApiError(400, "the body needs {\"command\": \"...\"}, for example \"weights 3\"");
      }
      int port = 1;
      if (body.contains("port")) {
        if (!body["port"].is_number_integer()) throw ApiError(400, "port must be a whole number");
        port = body["port"].get<int>();
      }
      std::string command = body["command"];
      return std::make_pair(200, OnLoop(false, [&] {
                              return SimulatorPanel::Execute(ports_, static_cast<int16_t>(port), command);
                            }));
    });
  });
}

}  // namespace tavkelo
