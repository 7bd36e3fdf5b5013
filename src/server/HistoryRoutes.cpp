#include "server/HistoryRoutes.hpp"

#include <cstdio>
#include <ctime>
#include <set>

#include "history/HistoryRecorder.hpp"

namespace tavkelo {

namespace {

const std::set<std::string> kKinds = {"warmup",          "parasitics",   "coastdown",
                                      "constant_target", "asm",          "vehicle_simulation",
                                      "load_cell",       "weight_scales"};
const std::set<std::string> kStatuses = {"in_progress", "completed", "aborted", "interrupted"};

std::string Number(double v) {
  char text[64];
  std::snprintf(text, sizeof text, "%.9g", v);
  return text;
}

std::string CsvField(const std::string& text) {
  if (text.find_first_of(",\"\n\r") == std::string::npos) return text;
  std::string out = "\"";
  for (char c : text) {
    if (c == '"') out += '"';
    out += c;
  }
  return out + "\"";
}

std::string CsvValue(const nlohmann::json& v) {
  if (v.is_null()) return "";
  if (v.is_string()) return CsvField(v.get<std::string>());
  if (v.is_boolean()) return v.get<bool>() ? "1" : "0";
  if (v.is_number()) return Number(v.get<double>());
  // name=value pairs for the parameters and results.
  std::string out;
  for (const auto& [name, value] : v.items()) {
    if (!out.empty()) out += "; ";
    out += name + "=" + (value.is_number() ? Number(value.get<double>()) : value.dump());
  }
  return CsvField(out);
}

const char* const kRunColumns[] = {
    "id",          "kind",     "status",     "reason",  "startUtc",    "endUtc",
    "startLocal",  "endLocal", "passed",     "samples", "firmware",    "rollDiameter",
    "baseInertia", "source",   "parameters", "results", "linkCounters"};

std::string Cursor(const nlohmann::json& row) {
  char text[80];
  std::snprintf(text, sizeof text, "%.6f_%lld", row["startUnix"].get<double>(),
                static_cast<long long>(row["id"].get<int64_t>()));
  return text;
}

}  // namespace

std::optional<double> HistoryRoutes::ParseTime(const std::string& text) {
  if (text.empty()) return std::nullopt;
  size_t used = 0;
  if (text.find_first_not_of("0123456789.") == std::string::npos) {
    try {
      const double v = std::stod(text, &used);
      if (used == text.size()) return v;
    } catch (const std::exception&) {
    }
    return std::nullopt;
  }
  struct tm t {};
  int n = 0;
  char zone = 0;
  const int fields =
      std::sscanf(text.c_str(), "%4d-%2d-%2d%n", &t.tm_year, &t.tm_mon, &t.tm_mday, &n);
  if (fields != 3 || n != 10) return std::nullopt;
  if (text.size() > 10) {
    int m = 0;
    if (std::sscanf(text.c_str() + 10, "T%2d:%2d:%2d%c%n", &t.tm_hour, &t.tm_min, &t.tm_sec, &zone,
                    &m) != 4 ||
        zone != 'Z' || 10 + static_cast<size_t>(m) != text.size())
      return std::nullopt;
  }
  if (t.tm_mon < 1 || t.tm_mon > 12 || t.tm_mday < 1 || t.tm_mday > 31 || t.tm_hour > 23 ||
      t.tm_min > 59 || t.tm_sec > 60)
    return std::nullopt;
  t.tm_year -= 1900;
  t.tm_mon -= 1;
  return static_cast<double>(timegm(&t));
}

RunFilter HistoryRoutes::ParseFilter(const httplib::Request& req, int defaultLimit, int maxLimit) {
  RunFilter f;
  f.kind = req.get_param_value("kind");
  if (!f.kind.empty() && kKinds.count(f.kind) == 0)
    throw ApiError(400,
                   "kind must be one of warmup, parasitics, coastdown, constant_target, asm, "
                   "vehicle_simulation, load_cell, weight_scales");
  f.status = req.get_param_value("status");
  if (!f.status.empty() && kStatuses.count(f.status) == 0)
    throw ApiError(400, "status must be one of in_progress, completed, aborted, interrupted");
  for (const char* key : {"since", "until"}) {
    if (!req.has_param(key)) continue;
    const std::optional<double> t = ParseTime(req.get_param_value(key));
    if (!t)
      throw ApiError(400, std::string(key) +
                              " must be a date (2026-11-25), a UTC time (2026-11-25T13:00:00Z) "
                              "or unix seconds");
    (std::string(key) == "since" ? f.since : f.until) = *t;
  }
  if (f.since && f.until && *f.until < *f.since)
    throw ApiError(400, "until must not be before since");
  f.limit = static_cast<int>(IntQuery(req, "limit", defaultLimit, 1, maxLimit));
  if (req.has_param("cursor")) {
    const std::string c = req.get_param_value("cursor");
    const size_t sep = c.find('_');
    try {
      size_t a = 0, b = 0;
      const double at = std::stod(c.substr(0, sep), &a);
      const int64_t id = std::stoll(c.substr(sep + 1), &b);
      if (sep == std::string::npos || a != sep || b != c.size() - sep - 1) throw ApiError(400, "");
      f.after = std::make_pair(at, id);
    } catch (const std::exception&) {
      throw ApiError(400, "cursor must be the nextCursor of a previous page");
    }
  }
  return f;
}

HistoryStore& HistoryRoutes::Store() {
  if (store_ == nullptr || !store_->IsOpen())
    throw ApiError(503, "the history is not available (see the server's start-up messages)");
  return *store_;
}

void HistoryRoutes::WriteMetrics(MetricsText& out) {
  if (schedule_ == nullptr || store_ == nullptr || !store_->IsOpen()) return;
  const double now =
      context_.OnLoop(CallKind::NeverWaits, [&] { return LocalOleToUnix(context_.Loop().Now()); });
  const std::vector<ScheduleItem> items = schedule_->Items(now);
  using T = MetricsText::Type;
  out.Family("tavkelo_seconds_since_last_pass",
             "Seconds since the last passing run of each scheduled kind (absent: never passed)",
             T::Gauge);
  for (const ScheduleItem& item : items)
    if (item.lastPass)
      out.Sample("tavkelo_seconds_since_last_pass", now - *item.lastPass, {{"kind", item.kind}});
  out.Family("tavkelo_schedule_state",
             "The calibration schedule: 1 for each kind's state (ok, due, overdue, never_run)",
             T::Gauge);
  for (const ScheduleItem& item : items)
    for (const char* state : {"ok", "due", "overdue", "never_run"})
      out.Sample("tavkelo_schedule_state", item.state == state ? 1.0 : 0.0,
                 {{"kind", item.kind}, {"state", state}});
}

void HistoryRoutes::AddRoutes(httplib::Server& http) {
  http.Get("/api/history", [this](const httplib::Request& req, httplib::Response& res) {
    Answer(res, [&] {
      const RunFilter filter = ParseFilter(req, 50, 1000);
      HistoryStore& store = Store();
      store.Flush();
      const std::vector<nlohmann::json> rows = store.List(filter);
      nlohmann::json answer = {{"runs", rows}, {"nextCursor", nullptr}};
      if (static_cast<int>(rows.size()) == filter.limit) answer["nextCursor"] = Cursor(rows.back());
      return std::make_pair(200, answer);
    });
  });

  http.Get("/api/history.csv", [this](const httplib::Request& req, httplib::Response& res) {
    Answer(res, [&] {
      const RunFilter filter = ParseFilter(req, 100000, 100000);
      HistoryStore& store = Store();
      store.Flush();
      std::string csv;
      for (const char* c : kRunColumns) csv += std::string(csv.empty() ? "" : ",") + c;
      csv += "\r\n";
      for (const nlohmann::json& row : store.List(filter)) {
        bool first = true;
        for (const char* c : kRunColumns) {
          csv += (first ? "" : ",") + CsvValue(row[c]);
          first = false;
        }
        csv += "\r\n";
      }
      res.set_header("Content-Disposition", "attachment; filename=\"history.csv\"");
      res.set_content(csv, "text/csv; charset=utf-8");
      return std::make_pair(200, nlohmann::json());
    });
  });

  http.Get(R"(/api/history/(\d{1,18}))",
           [this](const httplib::Request& req, httplib::Response& res) {
             Answer(res, [&] {
               HistoryStore& store = Store();
               store.Flush();
               const std::optional<nlohmann::json> row = store.Get(std::stoll(req.matches[1]));
               if (!row)
                 throw ApiError(404, "no run " + std::string(req.matches[1]) + " in the history");
               return std::make_pair(200, *row);
             });
           });

  http.Get(R"(/api/history/(\d{1,18})/trace(\.csv)?)", [this](const httplib::Request& req,
                                                              httplib::Response& res) {
    Answer(res, [&] {
      HistoryStore& store = Store();
      store.Flush();
      const int64_t id = std::stoll(req.matches[1]);
      const auto trace = store.Trace(id);
      if (!trace) throw ApiError(404, "no run " + std::to_string(id) + " in the history");
      if (req.matches[2].length() > 0) {
        std::string csv =
            "timeS,speedMph,accelerationMphPerS,torqueFtLb,powerHp,statusBits,stage\r\n";
        for (const TraceSample& s : *trace) {
          csv += Number(s.ms / 1000.0) + "," + Number(s.speedMph) + "," +
                 Number(s.accelerationMphPerS) + "," + Number(s.torqueFtLb) + "," +
                 Number(s.powerHp) + "," + std::to_string(s.statusBits) + "," +
                 std::to_string(s.stage) + "\r\n";
        }
        res.set_header("Content-Disposition",
                       "attachment; filename=\"run-" + std::to_string(id) + "-trace.csv\"");
        res.set_content(csv, "text/csv; charset=utf-8");
        return std::make_pair(200, nlohmann::json());
      }
      nlohmann::json t = nlohmann::json::array(), v = t, a = t, q = t, p = t, b = t, st = t;
      for (const TraceSample& s : *trace) {
        t.push_back(s.ms / 1000.0);
        v.push_back(s.speedMph);
        a.push_back(s.accelerationMphPerS);
        q.push_back(s.torqueFtLb);
        p.push_back(s.powerHp);
        b.push_back(s.statusBits);
        st.push_back(s.stage);
      }
      return std::make_pair(200, nlohmann::json{{"id", id},
                                                {"count", trace->size()},
                                                {"columns",
                                                 {{"timeS", t},
                                                  {"speedMph", v},
                                                  {"accelerationMphPerS", a},
                                                  {"torqueFtLb", q},
                                                  {"powerHp", p},
                                                  {"statusBits", b},
                                                  {"stage", st}}}});
    });
  });

  http.Get("/api/schedule", [this](const httplib::Request&, httplib::Response& res) {
    Answer(res, [&] {
      Store();
      if (schedule_ == nullptr) throw ApiError(503, "the schedule is not available");
      const double now = context_.OnLoop(CallKind::NeverWaits,
                                         [&] { return LocalOleToUnix(context_.Loop().Now()); });
      return std::make_pair(200, schedule_->Json(now));
    });
  });
}

}  // namespace tavkelo
