#pragma once
// Who may reach the HTTP face and what they may do, checked before any route runs:
//  - the Host header names this server (421 otherwise), so a foreign name that a DNS rebinding
//    points at the station cannot read or command it;
//  - a request with an Origin comes from the server's own pages or a listed origin (403
//    otherwise), and CORS preflights are answered for listed origins only;
//  - a credential (a bearer token from the token file, or the session cookie the dashboard gets
//    for one) when the server wants one (401), with the control role for commands (403);
//  - state-changing requests carry a JSON body type (415), which a cross-site form cannot send.
// Every state-changing request, refused or not, is written to the audit log.

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <httplib.h>

#include "server/ClientLimits.hpp"

namespace tavkelo {

class AuditLog;

struct SecurityOptions {
  // Origins besides the server's own that may call it from a browser ("https://host:port").
  std::vector<std::string> allowOrigins;
  // Names besides the listen address, localhost, 127.0.0.1 and [::1] the server may be reached
  // at (a reverse proxy's or the station's own name), with any port.
  std::vector<std::string> allowHosts;
  struct Token {
    std::string name;
    std::string role;  // "control" or "read"
    std::string token;
  };
  // From the token file; empty: no credentials are asked for.
  std::vector<Token> tokens;
  // Credentials also for clients on loopback.
  bool requireToken = false;
  // Serving beyond loopback without tokens was asked for explicitly (the dashboard says so).
  bool insecureNoAuth = false;
  // The audit log's folder; empty: no audit log.
  std::string auditFolder;
  // The server answers over TLS: its own origin is https://, and the session cookie is Secure.
  bool tls = false;
  // Requests in progress and object creations a minute, per client address (429 beyond).
  ClientLimits::Limits limits;
};

// Why the token file may not be used as it is ("" when only its owner can read it): it cannot be
// read, or other users may read it. One source per platform (TokenFileAccess.cpp).
std::string TokenFileExposure(const std::string& path);
// Reads a token file of lines "NAME ROLE TOKEN" (blank lines and # comments skipped). False with
// `error` set when the file cannot be read, is open to other users, or a line is wrong.
bool LoadTokenFile(const std::string& path, std::vector<SecurityOptions::Token>& tokens,
                   std::string& error);
// Whether a listen or peer address is the local machine's loopback.
bool IsLoopbackAddress(const std::string& address);
// Why the server must not start with these options on this listen address; empty when it may.
std::string StartupRefusal(const std::string& listenHost, const SecurityOptions& options);

class RequestGuard {
 public:
  RequestGuard(SecurityOptions options, std::string listenHost);
  ~RequestGuard();
  RequestGuard(const RequestGuard&) = delete;
  RequestGuard& operator=(const RequestGuard&) = delete;

  // The checks before routing, the audit after it, and /api/session (GET: what the server wants
  // of this client; POST {"token"}: a session cookie; DELETE: sign out). `arrived` runs first
  // for every request and `answered` last, refused or not (the metrics count requests there).
  void Install(
      httplib::Server& http, std::function<void()> arrived = {},
      std::function<void(const httplib::Request&, const httplib::Response&)> answered = {});
  // The port the server is reached at, once bound.
  void SetPort(int port) { port_ = port; }

 private:
  struct Identity {
    std::string name;  // token name, "loopback" or "anonymous"; empty: none
    bool control = false;
  };
  struct Session {
    Identity who;
    std::chrono::steady_clock::time_point expires;
  };

  bool HostAllowed(const httplib::Request& req) const;
  // The token's entry, compared in constant time; nullptr when none matches.
  const SecurityOptions::Token* FindToken(const std::string& presented) const;
  Identity FromSession(const httplib::Request& req);
  // Who the request comes from; false with the refusal answered when its credential is wrong.
  bool Identify(const httplib::Request& req, httplib::Response& res, Identity& who);
  bool LoopbackExempt(const httplib::Request& req) const;
  httplib::Server::HandlerResponse Check(const httplib::Request& req, httplib::Response& res);
  void Audit(const httplib::Request& req, const httplib::Response& res);
  void AddSessionRoutes(httplib::Server& http);

  SecurityOptions options_;
  std::string listenHost_;
  std::atomic<int> port_{0};
  std::unique_ptr<AuditLog> audit_;
  ClientLimits limits_;
  std::mutex sessionsMutex_;
  std::map<std::string, Session> sessions_;
};

}  // namespace tavkelo
