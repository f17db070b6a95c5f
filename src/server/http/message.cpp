// Taking a request's target apart; see message.h.
#include "http/message.h"

namespace vorlan::server {
namespace {

int hex_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool is_control(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }

// Decodes percent signs. A plus sign is a blank in a query.
bool decode(std::string_view text, bool plus_is_blank, std::string* result) {
  result->clear();
  for (size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c == '+' && plus_is_blank) c = ' ';
    if (c == '%') {
      if (i + 2 >= text.size()) return false;
      const int high = hex_digit(text[i + 1]);
      const int low = hex_digit(text[i + 2]);
      if (high < 0 || low < 0) return false;
      c = static_cast<char>(16 * high + low);
      i += 2;
    }
    if (is_control(c)) return false;
    result->push_back(c);
  }
  return true;
}

// Takes what is before the separator off the text.
std::string_view take(std::string_view* text, char separator) {
  const size_t at = text->find(separator);
  const std::string_view part = text->substr(0, at);
  text->remove_prefix(at == std::string_view::npos ? text->size() : at + 1);
  return part;
}

bool parse_path(std::string_view path, Request* request) {
  while (!path.empty()) {
    std::string segment;
    if (!decode(take(&path, '/'), false, &segment)) return false;
    if (segment == "." || segment == ".." || segment.find('/') != std::string::npos) return false;
    if (!segment.empty()) request->path.push_back(std::move(segment));
  }
  return true;
}

bool parse_query(std::string_view query, Request* request) {
  while (!query.empty()) {
    std::string_view field = take(&query, '&');
    std::string name;
    std::string value;
    if (!decode(take(&field, '='), true, &name) || !decode(field, true, &value)) return false;
    request->query[name] = value;
  }
  return true;
}

}  // namespace

std::string_view Request::header(std::string_view name) const {
  const auto found = headers.find(name);
  return found == headers.end() ? std::string_view() : std::string_view(found->second);
}

std::optional<std::string> Request::parameter(std::string_view name) const {
  const auto found = query.find(name);
  if (found == query.end()) return {};
  return found->second;
}

bool parse_target(std::string_view target, Request* request) {
  if (!target.starts_with('/')) return false;
  std::string_view rest = target;
  const std::string_view path = take(&rest, '?');
  return parse_path(path, request) && parse_query(rest, request);
}

}  // namespace vorlan::server
