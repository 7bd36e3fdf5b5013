#pragma once
// The readings store for the dashboard and `kelo watch`: GET /api/readings, a snapshot, and
// GET /api/readings/stream, server-sent events, one per completed poll cycle. A stream holds its
// HTTP worker while it lasts, so their number is bounded, and a stop ends them.

#include <atomic>

#include <httplib.h>

#include "server/ApiRequest.hpp"
#include "server/ReadingsFeed.hpp"

namespace tavkelo {

class ReadingsRoutes {
 public:
  ReadingsRoutes(RouteContext& context, int maxStreams);

  void AddRoutes(httplib::Server& http);
  ReadingsFeed& Feed() { return feed_; }
  // Ends the streams (server stop).
  void Close() { feed_.Close(); }
  // Streams open now (any thread).
  int Streams() const { return streams_.load(); }

 private:
  RouteContext& context_;
  ReadingsFeed feed_;
  const int maxStreams_;
  std::atomic<int> streams_{0};
};

}  // namespace tavkelo
