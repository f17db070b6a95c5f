// Answers with the page's files; see web_page.h.
#include "api/web_page.h"

#include <algorithm>

#include "base/digest.h"

namespace vorlan::server {
namespace {

// Nothing but this server's own files and its interface; no page may hold this one in a frame.
constexpr const char* kPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; "
    "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

struct ContentType {
  std::string_view suffix;
  const char* type;
};
constexpr ContentType kTypes[] = {{".html", "text/html; charset=utf-8"},
                                  {".js", "text/javascript; charset=utf-8"},
                                  {".css", "text/css; charset=utf-8"},
                                  {".svg", "image/svg+xml"},
                                  {".txt", "text/plain; charset=utf-8"}};

const char* type_of(std::string_view name) {
  for (const ContentType& type : kTypes) {
    if (name.ends_with(type.suffix)) return type.type;
  }
  return "application/octet-stream";
}

// The digest of each file, in the order of web_files().
const std::vector<std::string>& tags() {
  static const std::vector<std::string> made = [] {
    std::vector<std::string> list;
    for (const WebFile& file : web_files()) list.push_back('"' + sha256(file.content) + '"');
    return list;
  }();
  return made;
}

}  // namespace

std::optional<Answer> web_answer(const Request& request, std::string_view name) {
  if (name.empty()) name = "index.html";
  const auto& files = web_files();
  const auto file =
      std::find_if(files.begin(), files.end(), [name](const WebFile& f) { return f.name == name; });
  if (file == files.end()) return {};
  const std::string& tag = tags()[static_cast<size_t>(file - files.begin())];
  Answer answer;
  answer.type = type_of(name);
  answer.headers = {{"Content-Security-Policy", kPolicy},
                    {"Referrer-Policy", "no-referrer"},
                    {"Cross-Origin-Opener-Policy", "same-origin"},
                    {"Cross-Origin-Resource-Policy", "same-origin"},
                    {"Cache-Control", "no-cache"},
                    {"ETag", tag}};
  if (request.header("if-none-match") == tag) {
    answer.status = 304;
  } else {
    answer.body = file->content;
  }
  return answer;
}

}  // namespace vorlan::server
