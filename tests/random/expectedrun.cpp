// expectedrun.cpp - the commands one by one, in the order of the program's manual.
#include "expectedrun.h"

#include <charconv>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <set>
#include <sstream>
#include <string_view>

#include "../command/expectedfilename.h"
#include "../command/expectedreport.h"
#include "../recording/quoting.h"

namespace random_runs {
namespace {

using recording::quote;

const std::string usage =
    R"(vorlancli [ COMMANDS ... ]
  Command line interface to VORLAN
  COMMANDS are execured in the order they are written.
COMMANDS:
	-h, -help
	  Print this help summary
	-license
	  Print a license summary
	-log[:ARGS] FILE
	  FILE indicates the file where output is written. '-' means stderr.
	  ARGS:
	    append[=(yes|no)] 'no' (default) indicates that FILE is overwritten, otherwise new log output is appended.
	-read[:ARGS] FILE
	  FILE is the problem file to read
	  ARGS:
	    (safe|unsafe) indicated whether to clear settings that might cause arbitrary files to be written.
	    format=(task|ptf|mps|...)[+(zst|gz)] Force the read format and compression.
	    async[=on|off] Use asynchronous reading
	-no-solutions (true|false)
	  Exclude solutions when writing files that support solutions (JSON, OPF, PTF)
	-write[:ARGS] FILE
	  FILE is the problem file to write
	  ARGS:
	    async[=on|off] Use asynchronous writing
	-write-solution[:ARGS] FILE
	  FILE is the solution file to write
	  ARGS:
	    (json|task|plain) indicated the format in which to write.
	-d PARNAME PARVAL
	  PARNAME is the C API name of a parameter to set
	  PARVAL  is value to set the parameter to
	-solve[:ARGS]
	  ARGS:
	    [max|min] indicates the objective sense to use
	    res=FILENAME indicates where to write the name of the rescode from the solver
	    trm=FILENAME indicates where to write the name of the termination code from the solver
	    msg=FILENAME indicates where to write the error message (if any) from the solver
	    time-limit=SECONDS indicates the solver timelimit, 0 (default) meaning unlimited.
	    remote-access-token=TOKEN Indicates a solver server access token to use.
	    remote=[http|https]://SERVER[:PORT] Indicates a solver server to use.

Example:
  vorlancli -read mytask.task -write mytask.opf
  vorlancli -log - -read mytask.task -solve:res=out.res,time-limit=20 -write-solution:json mytask.sol
)";

const std::string license =
    "  VORLAN License\n"
    "  =============\n"
    "\n"
    "  The VORLAN license conditions are included in the distro as\n"
    "  \tvorlan-eula.pdf\n"
    "  and can additionally be found at \n"
    "  \thttps://vorlan.example/license\n";

// The run ends here through an exception: what the trace and standard error show of it.
struct Uncaught {
  std::string shown;
  std::string runtime;
};

[[noreturn]] void raisecode(std::int32_t code, const char* file, int line) {
  throw Uncaught{"uncaught VLNException " + std::to_string(code) + ' ' + quote(file) + ' ' +
                     std::to_string(line),
                 "VLNException'\n"};
}

[[noreturn]] void raisetext(const std::string& text) {
  throw Uncaught{
      "uncaught std::string " + quote(text),
      "std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >'\n"};
}

[[noreturn]] void raisenoplus(std::size_t size) {
  const std::string text =
      "basic_string_view::substr: __pos (which is 18446744073709551615) > this->size() (which is " +
      std::to_string(size) + ")";
  throw Uncaught{"uncaught std::out_of_range " + quote(text),
                 "std::out_of_range'\n  what():  " + text + '\n'};
}

struct Item {
  std::string key;
  std::string value;  // the item's own or the one that an earlier item left
};

std::vector<Item> itemsof(const std::string& args) {
  std::vector<Item> items;
  std::string value;
  std::istringstream stream(args);  // a trailing ',' begins no item
  for (std::string item; std::getline(stream, item, ',');) {
    const std::size_t equals = item.find('=');
    if (equals != std::string::npos) value = item.substr(equals + 1);
    items.push_back({item.substr(0, equals), value});
  }
  return items;
}

bool isoneof(const std::string& text, std::initializer_list<std::string_view> words) {
  for (const std::string_view word : words) {
    if (word == text) return true;
  }
  return false;
}

bool asksforasync(const std::string& value) { return isoneof(value, {"yes", "true", "on", ""}); }

// The number at the start of the text, if it is one and in range.
std::optional<std::int32_t> number(const std::string& text) {
  const bool negative = text.starts_with('-');
  std::int64_t result = 0;
  std::size_t position = negative ? 1 : 0;
  const std::size_t first = position;
  for (; position < text.size() && text[position] >= '0' && text[position] <= '9'; ++position) {
    result = result * 10 + (text[position] - '0');
    if (result > 3'000'000'000) return std::nullopt;
  }
  if (position == first) return std::nullopt;
  if (negative) result = -result;
  if (result > INT32_MAX || result < INT32_MIN) return std::nullopt;
  return static_cast<std::int32_t>(result);
}

std::string part(const std::string& name, const Range& range) {
  return name.substr(static_cast<std::size_t>(range.begin), static_cast<std::size_t>(range.length));
}

std::string printed(double number) {
  std::ostringstream text;
  text << number;
  return text.str();
}

class ExpectedRun {
 public:
  explicit ExpectedRun(const Run& run) : run_(run), library_(run.library) {}

  Expected result() {
    try {
      expected_.status = main();
    } catch (const Uncaught& error) {
      expected_.aborted = true;
      line(error.shown);
      expected_.standard_error +=
          "terminate called after throwing an instance of '" + error.runtime;
    }
    return std::move(expected_);
  }

 private:
  // ---- the library

  void line(const std::string& text) { expected_.trace.push_back(text); }

  // One call: the code that it ends with, after all that happens meanwhile.
  std::int32_t call(const std::string& operation, const std::string& arguments) {
    line(operation + '(' + arguments + ')');
    const std::int64_t count = ++calls_[operation];
    std::int32_t code = 0;
    for (const Event& event : run_.events) {
      if (event.operation != operation || (event.call != 0 && event.call != count)) continue;
      happen(event, code);
    }
    return code;
  }

  void happen(const Event& event, std::int32_t& code) {
    switch (event.kind) {
      case Event::Kind::code:
        code = event.code;
        break;
      case Event::Kind::sigterm:
        stopped_ = true;
        break;
      case Event::Kind::log:
        if (log_to_error_) expected_.standard_error += event.text;
        break;
      case Event::Kind::callback: {
        const bool stop = stopped_ || (time_limit_ > 0 && event.seconds > time_limit_);
        line("  callback(" + printed(event.seconds) + ") = " + (stop ? "1" : "0"));
        break;
      }
    }
  }

  // A call whose failure ends the run.
  void checked(int sourceline, const std::string& operation, const std::string& arguments) {
    const std::int32_t code = call(operation, arguments);
    if (code != 0) raisecode(code, "src/command/vorlancli", sourceline);
  }

  void putintparam(int param, int value) {
    call("VLN_putintparam", "task, " + std::to_string(param) + ", " + std::to_string(value));
  }
  std::int32_t getintparam(int param) {
    call("VLN_getintparam", "task, " + std::to_string(param) + ", out");
    return library_.intparams.at(param);
  }
  void parameter45(int sourceline) {
    checked(sourceline, "VLN_putintparam", std::string("task, 45, ") + (names_shown_ ? "1" : "0"));
  }

  std::int64_t readclock() {
    line("clock_gettime(0)");
    const std::int64_t reading = run_.clock[clock_];
    if (clock_ + 1 < run_.clock.size()) ++clock_;
    return reading;
  }

  void note(const std::string& text, const std::string& name, bool asview) {
    call("VLN_echotask",
         "task, 0, " + quote(text + ": %s\n") + (asview ? ", view " : ", ") + quote(shown(name)));
  }

  std::string shown(const std::string& name) const { return names_shown_ ? name : "<filename>"; }

  // ---- files

  // The name under which a written file is found afterwards; none if it cannot be created or is
  // not an ordinary file below the folder.
  static std::optional<std::string> place(const std::string& name) {
    if (name.empty() || name.starts_with('/') || name.ends_with('/')) return std::nullopt;
    const std::filesystem::path path(name);
    for (const std::filesystem::path& folder : path.parent_path()) {
      if (folder != "d" && folder != "." && folder != "..") return std::nullopt;
    }
    const std::string normal = path.lexically_normal().string();
    if (isoneof(normal, {"d", "d/", ".", "..", "./"}) || normal.starts_with("../")) {
      return std::nullopt;
    }
    return normal;
  }

  void writefile(const std::string& name, const std::string& text) {
    if (const auto found = place(name)) expected_.files[*found] = text;
  }

  // ---- the driver

  int main() {
    if (run_.words.empty()) {
      expected_.standard_error += usage;
      return 0;
    }
    if (const auto code = call("VLN_makeemptytask", "null, out"); code != 0) {
      raisecode(code, "src/command/vorlancli", 105);
    }
    checked(384, "VLN_putcallbackfunc", "task, function, null");
    parameter45(387);
    while (next_ < run_.words.size()) {
      const std::string word = run_.words[next_++];
      if (!dispatch(word)) {
        expected_.standard_error += "Unexpected command: " + word + '\n';
        call("VLN_deletetask", "&task");
        return 1;
      }
      parameter45(920);
    }
    call("VLN_deletetask", "&task");
    return 0;
  }

  // False for a word that is no command.
  bool dispatch(const std::string& word) {
    const std::size_t colon = word.find(':');
    const std::string name = word.substr(0, colon);
    if (name.size() < 2 || name[0] != '-' || name[1] == '-') return false;
    const std::string args = colon == std::string::npos ? "" : word.substr(colon + 1);
    const std::vector<Item> items = itemsof(args);
    if (isoneof(name, {"-h", "-help"})) {
      expected_.standard_error += usage;
    } else if (name == "-license") {
      expected_.standard_error += license;
    } else if (name == "-log-anonymous") {
      loganonymous(items);
    } else if (name == "-log") {
      log(items);
    } else if (word == "-d") {
      parameter();
    } else if (word == "-no-solutions") {
      nosolutions();
    } else if (name == "-read") {
      read(items);
    } else if (name == "-write") {
      write(items);
    } else if (name == "-read-solution") {
      readsolution(items);
    } else if (name == "-write-solution") {
      writesolution(items);
    } else if (name == "-solve") {
      solve(items);
    } else if (name == "-pid-file") {
      pidfile();
    } else if (name == "-indicator-file") {
      indicatorfile(items);
    } else {
      expected_.standard_error += "Unexpected command: " + word + '\n';
      raisetext("Unexpected command");
    }
    return true;
  }

  std::optional<std::string> take() {
    if (next_ == run_.words.size()) return std::nullopt;
    return run_.words[next_++];
  }

  // ---- log, parameters, process files

  void loganonymous(const std::vector<Item>& items) {
    for (const Item& item : items) {
      if (item.key == "yes") names_shown_ = true;
      if (item.key == "no") names_shown_ = false;
    }
  }

  void log(const std::vector<Item>& items) {
    bool append = false;
    for (const Item& item : items) {
      if (item.key != "append") continue;
      if (item.value == "yes") append = true;
      if (isoneof(item.value, {"no", ""})) append = false;
    }
    const auto file = take();
    if (!file) return;
    note("Set log file", *file, true);
    if (*file == "-") {
      checked(444, "VLN_linkfunctotaskstream", "task, 0, null, function");
      log_to_error_ = true;
    } else {
      checked(447, "VLN_linkfiletotaskstream",
              "task, 0, " + quote(*file) + (append ? ", 1" : ", 0"));
      log_to_error_ = false;
    }
  }

  void parameter() {
    const auto name = take();
    const auto value = take();
    if (name && value) checked(456, "VLN_putparam", "task, " + quote(*name) + ", " + quote(*value));
  }

  void nosolutions() {
    const auto word = take();
    if (word && isoneof(*word, {"yes", "on", "true"})) solutions_ = false;
    if (word && isoneof(*word, {"no", "off", "false"})) solutions_ = true;
  }

  void pidfile() {
    const auto file = take();
    if (!file) return;
    note("Write PID file", *file, true);
    writefile(*file, "{pid}");
  }

  void indicatorfile(const std::vector<Item>& items) {
    const auto file = take();
    if (!file) return;
    note("Write indicator file", *file, true);
    writefile(*file, items.empty() ? "" : items.front().key);
  }

  // ---- problem files

  void read(const std::vector<Item>& items) {
    bool safe = true;
    bool async = false;
    std::int32_t printtime = 1;
    for (const Item& item : items) {
      if (item.key == "async") {
        if (asksforasync(item.value)) async = true;
      } else if (item.key == "printtime") {
        printtime = number(item.value).value_or(printtime);
      } else if (item.key == "format") {
        checkreadformat(item.value);
      } else if (item.key == "mode") {
        if (item.value == "safe") safe = true;
        if (item.value == "unsafe") safe = false;
      } else if (item.value.empty() && isoneof(item.key, {"safe", "unsafe"})) {
        safe = item.key == "safe";
      } else {
        raisetext("Invalid argument for -read");
      }
    }
    const auto file = take();
    if (!file) return;
    note("Read file", *file, false);
    const std::int32_t kept = getintparam(127);
    putintparam(127, async ? 1 : 0);
    const std::int64_t begin = readclock();
    checked(535, "VLN_readdata", "task, " + quote(*file));
    const std::int64_t end = readclock();
    putintparam(127, kept);
    if (printtime != 0) {
      expected_.standard_error += "Read time " + printed(static_cast<double>(end - begin) * 1e-9) +
                                  " sec: " + shown(*file) + '\n';
    }
    for (int param = 0; safe && param < 24; ++param) {
      call("VLN_putstrparam", "task, " + std::to_string(param) + ", \"\"");
    }
  }

  static std::pair<std::string, std::string> splitformat(const std::string& value) {
    const std::size_t plus = value.rfind('+');
    if (plus == std::string::npos) raisenoplus(value.size());
    return {value.substr(0, plus), value.substr(plus)};
  }

  static void checkreadformat(const std::string& value) {
    const auto [word, suffix] = splitformat(value);
    if (!isoneof(word, {"mps", "task", "ptf", "lp", "opf", "cbf", ""})) {
      raisetext("Invalid file format");
    }
    if (!isoneof(suffix, {"+gz", "+zstd"})) raisetext("Invalid file extension format");
  }

  void write(const std::vector<Item>& items) {
    bool async = false;
    for (const Item& item : items) {
      if (item.key == "async" && asksforasync(item.value)) async = true;
    }
    const auto file = take();
    if (!file) return;
    note("Write file", *file, false);
    const std::int32_t kept125 = getintparam(125);
    const std::int32_t kept109 = getintparam(109);
    const std::int32_t kept168 = getintparam(168);
    putintparam(125, solutions_ ? 1 : 0);
    putintparam(109, solutions_ ? 1 : 0);
    putintparam(168, async ? 1 : 0);
    checked(593, "VLN_writedata", "task, " + quote(*file));
    putintparam(125, kept125);
    putintparam(109, kept109);
    putintparam(168, kept168);
  }

  // ---- solution files

  static int compressionof(const std::string& extension, const std::string& command) {
    if (extension.empty()) return 0;
    if (extension == ".gz") return 2;
    if (extension == ".zst") return 3;
    raisetext("Invalid file compression extension for " + command);
  }

  void readsolution(const std::vector<Item>& items) {
    const auto file = take();
    if (!file) return;
    const Ranges parts = expectedranges(*file);
    int compression = compressionof(part(*file, parts.compression), "-read-solution");
    bool isb = part(*file, parts.format) == ".b";
    for (const Item& item : items) {
      if (item.key != "format") continue;
      const auto [word, suffix] = splitformat(item.value);
      if (!isoneof(word, {"b", "plain"})) raisetext("Invalid format for -read-solution");
      isb = word == "b";
      if (!isoneof(suffix, {"+zstd", "+gzip"})) {
        raisetext("Invalid format extension for -read-solution:format");
      }
      compression = suffix == "+zstd" ? 3 : 2;
    }
    note("Read solution file", *file, false);
    if (isb) {
      checked(648, "VLN_readbsolution",
              "task, " + quote(*file) + ", " + std::to_string(compression));
    }
  }

  void writesolution(const std::vector<Item>& items) {
    const auto file = take();
    if (!file) return;
    const Ranges parts = expectedranges(*file);
    int compression = compressionof(part(*file, parts.compression), "-write-solution");
    const std::string extension = part(*file, parts.format);
    if (!isoneof(extension, {".json", ".jtask", ".task", ".b", ".plain", ""})) {
      raisetext("Invalid file extension for -write-solution");
    }
    std::string writer = extension.empty() ? "plain" : extension.substr(1);
    for (const Item& item : items) {
      if (item.key != "format") raisetext("Invalid argument for -write-solution");
      const auto [word, suffix] = splitformat(item.value);
      if (!isoneof(suffix, {"+zstd", "+gzip"}) ||
          !isoneof(word, {"json", "jtask", "task", "plain", "b"})) {
        raisetext("Invalid format for -write-solution");
      }
      compression = suffix == "+zstd" ? 3 : 2;
      writer = word;
    }
    note("Write solution file", *file, false);
    const std::string compressed = "task, " + quote(*file) + ", " + std::to_string(compression);
    if (writer == "task") {
      checked(705, "VLN_writetasksolverresult_file", compressed);
    } else if (writer == "b") {
      checked(714, "VLN_writebsolution", compressed);
    } else if (writer == "plain") {
      plainreport(*file);
    } else {
      checked(708, "VLN_writejsonsol", "task, " + quote(*file));
    }
  }

  void plainreport(const std::string& file) {
    std::string text;
    const auto printout = [&] {
      if (file == "-") {
        expected_.standard_output += text;
      } else {
        writefile(file, text);
      }
    };
    for (const ReportStep& step : expectedreport(library_)) {
      text += step.text;
      if (step.call.empty()) continue;
      const std::size_t open = step.call.find('(');
      const std::string given = step.call.substr(open + 1, step.call.size() - open - 2);
      const std::int32_t code =
          call(step.call.substr(0, open), (given.empty() ? "task" : "task, " + given) + ", out");
      if (code == 0 || step.line == 0) continue;
      printout();
      raisecode(code, "src/command/vorlanplainsol", step.line);
    }
    printout();
  }

  // ---- solve

  struct Settings {
    std::optional<int> sense;
    bool printtime = false;
    std::map<std::string, std::string> texts;  // res, trm, msg, opttime, remote, the token
    std::map<std::string, std::int32_t> limits;
  };

  Settings settingsof(const std::vector<Item>& items) {
    Settings settings;
    for (const Item& item : items) {
      if (item.key == "max") settings.sense = 1;
      if (item.key == "min") settings.sense = 0;
      if (item.key == "printtime") settings.printtime = true;
      if (isoneof(item.key, {"res", "trm", "msg", "opttime", "remote", "remote-access-token"})) {
        settings.texts[item.key] = item.value;
      }
      if (item.key == "time-limit") settimelimit(item.value);
      if (isoneof(item.key, {"max-numvar", "max-numcon"})) {
        const auto limit = number(item.value);
        if (!limit) raisetext("Invalid " + item.key + " value in -solve");
        settings.limits[item.key] = *limit;
      }
    }
    return settings;
  }

  void settimelimit(const std::string& value) {
    const auto parsed = std::from_chars(value.data(), value.data() + value.size(), time_limit_);
    if (parsed.ec != std::errc{}) raisetext("Invalid value for time-limit in -solve");
  }

  void solve(const std::vector<Item>& items) {
    if (stopped_) return;
    time_limit_ = 0.0;
    Settings settings = settingsof(items);
    checksize(settings);
    const std::int32_t kept = library_.sense;
    if (settings.sense) {
      checked(815, "VLN_getobjsense", "task, out");
      checked(816, "VLN_putobjsense", "task, " + std::to_string(*settings.sense));
    }
    const std::string address = settings.texts["remote"];
    const std::string token = settings.texts["remote-access-token"];
    const std::int64_t begin = readclock();
    const std::int32_t code =
        address.empty()
            ? call("VLN_optimizetrm", "task, out")
            : call("VLN_optimizermt", "task, " + quote(address) + ", " + quote(token) + ", out");
    const std::int64_t end = readclock();
    report(settings, code, printed(static_cast<double>(end - begin) * 1e-9));
    if (settings.sense) {
      checked(872, "VLN_getobjsense", "task, out");
      checked(873, "VLN_putobjsense", "task, " + std::to_string(kept));
    }
  }

  void checksize(Settings& settings) {
    const std::int32_t maxvariables = settings.limits["max-numvar"];
    const std::int32_t maxconstraints = settings.limits["max-numcon"];
    if (maxvariables <= 0 && maxconstraints <= 0) return;
    for (const char* query :
         {"VLN_getnumvar", "VLN_getnumcon", "VLN_getnumcone", "VLN_getnumbarvar"}) {
      call(query, "task, out");
    }
    std::int64_t variables = library_.numvar;
    for (std::int32_t j = 0; j < library_.numbarvar; ++j) {
      call("VLN_getdimbarvarj", "task, " + std::to_string(j) + ", out");
      const std::int64_t d = library_.dims[static_cast<std::size_t>(j)];
      variables += d * (d + 1) / 2;
    }
    const std::int64_t constraints = library_.numcon + library_.numcone;
    std::string message;
    if (maxconstraints > 0 && constraints > maxconstraints) message = "Too many constraints";
    if (maxvariables > 0 && variables > maxvariables) message = "Too many variables";
    if (message.empty()) return;
    writefile(settings.texts["res"], "VLN_RES_ERR_SERVER_PROBLEM_SIZE");
    writefile(settings.texts["msg"], message);
    raisecode(8008, "src/command/vorlancli", 809);
  }

  std::string codename(std::int32_t code) {
    call("VLN_getcodedesc", std::to_string(code) + ", out, out");
    const auto found = library_.codenames.find(code);
    return found == library_.codenames.end() ? "" : found->second;
  }

  void report(Settings& settings, std::int32_t code, const std::string& seconds) {
    if (settings.printtime) {
      expected_.standard_error += "Solve time " + seconds + '\n';
      writefile(settings.texts["opttime"], seconds);
    }
    if (!settings.texts["res"].empty()) writefile(settings.texts["res"], codename(code));
    if (!settings.texts["trm"].empty()) writefile(settings.texts["trm"], codename(run_.trm));
    if (settings.texts["msg"].empty()) return;
    std::string message;
    if (code != 0) {
      call("VLN_getlasterror", "task, out, 0, out, null");
      if (run_.lastmsglen > 0) {
        call("VLN_getlasterror",
             "task, out, " + std::to_string(run_.lastmsglen + 1) + ", out, out");
        message = library_.lasterror.substr(0, static_cast<std::size_t>(run_.lastmsglen));
      }
    }
    writefile(settings.texts["msg"], message);
  }

  const Run& run_;
  const vlntaskt& library_;
  Expected expected_;
  std::map<std::string, std::int64_t> calls_;
  std::size_t next_ = 0;
  std::size_t clock_ = 0;
  bool names_shown_ = true;
  bool solutions_ = true;
  bool log_to_error_ = false;
  bool stopped_ = false;
  double time_limit_ = 0.0;
};

}  // namespace

Expected expect(const Run& run) { return ExpectedRun(run).result(); }

}  // namespace random_runs
