#include "server/ApiRequest.hpp"

#include <limits>

namespace tavkelo {

namespace {
const char* kJson = "application/json";
}  // namespace

nlohmann::json ParseBody(const httplib::Request& req) {
  if (req.body.empty()) return nlohmann::json::object();
  nlohmann::json body = nlohmann::json::parse(req.body, nullptr, false);
  if (body.is_discarded()) throw ApiError(400, "malformed JSON in the request body");
  if (!body.is_object()) throw ApiError(400, "the request body must be a JSON object");
  return body;
}

int64_t WholeNumber(const nlohmann::json& value, const std::string& name, int64_t lo, int64_t hi) {
  bool fits = false;
  if (value.is_number_unsigned()) {
    fits = hi >= 0 && value.get<uint64_t>() <= static_cast<uint64_t>(hi) &&
           static_cast<int64_t>(value.get<uint64_t>()) >= lo;
  } else if (value.is_number_integer()) {
    fits = value.get<int64_t>() >= lo && value.get<int64_t>() <= hi;
  }
  if (!fits) {
    std::string range = hi == std::numeric_limits<int64_t>::max()
                            ? "of " + std::to_string(lo) + " or more"
                            : "from " + std::to_string(lo) + " to " + std::to_string(hi);
    throw ApiError(400, name + " must be a whole number " + range);
  }
  return value.get<int64_t>();
}

int64_t IntField(const nlohmann::json& body, const std::string& key, int64_t fallback, int64_t lo,
                 int64_t hi) {
  auto it = body.find(key);
  return it == body.end() ? fallback : WholeNumber(*it, key, lo, hi);
}

int64_t IntQuery(const httplib::Request& req, const std::string& key, int64_t fallback, int64_t lo,
                 int64_t hi) {
  if (!req.has_param(key.c_str())) return fallback;
  // The text as JSON would read it: "2" is a number, "2x", "2.0" and "" are not whole numbers.
  nlohmann::json value = nlohmann::json::parse(req.get_param_value(key.c_str()), nullptr, false);
  return WholeNumber(value, key, lo, hi);
}

std::string StringField(const nlohmann::json& body, const std::string& key,
                        const std::string& need) {
  auto it = body.find(key);
  if (it == body.end() || !it->is_string()) throw ApiError(400, need);
  return it->get<std::string>();
}

namespace {
// Texts in an answer may carry bytes that are not UTF-8 (a path's %-escapes, a value the client
// sent); they go out as U+FFFD rather than failing the request.
std::string JsonText(const nlohmann::json& body) {
  return body.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}
}  // namespace

void AnswerError(httplib::Response& res, int status, const std::string& message) {
  res.status = status;
  res.set_content(JsonText(nlohmann::json{{"error", message}}), kJson);
}

void Answer(httplib::Response& res, const std::function<std::pair<int, nlohmann::json>()>& fn) {
  int status = 200;
  nlohmann::json body;
  try {
    std::tie(status, body) = fn();
  } catch (const ApiError& e) {
    return AnswerError(res, e.Status(), e.what());
  } catch (const LoopCallDropped&) {
    return AnswerError(res, 503, "the server is stopping");
  } catch (const std::exception& e) {
    return AnswerError(res, 500, std::string("internal error: ") + e.what());
  }
  res.status = status;
  if (!body.is_null()) res.set_content(JsonText(body), kJson);
}

}  // namespace tavkelo
