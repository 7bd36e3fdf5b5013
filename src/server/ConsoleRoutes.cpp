#include "server/ConsoleRoutes.hpp"

#include <string>

#include "members/KeloEnums.hpp"
#include "server/KeloEngine.hpp"

namespace tavkelo {

ConsoleRoutes::ConsoleRoutes(RouteContext& context)
    : context_(context), console_(std::make_unique<clsKeloInterface>(context.Engine().Context())) {}

void ConsoleRoutes::AddRoutes(httplib::Server& http) {
  http.Post(R"(/api/console/([a-z-]+))", [this](const httplib::Request& req,
                                                httplib::Response& res) {
    Answer(res, [&] {
      const std::string action = req.matches[1];
      const nlohmann::json body = ParseBody(req);
      clsKeloInterface& console = *console_;
      nlohmann::json answer;
      if (action == "connect") {
        auto port = static_cast<int16_t>(IntField(body, "port", 1, 1, 255));
        answer = context_.OnLoop(CallKind::CanWait, [&] {
          console.Init(true, port, 9600, "N");
          return nlohmann::json{{"connected", console.Connect()}};
        });
      } else if (action == "disconnect") {
        answer = context_.OnLoop(CallKind::CanWait, [&] {
          console.DisConnect();
          return nlohmann::json{{"connected", false}};
        });
      } else if (action == "start") {
        auto test = static_cast<int>(IntField(body, "test", -1, 1, 6));
        if (test < 0) throw ApiError(400, "start needs {\"test\": 1 to 6}");
        // A start changes the tests' state: it queues at the top level like a command.
        answer = context_.OnLoop(CallKind::CanWait, [&] {
          return nlohmann::json{{"result", console.StartTest(static_cast<QRTXTestIndeces>(test))}};
        });
      } else if (action == "stop") {
        answer = context_.OnLoop(CallKind::CanWait, [&] {
          return nlohmann::json{{"result", console.StopTest()}};
        });
      } else if (action == "raise-lifts" || action == "lower-lifts") {
        const bool raise = action == "raise-lifts";
        answer = context_.OnLoop(CallKind::CanWait, [&] {
          return nlohmann::json{{"result", raise ? console.RaiseLifts(true, false)
                                                 : console.LowerLifts(true, false)}};
        });
      } else {
        throw ApiError(404, "no console action " + action);
      }
      if (answer.contains("result"))
        answer["text"] = ErrorToString(answer["result"].get<int32_t>());
      return std::make_pair(200, answer);
    });
  });
}

}  // namespace tavkelo
