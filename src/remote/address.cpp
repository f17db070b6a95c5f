// Taking an address apart by libcurl's own rules; see address.h.
#include "address.h"

#include <curl/curl.h>

#include <memory>

#include "failure.h"

namespace vorlan::remote {
namespace {

using Url = std::unique_ptr<CURLU, decltype(&curl_url_cleanup)>;

// Empty when the address has no such part.
std::string part(const Url& url, CURLUPart which) {
  char* text = nullptr;
  if (curl_url_get(url.get(), which, &text, 0) != CURLUE_OK) return {};
  std::string result(text);
  curl_free(text);
  return result;
}

[[noreturn]] void refuse(const std::string& text, const char* reason) {
  throw Failure{RemoteFailure::kAddress, "the address '" + text + "' " + reason +
                                             "; expected http://SERVER[:PORT] or "
                                             "https://SERVER[:PORT]"};
}

bool is_loopback(const std::string& host) {
  return host == "localhost" || host == "[::1]" || host.starts_with("127.");
}

}  // namespace

Address parse_address(const std::string& text) {
  const Url url(curl_url(), curl_url_cleanup);
  if (text.find_first_of(" \t\r\n") != std::string::npos) refuse(text, "has a blank");
  if (curl_url_set(url.get(), CURLUPART_URL, text.c_str(), 0) != CURLUE_OK) {
    refuse(text, "is malformed");
  }
  const std::string scheme = part(url, CURLUPART_SCHEME);
  const std::string path = part(url, CURLUPART_PATH);
  if (scheme != "http" && scheme != "https") refuse(text, "has another protocol");
  if (!part(url, CURLUPART_USER).empty()) refuse(text, "has a user name");
  if ((path != "/" && !path.empty()) || !part(url, CURLUPART_QUERY).empty() ||
      !part(url, CURLUPART_FRAGMENT).empty()) {
    refuse(text, "has more than server and port");
  }
  Address address;
  const std::string host = part(url, CURLUPART_HOST);
  const std::string port = part(url, CURLUPART_PORT);
  if (host.empty()) refuse(text, "has no server");
  address.url = scheme + "://" + host + (port.empty() ? "" : ":" + port);
  address.is_encrypted = scheme == "https";
  address.is_this_machine = is_loopback(host);
  return address;
}

}  // namespace vorlan::remote
