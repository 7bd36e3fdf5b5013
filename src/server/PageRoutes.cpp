#include "server/PageRoutes.hpp"

#include <limits>

#include "host/Notices.hpp"
#include "server/KeloEngine.hpp"
#include "server/ObjectRegistry.hpp"
#include "server/PortMap.hpp"

namespace tavkelo {

void AddPageRoutes(httplib::Server& http, RouteContext& context, const ObjectRegistry& objects,
                   const std::string& webDir) {
  if (!webDir.empty()) http.set_mount_point("/", webDir);
  // Chart.js where Debian installs it (libjs-chart.js), for the history page's plots.
  http.set_mount_point("/vendor/chart.js", "/usr/share/javascript/chart.js");
  http.set_error_handler([](const httplib::Request& req, httplib::Response& res) {
    if (!res.body.empty()) return;
    const std::string message =
        res.status == 404   ? "no such path: " + req.path
        : res.status == 413 ? "request body too large"
        : res.status == 400
            ? "bad request (a POST or PUT needs a body: send {} when there is nothing to say)"
            : "request failed with status " + std::to_string(res.status);
    AnswerError(res, res.status, message);
  });

  http.Get("/api/server", [&context, &objects](const httplib::Request&, httplib::Response& res) {
    Answer(res, [&] {
      return std::make_pair(200, context.OnLoop(CallKind::NeverWaits, [&] {
        PortMap* ports = context.Ports();
        nlohmann::json described = nlohmann::json::object();
        for (int16_t p = 1; ports != nullptr && p <= 4; ++p) {
          described[std::to_string(p)] = ports->Describe(p);
        }
        return nlohmann::json{{"program", "TavKeloASM"},
                              {"version", context.Engine().Context().host.ProgramVersionText},
                              {"objects", objects.Count()},
                              {"leaseSeconds", objects.DefaultLease()},
                              {"simulated", ports != nullptr && ports->AnySimulated()},
                              {"ports", described}};
      }));
    });
  });

  http.Get("/api/notices", [&context](const httplib::Request& req, httplib::Response& res) {
    Answer(res, [&] {
      const auto since =
          static_cast<uint64_t>(IntQuery(req, "since", 0, 0, std::numeric_limits<int64_t>::max()));
      nlohmann::json list = nlohmann::json::array();
      for (const Notice& n : context.Engine().Context().host.notices.Since(since)) {
        list.push_back({{"sequence", n.sequence}, {"text", n.text}, {"style", n.style}});
      }
      return std::make_pair(200, nlohmann::json{{"notices", list}});
    });
  });
}

}  // namespace tavkelo
