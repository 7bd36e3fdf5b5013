#pragma once
// The dashboard's pages (files of the web folder at /), what the server is (GET /api/server), its
// notices (GET /api/notices?since=N), and the {"error": ...} answer of a path no route takes.

#include <string>

#include <httplib.h>

#include "server/ApiRequest.hpp"

namespace tavkelo {

class ObjectRegistry;

// webDir empty: no pages.
void AddPageRoutes(httplib::Server& http, RouteContext& context, const ObjectRegistry& objects,
                   const std::string& webDir);

}  // namespace tavkelo
