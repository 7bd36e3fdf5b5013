#pragma once
// What every route group of the HTTP face shares: reading a request's JSON body, its fields and
// its query parameters with a clear 400 when they are wrong, answering a failed call as
// {"error": "..."}, and running a call on the event loop as one that can wait or not.

#include <atomic>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>

#include <httplib.h>
#include <nlohmann/json.hpp>

#include "runtime/EventLoop.hpp"

namespace tavkelo {

class KeloEngine;
class PortMap;

// A failed call of the API itself (not of the member): its HTTP status and what was wrong.
class ApiError : public std::runtime_error {
 public:
  ApiError(int status, const std::string& message) : std::runtime_error(message), status_(status) {}
  int Status() const { return status_; }

 private:
  int status_;
};

// The body as a JSON object; {} when there is none.
nlohmann::json ParseBody(const httplib::Request& req);
// A whole number from lo to hi; ApiError(400, "<name> must be a whole number from <lo> to <hi>")
// for anything else.
int64_t WholeNumber(const nlohmann::json& value, const std::string& name, int64_t lo, int64_t hi);
// The whole number in the body's field `key`, or `fallback` when there is no such field.
int64_t IntField(const nlohmann::json& body, const std::string& key, int64_t fallback, int64_t lo,
                 int64_t hi);
// The same from the query parameter `key` (?port=2).
int64_t IntQuery(const httplib::Request& req, const std::string& key, int64_t fallback, int64_t lo,
                 int64_t hi);
// The string in the body's field `key`; ApiError(400, need) when it is missing or not a string.
std::string StringField(const nlohmann::json& body, const std::string& key,
                        const std::string& need);

// Answers with the status and JSON that fn returns (a null JSON sends no body), or, when fn
// throws, with {"error": "..."} and the status of what went wrong.
void Answer(httplib::Response& res, const std::function<std::pair<int, nlohmann::json>()>& fn);
void AnswerError(httplib::Response& res, int status, const std::string& message);

// The engine and the ports as the route groups reach them: from the HTTP worker threads, every
// call runs on the loop.
class RouteContext {
 public:
  RouteContext(EventLoop& loop, KeloEngine& engine, PortMap* ports)
      : loop_(loop), engine_(engine), ports_(ports) {}

  EventLoop& Loop() { return loop_; }
  // On the loop only, but for what is safe from any thread (the notices).
  KeloEngine& Engine() { return engine_; }
  PortMap* Ports() { return ports_; }

  // Runs fn on the loop and returns what it returns (or throws what it throws). A call that can
  // wait runs at the loop's top level, one at a time; the others also inside another call's
  // wait. ApiError(503) once the server is stopping; LoopCallDropped (answered as 503) when the
  // loop stopped before it could run the call.
  template <class F>
  auto OnLoop(CallKind kind, F&& fn) -> std::invoke_result_t<F&> {
    if (stopping_) throw ApiError(503, "the server is stopping");
    return loop_.Invoke(std::forward<F>(fn), kind);
  }
  // Refuses every call from now on; false when it did so already.
  bool BeginStop() { return !stopping_.exchange(true); }

 private:
  EventLoop& loop_;
  KeloEngine& engine_;
  PortMap* ports_;
  std::atomic<bool> stopping_{false};
};

}  // namespace tavkelo
