// The document of an error; see problem.h.
#include "api/problem.h"

#include <nlohmann/json.hpp>

namespace vorlan::server {
namespace {

const char* title_of(int status) {
  switch (status) {
    case 400:
      return "Bad request";
    case 401:
      return "Not authenticated";
    case 403:
      return "Not allowed";
    case 404:
      return "Not found";
    case 405:
      return "Method not allowed";
    case 409:
      return "Conflict";
    case 413:
      return "Too large";
    case 422:
      return "Other content under the same key";
    case 429:
      return "Too many jobs";
    case 431:
      return "Header too large";
    case 503:
      return "Not ready";
    case 507:
      return "No room left";
    default:
      return "Error";
  }
}

}  // namespace

Answer problem(int status, std::string_view kind, std::string_view detail) {
  const nlohmann::json document = {{"type", "urn:vorlan:problem:" + std::string(kind)},
                                   {"title", title_of(status)},
                                   {"status", status},
                                   {"detail", detail}};
  Answer answer;
  answer.status = status;
  answer.type = "application/problem+json";
  answer.body = document.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
  if (status == 401) answer.headers.emplace_back("WWW-Authenticate", "Bearer");
  if (status == 429 || status == 503) answer.headers.emplace_back("Retry-After", "2");
  return answer;
}

}  // namespace vorlan::server
