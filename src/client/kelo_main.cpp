// kelo: the command-line client of TavKeloASM.
//
//   kelo get PrimarySpeedMPH            kelo call RaiseLifts true false
//   kelo put AutoUpdateEnabled false    kelo watch
//   kelo typelib [NAME]                 kelo sim weights 3
//   kelo history [--kind K] [--csv]     kelo history show ID      kelo schedule
//
// Members act on this user's object on the server, created at first use and kept (with a long
// lease) for the following commands; `kelo release` gives it back.

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "client/AutomationClient.hpp"
#include "members/KeloEnums.hpp"
#include "members/MemberTable.hpp"

using namespace tavkelo;

namespace {

constexpr int kObjectLeaseSeconds = 3600;

std::string StateFile(const std::string& server) {
  std::string key;
  for (char c : server) key.push_back(std::isalnum(static_cast<unsigned char>(c)) ? c : '_');
#ifdef _WIN32
  // The user's own temporary folder.
  const char* dir = std::getenv("TEMP");
  std::string folder = dir != nullptr && *dir != '\0' ? dir : ".";
  return folder + "\\kelo-object-" + key;
#else
  const char* dir = std::getenv("XDG_RUNTIME_DIR");
  std::string folder = dir != nullptr && *dir != '\0' ? dir : "/tmp";
  return folder + "/kelo-object-" + std::to_string(::getuid()) + "-" + key;
#endif
}

// This user's object: the saved one while the server still knows it, else a new one.
std::unique_ptr<RemoteObject> UseObject(AutomationClient& client) {
  std::string file = StateFile(client.BaseUrl());
  std::string id;
  std::ifstream(file) >> id;
  if (!id.empty()) {
    try {
      auto object = std::make_unique<RemoteObject>(client, id, false);
      object->Abandon();  // no background renewal for a one-shot command; each call renews
      return object;
    } catch (const ClientError& e) {
      if (e.Status() == 0) throw;
    }
  }
  auto object = std::make_unique<RemoteObject>(client, kObjectLeaseSeconds);
  object->Abandon();
  std::ofstream(file, std::ios::trunc) << object->Id() << "\n";
  std::cerr << "kelo: created object " << object->Id() << " (lease " << object->LeaseSeconds()
            << " s); call Init and Connect before commands that need the link\n";
  return object;
}

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

// A command-line word as the JSON value of a parameter's type (enumeration names allowed).
nlohmann::json ParseArgument(const std::string& word, const ParamInfo& p) {
  switch (p.type.type) {
    case AutoType::Boolean: {
      std::string w = Lower(word);
      if (w == "true" || w == "t" || w == "yes" || w == "-1" || w == "1") return true;
      if (w == "false" || w == "f" || w == "no" || w == "0") return false;
      throw std::invalid_argument(p.name + " wants true or false, not '" + word + "'");
    }
    case AutoType::String:
      return word;
    case AutoType::Enum:
      for (const EnumerationInfo& e : Enumerations()) {
        if (e.name != p.type.enumName) continue;
        for (const auto& [name, value] : e.members) {
          if (Lower(name) == Lower(word)) return value;
        }
      }
      [[fallthrough]];
    default: {
      nlohmann::json number = nlohmann::json::parse(word, nullptr, false);
      if (number.is_discarded() || !number.is_number()) {
        throw std::invalid_argument(p.name + " (" + AutoTypeName(p.type) +
                                    ") wants a number, not '" + word + "'");
      }
      return number;
    }
  }
}

std::string Describe(const nlohmann::json& value, const AutoTypeRef& type) {
  if (type.type == AutoType::Enum && value.is_number_integer()) {
    int32_t v = value.get<int32_t>();
    if (std::string(type.enumName) == "QRTXErrorConstants")
      return std::to_string(v) + " (" + ErrorToString(v) + ")";
    for (const EnumerationInfo& e : Enumerations()) {
      if (e.name != type.enumName) continue;
      for (const auto& [name, member] : e.members) {
        if (member == v) return std::to_string(v) + " (" + name + ")";
      }
    }
  }
  return value.is_string() ? value.get<std::string>() : value.dump();
}

void PrintMember(const MemberInfo& m) {
  const char* kind = m.kind == MemberKind::Method        ? "method"
                     : m.kind == MemberKind::PropertyGet ? "get"
                                                         : "put";
  std::cout << kind << "  " << m.name << "(";
  for (size_t i = 0; i < m.params.size(); ++i) {
    std::cout << (i ? ", " : "") << (m.params[i].byRef ? "ByRef " : "") << m.params[i].name
              << " As " << AutoTypeName(m.params[i].type);
  }
  std::cout << ")";
  if (m.result.type != AutoType::Void) std::cout << " As " << AutoTypeName(m.result);
  if (m.canWait) std::cout << "   [talks to the dyne]";
  std::cout << "\n";
}

void Watch(AutomationClient& client, int count) {
  int shown = 0;
#ifdef _WIN32
  bool tty = ::_isatty(::_fileno(stdout)) != 0;
#else
  bool tty = ::isatty(STDOUT_FILENO) != 0;
#endif
  client.FollowReadings([&](const nlohmann::json& r) {
    std::ostringstream out;
    char line[160];
    std::snprintf(line, sizeof line, "TavKeloASM %s  %s\n", client.BaseUrl().c_str(),
                  r.value("connected", false) ? "connected" : "not connected");
    out << line;
    std::snprintf(line, sizeof line,
                  "speed %7.2f mph   accel %6.2f mph/s   torque %8.2f ft-lb   power %6.2f hp\n",
                  r.value("speedMph", 0.0), r.value("accelerationMphPerS", 0.0),
                  r.value("torqueFtLb", 0.0), r.value("powerHp", 0.0));
    out << line;
    std::snprintf(line, sizeof line,
                  "weights left %6.0f lb  right %6.0f lb   temps frame %5.1f F  bearing %5.1f F\n",
                  r.value("leftWeightLb", 0.0), r.value("rightWeightLb", 0.0),
                  r.value("frameTempF", 0.0), r.value("bearingTempF", 0.0));
    out << line;
    out << "status:";
    for (const auto& bit : r["status"]) {
      if (bit["on"].get<bool>()) out << " [" << bit["name"].get<std::string>() << "]";
    }
    const auto& test = r["test"];
    out << "\ntest: " << test.value("name", "") << "  stage " << test.value("stage", 0)
        << "  completion " << test.value("completion", 0) << "   since last update "
        << r.value("timeSinceLastUpdateS", 0.0) << " s\n";
    std::cout << (tty ? "\x1b[H\x1b[J" : "") << out.str() << std::flush;
    return count <= 0 || ++shown < count;
  });
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"kelo: command-line client of TavKeloASM, the Kelo dynamometer automation server."};
  const char* envServer = std::getenv("TAVKELO_SERVER");
  std::string server = envServer != nullptr ? envServer : "http://127.0.0.1:5180";
  app.add_option("--server", server, "TavKeloASM's address (or $TAVKELO_SERVER)")
      ->capture_default_str();
  const char* envToken = std::getenv("TAVKELO_TOKEN");
  std::string token = envToken != nullptr ? envToken : "";
  app.add_option("--token", token,
                 "Token for a server that asks for one (or $TAVKELO_TOKEN; prefer the variable: "
                 "other users can read a command line)");
  app.require_subcommand(1);

  std::string name, value;
  std::vector<std::string> words;
  int count = 0;
  auto* get =
      app.add_subcommand("get", "Read a property of your object (indexed: kelo get NAME WHICHWIN)");
  get->add_option("name", name, "Property name, e.g. PrimarySpeedMPH")->required();
  get->add_option("index", words, "WhichWin of an indexed property");
  auto* put = app.add_subcommand("put", "Write a property (only AutoUpdateEnabled is writable)");
  put->add_option("name", name)->required();
  put->add_option("value", value)->required();
  auto* call = app.add_subcommand("call", "Call a method: kelo call RaiseLifts true false");
  call->add_option("name", name)->required();
  call->add_option("args", words,
                   "Arguments in order (enumeration names allowed, e.g. gQRTXTIWarmup)");
  auto* watch = app.add_subcommand("watch", "Live readings, refreshed in place (Ctrl-C ends)");
  watch->add_option("--count", count, "Stop after this many updates");
  auto* typelib =
      app.add_subcommand("typelib", "List the members and enumerations (or one member)");
  typelib->add_option("name", name);
  auto* sim = app.add_subcommand("sim", "A command for the simulated dyne: kelo sim help");
  sim->add_option("command", words)->required();
  auto* readings = app.add_subcommand("readings", "One snapshot of the readings store as JSON");
  auto* release = app.add_subcommand("release", "Release your object on the server");
  auto* history = app.add_subcommand(
      "history", "The runs in the station's history, newest first (kelo history show ID: one run)");
  std::string kind, status, since, until;
  int limit = 50;
  bool csv = false;
  history->add_option("show", words, "show ID: one run with its parameters and results");
  history->add_option("--kind", kind, "coastdown, parasitics, warmup, load_cell, ...");
  history->add_option("--status", status, "completed, aborted, interrupted or in_progress");
  history->add_option("--since", since, "2026-11-25, 2026-11-25T13:00:00Z or unix seconds");
  history->add_option("--until", until, "the same");
  history->add_option("--limit", limit, "Runs at most")->capture_default_str();
  history->add_flag("--csv", csv, "As CSV");
  auto* schedule = app.add_subcommand("schedule", "The calibration schedule and its states");
  app.footer("Exit status: 0 done, 1 refused or unreachable, 2 usage.");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    // --help and --version print and succeed; anything else is a usage error (status 2).
    int printed = app.exit(e);
    return printed == 0 ? 0 : 2;
  }

  try {
    AutomationClient client(server, token);
    if (*typelib) {
      for (const MemberInfo& m : MemberTable()) {
        if (name.empty() || Lower(m.name) == Lower(name)) PrintMember(m);
      }
      if (name.empty()) {
        for (const EnumerationInfo& e : Enumerations()) {
          std::cout << "enum  " << e.name << ":";
          for (const auto& [member, v] : e.members) std::cout << " " << member << "=" << v;
          std::cout << "\n";
        }
      }
      return 0;
    }
    if (*watch) {
      Watch(client, count);
      return 0;
    }
    if (*readings) {
      std::cout << client.Readings().dump(2) << "\n";
      return 0;
    }
    if (*history) {
      if (!words.empty()) {
        if (words.size() != 2 || words[0] != "show") {
          std::cerr << "kelo: history show ID\n";
          return 2;
        }
        std::cout << client.Request("GET", "/api/history/" + words[1]).dump(2) << "\n";
        return 0;
      }
      std::string query = "?limit=" + std::to_string(limit);
      for (const auto& [key, v] : {std::pair{"kind", kind}, std::pair{"status", status},
                                   std::pair{"since", since}, std::pair{"until", until}}) {
        if (!v.empty()) query += std::string("&") + key + "=" + v;
      }
      const nlohmann::json list = client.Request("GET", "/api/history" + query);
      if (csv) std::cout << "id,kind,status,startUtc,endUtc,passed,samples,reason\n";
      for (const nlohmann::json& run : list["runs"]) {
        const std::string end = run["endUtc"].is_string() ? run["endUtc"].get<std::string>() : "";
        if (csv) {
          std::cout << run["id"] << "," << run["kind"].get<std::string>() << ","
                    << run["status"].get<std::string>() << "," << run["startUtc"].get<std::string>()
                    << "," << end << "," << (run["passed"].get<bool>() ? 1 : 0) << ","
                    << run["samples"] << "," << run["reason"].dump() << "\n";
        } else {
          std::printf(
              "%6lld  %-18s  %-24s  %-11s  %-6s  %s\n",
              static_cast<long long>(run["id"].get<int64_t>()),
              run["kind"].get<std::string>().c_str(), run["startLocal"].get<std::string>().c_str(),
              run["status"].get<std::string>().c_str(), run["passed"].get<bool>() ? "passed" : "-",
              run["reason"].get<std::string>().c_str());
        }
      }
      return 0;
    }
    if (*schedule) {
      const nlohmann::json s = client.Request("GET", "/api/schedule");
      for (const nlohmann::json& item : s["items"]) {
        auto text = [](const nlohmann::json& v) {
          return v.is_string() ? v.get<std::string>() : std::string("-");
        };
        std::printf("%-14s  %-10s  last passed %-20s  due %-20s  every %g days%s%s\n",
                    item["kind"].get<std::string>().c_str(),
                    item["state"].get<std::string>().c_str(), text(item["lastPass"]).c_str(),
                    text(item["due"]).c_str(), item["intervalDays"].get<double>(),
                    item.contains("note") ? "  " : "",
                    item.contains("note") ? item["note"].get<std::string>().c_str() : "");
      }
      return 0;
    }
    if (*sim) {
      std::string line;
      for (const auto& w : words) line += (line.empty() ? "" : " ") + w;
      nlohmann::json answer = client.Simulator(line);
      std::cout << answer.value("text", "") << "\n";
      return answer.value("ok", false) ? 0 : 1;
    }
    if (*release) {
      std::string file = StateFile(server);
      std::string id;
      std::ifstream(file) >> id;
      std::remove(file.c_str());
      if (id.empty()) {
        std::cerr << "kelo: no object to release\n";
        return 0;
      }
      client.Request("DELETE", "/automation/objects/" + id);
      std::cout << "released " << id << "\n";
      return 0;
    }
    auto object = UseObject(client);
    if (*get) {
      const MemberInfo* m = FindMember(name, MemberKind::PropertyGet);
      std::map<std::string, std::string> query;
      if (m != nullptr && !m->params.empty()) {
        if (words.empty()) throw std::invalid_argument(name + " needs " + m->params[0].name);
        query[m->params[0].name] = words[0];
      }
      nlohmann::json v = object->Get(name, query);
      std::cout << (m != nullptr ? Describe(v, m->result) : v.dump()) << "\n";
      return 0;
    }
    if (*put) {
      const MemberInfo* m = FindMember(name, MemberKind::PropertyPut);
      object->Put(name, m != nullptr ? ParseArgument(value, m->params[0]) : nlohmann::json(value));
      return 0;
    }
    if (*call) {
      const MemberInfo* m = FindMember(name, MemberKind::Method);
      nlohmann::json args = nlohmann::json::array();
      for (size_t i = 0; i < words.size(); ++i) {
        if (m != nullptr && i < m->params.size()) {
          args.push_back(ParseArgument(words[i], m->params[i]));
        } else {
          args.push_back(nlohmann::json::parse(words[i], nullptr, false).is_discarded()
                             ? nlohmann::json(words[i])
                             : nlohmann::json::parse(words[i]));
        }
      }
      nlohmann::json answer = object->Call(name, args);
      if (m != nullptr && m->result.type != AutoType::Void)
        std::cout << Describe(answer["result"], m->result) << "\n";
      for (const auto& [param, out] : answer["byRef"].items())
        std::cout << param << " = " << out.dump() << "\n";
      return 0;
    }
  } catch (const ClientError& e) {
    std::cerr << "kelo: " << e.what() << "\n";
    return 1;
  } catch (const std::invalid_argument& e) {
    std::cerr << "kelo: " << e.what() << "\n";
    return 2;
  }
  return 0;
}
