#include "server/ReadingsRoutes.hpp"

#include <string>

#include "server/KeloEngine.hpp"

namespace tavkelo {

ReadingsRoutes::ReadingsRoutes(RouteContext& context, int maxStreams)
    : context_(context),
      feed_(context.Engine().Context(), context.Ports()),
      maxStreams_(maxStreams) {}

void ReadingsRoutes::AddRoutes(httplib::Server& http) {
  http.Get("/api/readings", [this](const httplib::Request&, httplib::Response& res) {
    Answer(res, [&] {
      return std::make_pair(
          200, context_.OnLoop(CallKind::NeverWaits, [&] { return feed_.Snapshot(); }));
    });
  });

  http.Get("/api/readings/stream", [this](const httplib::Request&, httplib::Response& res) {
    if (streams_.fetch_add(1) >= maxStreams_) {
      streams_.fetch_sub(1);
      return AnswerError(res, 503, "too many reading streams open");
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
}

}  // namespace tavkelo
