#include "server/RequestGuard.hpp"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <random>
#include <sstream>

#include <nlohmann/json.hpp>

#include "server/ApiRequest.hpp"
#include "server/AuditLog.hpp"

namespace tavkelo {

namespace {

const char* kCookie = "tavkelo_session";
constexpr auto kSessionLifetime = std::chrono::hours(12);

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

bool StartsWith(const std::string& text, const char* prefix) {
  return text.rfind(prefix, 0) == 0;
}

bool ChangesState(const std::string& method) {
  return method == "POST" || method == "PUT" || method == "DELETE";
}

// The pages and /api/session are open to all; the API's data and commands need a credential.
// The API and the metrics; the pages themselves and the sign-in are served to anyone who may
// reach the port, and a read token is enough to scrape the metrics.
bool NeedsCredential(const std::string& path) {
  return ((StartsWith(path, "/api/") || StartsWith(path, "/automation/")) &&
          path != "/api/session") ||
         path == "/metrics";
}

bool IsJsonType(const std::string& contentType) {
  const std::string type = Lower(contentType.substr(0, contentType.find(';')));
  const size_t first = type.find_first_not_of(" \t");
  const size_t last = type.find_last_not_of(" \t");
  return first != std::string::npos && type.substr(first, last - first + 1) == "application/json";
}

// "host:port" or "[v6]:port" split; port -1 when it is not given.
void SplitHost(const std::string& value, std::string& host, int& port) {
  port = -1;
  std::string rest;
  if (StartsWith(value, "[")) {
    const size_t close = value.find(']');
    host = value.substr(1, close == std::string::npos ? std::string::npos : close - 1);
    rest = close == std::string::npos ? "" : value.substr(close + 1);
  } else {
    const size_t colon = value.find(':');
    host = value.substr(0, colon);
    rest = colon == std::string::npos ? "" : value.substr(colon);
  }
  host = Lower(host);
  if (rest.size() > 1 && rest[0] == ':' &&
      rest.find_first_not_of("0123456789", 1) == std::string::npos && rest.size() <= 6) {
    port = std::stoi(rest.substr(1));
  } else if (!rest.empty()) {
    port = -2;  // never matches
  }
}

std::string NewSessionId() {
  std::random_device random;
  std::string id;
  char hex[3];
  for (int i = 0; i < 32; ++i) {
    std::snprintf(hex, sizeof hex, "%02x", static_cast<unsigned>(random() & 0xFFu));
    id += hex;
  }
  return id;
}

std::string CookieValue(const httplib::Request& req, const std::string& name) {
  const std::string cookies = req.get_header_value("Cookie");
  std::istringstream in(cookies);
  std::string part;
  while (std::getline(in, part, ';')) {
    const size_t start = part.find_first_not_of(' ');
    if (start == std::string::npos) continue;
    part = part.substr(start);
    if (StartsWith(part, (name + "=").c_str())) return part.substr(name.size() + 1);
  }
  return "";
}

// A refusal before routing leaves the request's body unread on the connection, where it would be
// taken for the next request: the connection ends with the answer.
void Refuse(const httplib::Request& req, httplib::Response& res, int status,
            const std::string& message) {
  AnswerError(res, status, message);
  const std::string length = req.get_header_value("Content-Length");
  if ((!length.empty() && length != "0") || req.has_header("Transfer-Encoding"))
    res.set_header("Connection", "close");
}

struct Current {
  std::string who;  // empty until the request is identified
};
// The request on this worker thread, from the checks before routing to the audit after it.
thread_local Current current;

}  // namespace

bool LoadTokenFile(const std::string& path, std::vector<SecurityOptions::Token>& loaded,
                   std::string& error) {
  std::vector<SecurityOptions::Token> tokens;
  if (std::string refusal = TokenFileExposure(path); !refusal.empty()) {
    error = refusal;
    return false;
  }
  std::ifstream in(path);
  if (!in) {
    error = "cannot read the token file " + path;
    return false;
  }
  std::string line;
  for (int number = 1; std::getline(in, line); ++number) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    std::istringstream fields(line);
    SecurityOptions::Token t;
    std::string extra;
    if (!(fields >> t.name) || t.name[0] == '#') continue;
    const std::string where = path + " line " + std::to_string(number) + ": ";
    if (!(fields >> t.role >> t.token) || (fields >> extra)) {
      error = where + "expected NAME ROLE TOKEN";
      return false;
    }
    if (t.role != "control" && t.role != "read") {
      error = where + "the role must be control or read, not " + t.role;
      return false;
    }
    if (t.token.size() < 16) {
      error = where + "the token is shorter than 16 characters";
      return false;
    }
    for (const auto& other : tokens) {
      if (other.name == t.name || other.token == t.token) {
        error = where + "the name or token of " + t.name + " is given twice";
        return false;
      }
    }
    tokens.push_back(t);
  }
  if (tokens.empty()) {
    error = "the token file " + path + " holds no tokens (lines NAME ROLE TOKEN)";
    return false;
  }
  loaded = std::move(tokens);
  return true;
}

bool IsLoopbackAddress(const std::string& address) {
  const std::string a = Lower(address);
  return StartsWith(a, "127.") || StartsWith(a, "::ffff:127.") || a == "::1" || a == "localhost";
}

std::string StartupRefusal(const std::string& listenHost, const SecurityOptions& options) {
  if (options.requireToken && options.tokens.empty()) return "--require-token needs --token-file";
  if (!IsLoopbackAddress(listenHost) && options.tokens.empty() && !options.insecureNoAuth) {
    return "listening on " + listenHost +
           " serves the dyne's API beyond this machine: give --token-file PATH (lines NAME ROLE "
           "TOKEN, readable by its owner only), or --insecure-no-auth to serve it to anyone who "
           "can reach the port";
  }
  return "";
}

RequestGuard::RequestGuard(SecurityOptions options, std::string listenHost)
    : options_(std::move(options)),
      listenHost_(Lower(std::move(listenHost))),
      limits_(options_.limits) {
  for (std::string& origin : options_.allowOrigins) origin = Lower(origin);
  for (std::string& host : options_.allowHosts) host = Lower(host);
  if (!options_.auditFolder.empty()) audit_ = std::make_unique<AuditLog>(options_.auditFolder);
}

RequestGuard::~RequestGuard() = default;

bool RequestGuard::HostAllowed(const httplib::Request& req) const {
  std::string host;
  int port = 0;
  SplitHost(req.get_header_value("Host"), host, port);
  if (host.empty()) return false;
  for (const std::string& name : options_.allowHosts) {
    if (host == name) return true;
  }
  if (port == -1) port = 80;
  if (port != port_.load()) return false;
  std::string local = Lower(req.local_addr);
  if (StartsWith(local, "::ffff:")) local = local.substr(7);
  return host == "localhost" || host == "127.0.0.1" || host == "::1" ||
         (host == listenHost_ && listenHost_ != "0.0.0.0" && listenHost_ != "::") ||
         (!local.empty() && host == local);
}

const SecurityOptions::Token* RequestGuard::FindToken(const std::string& presented) const {
  const SecurityOptions::Token* found = nullptr;
  for (const SecurityOptions::Token& t : options_.tokens) {
    // Every byte of every token is looked at, whatever matches: the time says nothing.
    size_t diff = t.token.size() ^ presented.size();
    for (size_t i = 0; i < t.token.size(); ++i) {
      diff |= static_cast<unsigned char>(t.token[i]) ^
              static_cast<unsigned char>(presented.empty() ? 0 : presented[i % presented.size()]);
    }
    if (diff == 0 && found == nullptr) found = &t;
  }
  return found;
}

RequestGuard::Identity RequestGuard::FromSession(const httplib::Request& req) {
  const std::string id = CookieValue(req, kCookie);
  if (id.empty()) return {};
  std::lock_guard<std::mutex> lock(sessionsMutex_);
  auto it = sessions_.find(id);
  if (it == sessions_.end()) return {};
  if (it->second.expires < std::chrono::steady_clock::now()) {
    sessions_.erase(it);
    return {};
  }
  return it->second.who;
}

bool RequestGuard::LoopbackExempt(const httplib::Request& req) const {
  return !options_.requireToken && IsLoopbackAddress(req.remote_addr);
}

bool RequestGuard::Identify(const httplib::Request& req, httplib::Response& res, Identity& who) {
  if (options_.tokens.empty()) {
    who = {IsLoopbackAddress(req.remote_addr) ? "loopback" : "anonymous", true};
    return true;
  }
  const std::string authorization = req.get_header_value("Authorization");
  if (!authorization.empty()) {
    const SecurityOptions::Token* t =
        StartsWith(authorization, "Bearer ") ? FindToken(authorization.substr(7)) : nullptr;
    if (t == nullptr) {
      res.set_header("WWW-Authenticate", "Bearer realm=\"TavKeloASM\", error=\"invalid_token\"");
      Refuse(req, res, 401, "the token is not valid for this server");
      return false;
    }
    who = {t->name, t->role == "control"};
    return true;
  }
  who = FromSession(req);
  if (who.name.empty() && LoopbackExempt(req)) who = {"loopback", true};
  return true;
}

httplib::Server::HandlerResponse RequestGuard::Check(const httplib::Request& req,
                                                     httplib::Response& res) {
  using Handled = httplib::Server::HandlerResponse;
  current.who.clear();
  const ClientLimits::Refusal busy =
      limits_.Arrive(req.remote_addr, req.method == "POST" && req.path == "/automation/objects",
                     ClientLimits::Clock::now());
  if (busy.refused) {
    res.set_header("Retry-After", std::to_string(busy.retryAfterSeconds));
    Refuse(req, res, 429, busy.message);
    return Handled::Handled;
  }
  if (!HostAllowed(req)) {
    Refuse(req, res, 421,
           "this server is not reached as " + req.get_header_value("Host") +
               " (start it with --allow-host NAME to serve that name)");
    return Handled::Handled;
  }
  if (req.has_header("Origin")) {
    const std::string origin = Lower(req.get_header_value("Origin"));
    const bool own =
        origin == (options_.tls ? "https://" : "http://") + Lower(req.get_header_value("Host"));
    const bool listed = std::find(options_.allowOrigins.begin(), options_.allowOrigins.end(),
                                  origin) != options_.allowOrigins.end();
    if (!own && !listed) {
      Refuse(req, res, 403,
             "requests from pages of " + req.get_header_value("Origin") +
                 " are not served (start the server with --allow-origin to allow them)");
      return Handled::Handled;
    }
    if (listed) {
      res.set_header("Access-Control-Allow-Origin", req.get_header_value("Origin"));
      res.set_header("Vary", "Origin");
    }
    if (req.method == "OPTIONS") {
      res.set_header("Access-Control-Allow-Methods", "GET, POST, PUT, DELETE");
      res.set_header("Access-Control-Allow-Headers", "Content-Type, Authorization");
      res.set_header("Access-Control-Max-Age", "600");
      res.status = 204;
      return Handled::Handled;
    }
  }
  Identity who;
  if (!Identify(req, res, who)) return Handled::Handled;
  current.who = who.name;
  const bool changes = ChangesState(req.method);
  if (NeedsCredential(req.path)) {
    if (who.name.empty()) {
      res.set_header("WWW-Authenticate", "Bearer realm=\"TavKeloASM\"");
      Refuse(req, res, 401,
             "this server wants a token: send Authorization: Bearer TOKEN, or sign in on "
             "the dashboard");
      return Handled::Handled;
    }
    if (changes && !who.control) {
      Refuse(req, res, 403, "the token " + who.name + " may only read");
      return Handled::Handled;
    }
  }
  if (changes && !IsJsonType(req.get_header_value("Content-Type"))) {
    Refuse(req, res, 415, "a request that changes state must send Content-Type: application/json");
    return Handled::Handled;
  }
  return Handled::Unhandled;
}

void RequestGuard::Audit(const httplib::Request& req, const httplib::Response& res) {
  if (!audit_ || !ChangesState(req.method)) return;
  nlohmann::json entry{{"client", req.remote_addr},
                       {"who", current.who.empty() ? "unidentified" : current.who},
                       {"method", req.method},
                       {"path", req.path},
                       {"status", res.status}};
  for (const char* group : {"/methods/", "/properties/", "/api/console/", "/api/wizard/"}) {
    const size_t at = req.path.find(group);
    if (at != std::string::npos) entry["member"] = req.path.substr(at + std::strlen(group));
  }
  // The session's body is a token: it never goes into the log.
  if (req.path != "/api/session" && !req.body.empty()) {
    nlohmann::json body = nlohmann::json::parse(req.body, nullptr, false);
    if (body.is_discarded()) {
      entry["body"] = req.body.substr(0, 200);
    } else if (body.is_object() && body.contains("args")) {
      entry["args"] = body["args"];
    } else if (body.is_object() && body.contains("value")) {
      entry["args"] = nlohmann::json::array({body["value"]});
    } else if (!body.empty()) {
      entry["args"] = body;
    }
  }
  nlohmann::json answer = nlohmann::json::parse(res.body, nullptr, false);
  if (answer.is_object() && answer.contains("error")) {
    entry["error"] = answer["error"];
  } else if (answer.is_object() && answer.contains("result")) {
    entry["result"] = answer["result"];
  } else if (!answer.is_discarded()) {
    entry["result"] = answer;
  }
  audit_->Write(std::move(entry));
}

void RequestGuard::AddSessionRoutes(httplib::Server& http) {
  http.Get("/api/session", [this](const httplib::Request& req, httplib::Response& res) {
    Identity who = FromSession(req);
    const bool wanted = !options_.tokens.empty() && !LoopbackExempt(req);
    nlohmann::json answer{{"tokenWanted", wanted},
                          {"signedIn", !who.name.empty()},
                          {"insecure", options_.insecureNoAuth && options_.tokens.empty()}};
    if (!who.name.empty()) {
      answer["name"] = who.name;
      answer["role"] = who.control ? "control" : "read";
    }
    res.set_content(answer.dump(), "application/json");
  });
  http.Post("/api/session", [this](const httplib::Request& req, httplib::Response& res) {
    Answer(res, [&] {
      if (options_.tokens.empty()) throw ApiError(409, "this server asks for no tokens");
      const std::string token =
          StringField(ParseBody(req), "token", "the body needs {\"token\": \"...\"}");
      const SecurityOptions::Token* t = FindToken(token);
      if (t == nullptr) {
        res.set_header("WWW-Authenticate", "Bearer realm=\"TavKeloASM\", error=\"invalid_token\"");
        throw ApiError(401, "the token is not valid for this server");
      }
      const std::string id = NewSessionId();
      {
        std::lock_guard<std::mutex> lock(sessionsMutex_);
        const auto now = std::chrono::steady_clock::now();
        for (auto it = sessions_.begin(); it != sessions_.end();) {
          it = it->second.expires < now ? sessions_.erase(it) : std::next(it);
        }
        sessions_[id] = {{t->name, t->role == "control"}, now + kSessionLifetime};
      }
      current.who = t->name;
      // HttpOnly: no script reads it; SameSite=Strict: no other site's page sends it.
      res.set_header("Set-Cookie", std::string(kCookie) + "=" + id +
                                       "; Path=/; HttpOnly; SameSite=Strict; Max-Age=43200" +
                                       (options_.tls ? "; Secure" : ""));
      return std::make_pair(200, nlohmann::json{{"name", t->name}, {"role", t->role}});
    });
  });
  http.Delete("/api/session", [this](const httplib::Request& req, httplib::Response& res) {
    {
      std::lock_guard<std::mutex> lock(sessionsMutex_);
      sessions_.erase(CookieValue(req, kCookie));
    }
    res.set_header("Set-Cookie",
                   std::string(kCookie) + "=; Path=/; HttpOnly; SameSite=Strict; Max-Age=0");
    res.set_content(R"({"signedIn":false})", "application/json");
  });
}

void RequestGuard::Install(
    httplib::Server& http, std::function<void()> arrived,
    std::function<void(const httplib::Request&, const httplib::Response&)> answered) {
  http.set_pre_routing_handler(
      [this, arrived = std::move(arrived)](const httplib::Request& req, httplib::Response& res) {
        if (arrived) arrived();
        return Check(req, res);
      });
  // The logger runs once an answer is written, an event stream's when the stream ends.
  http.set_logger([this, answered = std::move(answered)](const httplib::Request& req,
                                                         const httplib::Response& res) {
    limits_.Finished();
    if (answered) answered(req, res);
  });
  http.set_post_routing_handler(
      [this](const httplib::Request& req, httplib::Response& res) { Audit(req, res); });
  AddSessionRoutes(http);
}

}  // namespace tavkelo
