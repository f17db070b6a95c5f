// Text that strangers or other programs give the server and that it takes apart itself: the target of
// a request, a worker's log, the lists of a Slurm cluster. HTTP and JSON are left to libraries.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "http/message.h"
#include "run/progress.h"
#include "run/slurm_words.h"

namespace {

using namespace vorlan::server;

void require(bool condition) {
  if (!condition) std::abort();
}

std::string encoded(const std::string& text) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    result += {'%', kDigits[byte / 16], kDigits[byte % 16]};
  }
  return result;
}

std::string encoded(const Request& request) {
  std::string target = "/";
  for (const std::string& segment : request.path) target += encoded(segment) + "/";
  char before = '?';
  for (const auto& [name, value] : request.query) {
    target += before + encoded(name) + "=" + encoded(value);
    before = '&';
  }
  return target;
}

// No segment leads elsewhere, and what was understood says the same when it is written again.
void check_target(std::string_view text) {
  Request request;
  if (!parse_target(text, &request)) return;
  for (const std::string& segment : request.path) {
    require(!segment.empty() && segment != "." && segment != "..");
    require(std::none_of(segment.begin(), segment.end(),
                         [](char c) { return c == '/' || static_cast<unsigned char>(c) < 0x20; }));
  }
  Request again;
  require(parse_target(encoded(request), &again));
  require(again.path == request.path && again.query == request.query);
}

// A log tells the same wherever it is cut into pieces of whole lines, and tells it as JSON.
void check_log(std::string_view text) {
  const auto whole = ProgressReader().read_text(text);
  ProgressReader reader;
  size_t count = 0;
  while (!text.empty()) {
    const size_t end = std::min(text.find('\n'), text.size() - 1) + 1;
    for (const Progress& progress : reader.read_text(text.substr(0, end))) {
      const std::string document = progress_document(progress);
      require(count < whole.size() && document == progress_document(whole[count++]));
      require(nlohmann::json::accept(document));
    }
    text.remove_prefix(end);
  }
  require(count == whole.size());
}

void check_lists(std::string_view text) {
  const std::string id = submitted_id(text);
  require(id.find_first_not_of("0123456789") == std::string::npos);
  for (const auto& [name, job] : read_list(text)) {
    require(name.starts_with("vln-") && name.find('\n') == std::string::npos);
    for (const std::string* field : {&job.id, &job.state, &job.reason}) {
      require(field->find_first_of("|\n") == std::string::npos);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  check_target(text);
  check_log(text);
  check_lists(text);
  return 0;
}
