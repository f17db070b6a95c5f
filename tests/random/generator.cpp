// generator.cpp - a random run from a seed. Most of a command line is meant to be understood, so that runs
// get far; some words and some bytes are not.
#include "generator.h"

#include <random>
#include <sstream>
#include <string_view>

#include "../recording/quoting.h"

namespace random_runs {
namespace {

using Texts = std::vector<std::string_view>;

// File names: the shapes that decide about formats, and places where no file can be. "d" is a
// folder, "missing" is not there.
const Texts files = {"sol",
                     "sol.json",
                     "sol.task",
                     "sol.b",
                     "sol.plain",
                     ".json.gz",
                     ".task.zst",
                     ".b.gz",
                     ".plain.gz",
                     "sol.jtask",
                     "./sol.b.gz",
                     "d/x.plain",
                     "./x.plain",
                     "sol.sol",
                     "missing/x",
                     "d/s.json.gz",
                     "x.",
                     "...",
                     "-",
                     "",
                     ".",
                     "d",
                     "a b",
                     "x:y",
                     "caf\xc3\xa9.plain",
                     "/dev/null",
                     "/dev/full",
                     "d/../y.plain",
                     "missing/d.x/f",
                     ".plain.xz"};
const Texts resultfiles = {"r.txt", "t.txt", "m.txt", "d/r", "missing/r", "d", "r=x", "."};
const Texts times = {"0", "5", "-5", "1.5", "20s", "inf", "nan",  "1e-3", "+5",
                     "",  "x", ".5", "5.",  "1e",  " 5",  "-inf", "60",   "infinity"};
const Texts numbers = {
    "0",          "1",          "3",           "5",           "12abc",
    "-3",         "",           "x",           "+1",          " 1",
    "2147483648", "2147483647", "-2147483648", "-2147483649", "99999999999999999999",
    "007"};
const Texts formats = {"b+gzip",   "plain+zstd", "json+gzip", "task+zstd", "jtask+gzip",
                       "b+zstd",   "mps+gz",     "task+gz",   "lp+zstd",   "+gz",
                       "+zstd",    "b",          "",          "mps+",      "xml+gzip",
                       "a+b+gzip", "opf+gz",     "b+zst",     "json+gz",   "plain+gzip"};
const Texts asyncs = {"yes", "true", "on", "", "no", "off", "YES"};
const Texts badwords = {"x",
                        "-",
                        "",
                        "--log",
                        "-:a",
                        "-bogus",
                        "-d:1",
                        "-no-solutions:yes",
                        "-Read",
                        "-read ",
                        "-logs",
                        "-solv",
                        "--",
                        ":",
                        "-write-solutions"};

class Generator {
 public:
  explicit Generator(std::uint64_t seed) : random_(seed) {}

  Run run() {
    for (int i = 1 + pick(7); i > 0; --i) command();
    if (pick(6) == 0) run_.words.resize(1 + static_cast<std::size_t>(pick(3)));
    library();
    for (int i = pick(4); i > 0; --i) event();
    std::int64_t now = 1'700'000'000'000'000'000;
    for (int i = 0; i < 6; ++i) run_.clock.push_back(now += static_cast<std::int64_t>(duration()));
    return std::move(run_);
  }

 private:
  int pick(int choices) { return static_cast<int>(random_() % static_cast<unsigned>(choices)); }
  bool rarely() { return pick(12) == 0; }
  std::string oneof(const Texts& texts) {
    return std::string(texts[static_cast<std::size_t>(pick(static_cast<int>(texts.size())))]);
  }
  std::uint64_t duration() { return random_() % (pick(2) == 0 ? 100'000U : 4'000'000'000U); }

  // ---- the command line

  // Changes bytes at random; no NUL, which ends a word, and no '/', which could lead elsewhere.
  std::string noised(std::string text) {
    while (rarely()) {
      char byte = pick(3) == 0 ? static_cast<char>(1 + pick(255)) : "=,:+.-5ye"[pick(9)];
      if (byte == '/') byte = '_';
      const auto position = static_cast<std::size_t>(pick(static_cast<int>(text.size()) + 1));
      const bool insertion = position == text.size() || pick(2) == 0;
      if (insertion) text.insert(position, 1, byte);
      if (!insertion && text[position] != '/') text[position] = byte;
    }
    return text;
  }

  void word(const std::string& text) { run_.words.push_back(text); }
  // Absolute names stay what they are: nothing must be written elsewhere.
  void filewords() {
    const std::string name = oneof(files);
    word(name.starts_with('/') ? name : noised(name));
  }

  // "name:item,item"; at times without ARGS, at times an item of another command.
  void withargs(const std::string& name, int most, std::string (Generator::*item)()) {
    std::string args;
    for (int i = pick(most + 1); i > 0; --i) {
      args += rarely() ? anyitem() : (this->*item)();
      if (i > 1 || rarely()) args += ',';
    }
    args = noised(args);
    word(args.empty() && pick(4) != 0 ? name : name + ':' + args);
  }

  std::string anyitem() {
    switch (pick(6)) {
      case 0:
        return readitem();
      case 1:
        return solveitem();
      case 2:
        return logitem();
      case 3:
        return yesno();
      case 4:
        return "";
      default:
        return "=" + oneof(asyncs);
    }
  }
  std::string yesno() { return oneof({"yes", "no", "maybe", "yes=no", "YES", " yes"}); }
  std::string logitem() {
    return oneof({"append", "append=yes", "append=no", "append=maybe", "x=yes", "append="});
  }
  std::string formatitem() { return "format=" + oneof(formats); }
  std::string asyncitem() { return oneof({"async=", "async="}) + oneof(asyncs); }
  std::string readitem() {
    switch (pick(7)) {
      case 0:
        return "async";
      case 1:
        return "async=" + oneof(asyncs);
      case 2:
        return "printtime=" + oneof(numbers);
      case 3:
        return pick(3) == 0 ? formatitem() : "mode=safe";
      case 4:
        return "mode=" + oneof({"safe", "unsafe", "maybe"});
      default:
        return oneof({"safe", "unsafe", "safe="});
    }
  }
  // Mostly near what the library counts.
  std::string limititem() {
    const std::string key = pick(3) == 0 ? "max-numcon=" : "max-numvar=";
    return key + (pick(4) == 0 ? oneof(numbers) : std::to_string(1 + pick(20)));
  }
  std::string solveitem() {
    switch (pick(14)) {
      case 0:
        return oneof({"max", "min", "max=0"});
      case 1:
        return "min";
      case 2:
      case 3:
        return "printtime";
      case 4:
        return "res=" + oneof(resultfiles);
      case 5:
        return "trm=" + oneof(resultfiles);
      case 6:
        return "msg=" + oneof(resultfiles);
      case 7:
        return "opttime=" + oneof(resultfiles);
      case 8:
        return "time-limit=" + oneof(times);
      case 9:
      case 13:
        return limititem();
      case 10:
        return "remote=" + oneof({"", "http://localhost:1", "s"});
      case 11:
        return "remote-access-token=" + oneof({"", "secret"});
      default:
        return oneof({"res", "trm", "msg", "opttime", "remote", "unknown", "unknown=x"});
    }
  }

  void command() {
    if (pick(25) == 0) return word(noised(oneof(badwords)));
    switch (pick(16)) {
      case 0:
        return word(oneof({"-h", "-help", "-h:x", "-license", "-license:"}));
      case 1:
        return withargs("-log-anonymous", 2, &Generator::yesno);
      case 2:
        withargs("-log", 2, &Generator::logitem);
        return filewords();
      case 3:
        word("-d");
        word(oneof({"PARAM", "x", ""}));
        return word(oneof({"1", "-h", ""}));
      case 4:
        word("-no-solutions");
        return word(oneof({"yes", "on", "true", "no", "off", "false", "x"}));
      case 5:
      case 6:
        withargs("-read", 2, &Generator::readitem);
        return filewords();
      case 7:
        withargs("-write", 2, &Generator::asyncitem);
        return filewords();
      case 8:
        withargs("-read-solution", 1, &Generator::formatitem);
        return filewords();
      case 9:
      case 10:
        withargs("-write-solution", 1, &Generator::formatitem);
        return filewords();
      case 11:
        withargs("-pid-file", 1, &Generator::anyitem);
        return filewords();
      case 12:
        withargs("-indicator-file", 2, &Generator::anyitem);
        return filewords();
      default:
        return withargs("-solve", 5, &Generator::solveitem);
    }
  }

  // ---- the library

  double value() {
    static constexpr double kSpecials[] = {0.0, 1.0, -1.0, 1e300, -1e-300, 0.5, 3.0};
    if (pick(2) == 0) return kSpecials[pick(7)];
    return static_cast<double>(static_cast<std::int64_t>(random_())) * 1e-12;
  }
  std::string name() {
    static constexpr std::string_view kLetters = "abcxyz01_ \t\n\r\"\\.{}%";
    std::string result;
    for (int i = pick(20); i > 0; --i) {
      result += kLetters[static_cast<std::size_t>(pick(static_cast<int>(kLetters.size())))];
    }
    return result;
  }
  // At times fewer than all: the library then leaves the caller's other elements alone.
  std::int32_t some(std::int32_t count) { return count > 0 && pick(4) == 0 ? pick(count) : count; }
  void fill(std::vector<double>& values, std::int32_t count) {
    for (std::int32_t i = some(count); i > 0; --i) values.push_back(value());
  }
  void fill(std::vector<std::int32_t>& keys, std::int32_t count) {
    for (std::int32_t i = some(count); i > 0; --i) keys.push_back(pick(9) - 1);
  }
  void fill(std::vector<std::string>& names, std::int32_t count) {
    for (std::int32_t i = some(count); i > 0; --i) names.push_back(name());
  }

  void library() {
    vlntaskt& library = run_.library;
    library.numvar = pick(7) - 2;
    library.numcon = pick(7) - 2;
    library.numcone = pick(6) - 3;
    library.numbarvar = pick(5) - 1;
    library.maxnamelen = pick(26) - 3;
    fill(library.varnames, library.numvar);
    fill(library.connames, library.numcon);
    fill(library.barvarnames, library.numbarvar);
    for (std::int32_t j = 0; j < library.numbarvar; ++j) library.dims.push_back(pick(8) - 3);
    for (fake::Solution& solution : library.solutions) fill(solution, library);
    for (const std::int32_t param : {109, 125, 127, 168}) library.intparams[param] = pick(3) - 1;
    library.sense = pick(3) - 1;
    for (const std::int32_t code : {0, 1, 1500, 100001}) library.codenames[code] = name();
    run_.trm = oneofcodes();
    library.lasterror = name();
    run_.lastmsglen =
        pick(3) == 0 ? pick(20) - 2 : static_cast<std::int32_t>(library.lasterror.size());
  }

  void fill(fake::Solution& s, const vlntaskt& library) {
    s.defined = pick(3) - 1;
    s.prosta = pick(10);
    s.solsta = pick(13) - 2;
    fill(s.skx, library.numvar);
    fill(s.skc, library.numcon);
    for (auto* values : {&s.xx, &s.slx, &s.sux}) fill(*values, library.numvar);
    for (auto* values : {&s.xc, &s.slc, &s.suc, &s.y}) fill(*values, library.numcon);
    if (pick(5) == 0) {
      s.objectives = {std::nullopt};
    } else {
      s.objectives = {value()};
    }
    std::int32_t size = 0;
    for (const std::int32_t d : library.dims) size += d * (d + 1) / 2;
    fill(s.barx, size);
    fill(s.bars, size);
  }

  std::int32_t oneofcodes() {
    static constexpr std::int32_t kCodes[] = {0, 1, 1500, 8008, 100001, -1, 2147483647};
    return kCodes[pick(7)];
  }

  void event() {
    static const Texts operations = {"VLN_makeemptytask",
                                     "VLN_putcallbackfunc",
                                     "VLN_linkfiletotaskstream",
                                     "VLN_linkfunctotaskstream",
                                     "VLN_echotask",
                                     "VLN_putintparam",
                                     "VLN_getintparam",
                                     "VLN_putstrparam",
                                     "VLN_putparam",
                                     "VLN_readdata",
                                     "VLN_writedata",
                                     "VLN_readbsolution",
                                     "VLN_writebsolution",
                                     "VLN_writejsonsol",
                                     "VLN_writetasksolverresult_file",
                                     "VLN_optimizetrm",
                                     "VLN_optimizetrm",
                                     "VLN_optimizermt",
                                     "VLN_getobjsense",
                                     "VLN_putobjsense",
                                     "VLN_getnumvar",
                                     "VLN_getdimbarvarj",
                                     "VLN_solutiondef",
                                     "VLN_getprosta",
                                     "VLN_getskx",
                                     "VLN_getxx",
                                     "VLN_getxc",
                                     "VLN_getsux",
                                     "VLN_gety",
                                     "VLN_getprimalobj",
                                     "VLN_getbarxslice",
                                     "VLN_getbarsslice",
                                     "VLN_getvarname",
                                     "VLN_getconname",
                                     "VLN_getcodedesc",
                                     "VLN_getlasterror",
                                     "VLN_deletetask"};
    // The program has registered the callback and installed its handler by then.
    static const Texts later = {"VLN_optimizetrm", "VLN_optimizetrm", "VLN_optimizermt",
                                "VLN_readdata",    "VLN_writedata",   "VLN_echotask",
                                "VLN_getxx"};
    Event event;
    event.kind = static_cast<Event::Kind>(pick(5) % 4);
    event.operation = oneof(event.kind == Event::Kind::code ? operations : later);
    event.call = pick(3);
    event.code = oneofcodes();
    event.seconds = pick(12) * 0.5;
    event.text = name() + "\n";
    run_.events.push_back(event);
  }

  std::mt19937_64 random_;
  Run run_;
};

// ---- The script

class Script {
 public:
  void value(const std::string& operation, const std::string& assignment) {
    text_ << operation << ": " << assignment << '\n';
  }
  void number(const std::string& operation, const char* argument, double number) {
    value(operation, argument + (" = " + format(number)));
  }
  template <typename T>
  void list(const std::string& operation, const char* argument, const std::vector<T>& values) {
    std::string list;
    for (const T& element : values) {
      list += (list.empty() ? "" : ", ") + format(static_cast<double>(element));
    }
    value(operation, argument + (" = [" + list + "]"));
  }
  void text(const std::string& operation, const char* argument, const std::string& text) {
    value(operation, argument + (" = " + recording::quote(text)));
  }
  std::ostringstream& stream() { return text_; }

 private:
  static std::string format(double number) {
    std::ostringstream text;
    text.precision(17);
    text << number;
    return text.str();
  }
  std::ostringstream text_;
};

void solution(Script& script, const fake::Solution& s, int whichsol) {
  const auto query = [&](const char* name) {
    return std::string("VLN_get") + name + " whichsol=" + std::to_string(whichsol);
  };
  script.number("VLN_solutiondef whichsol=" + std::to_string(whichsol), "isdef", s.defined);
  script.number(query("prosta"), "problemsta", s.prosta);
  script.number(query("solsta"), "solutionsta", s.solsta);
  script.list(query("skx"), "skx", s.skx);
  script.list(query("skc"), "skc", s.skc);
  script.list(query("xx"), "xx", s.xx);
  script.list(query("slx"), "slx", s.slx);
  script.list(query("sux"), "sux", s.sux);
  script.list(query("xc"), "xc", s.xc);
  script.list(query("slc"), "slc", s.slc);
  script.list(query("suc"), "suc", s.suc);
  script.list(query("y"), "y", s.y);
  if (s.objectives.front()) script.number(query("primalobj"), "primalobj", *s.objectives.front());
  script.list(query("barxslice"), "barxslice", s.barx);
  script.list(query("barsslice"), "barsslice", s.bars);
}

void names(Script& script, const char* query, const char* index,
           const std::vector<std::string>& names) {
  for (std::size_t i = 0; i < names.size(); ++i) {
    script.text(std::string(query) + ' ' + index + '=' + std::to_string(i), "name", names[i]);
  }
}

void event(Script& script, const Event& event) {
  std::ostringstream& out = script.stream();
  out << event.operation;
  if (event.call > 0) out << " call=" << event.call;
  out << ": ";
  switch (event.kind) {
    case Event::Kind::code:
      out << "code " << event.code;
      break;
    case Event::Kind::callback:
      out << "callback " << event.seconds;
      break;
    case Event::Kind::sigterm:
      out << "signal TERM";
      break;
    case Event::Kind::log:
      out << "log " << recording::quote(event.text);
      break;
  }
  out << '\n';
}

void clock(Script& script, const std::vector<std::int64_t>& readings) {
  script.stream() << "clock:";
  for (const std::int64_t reading : readings) {
    const std::string digits = std::to_string(reading);
    const std::size_t point = digits.size() - 9;
    script.stream() << ' ' << digits.substr(0, point) << '.' << digits.substr(point);
  }
  script.stream() << '\n';
}

}  // namespace

Run generate(std::uint64_t seed) { return Generator(seed).run(); }

std::string scriptof(const Run& run) {
  const vlntaskt& library = run.library;
  Script script;
  clock(script, run.clock);
  script.number("VLN_getnumvar", "numvar", library.numvar);
  script.number("VLN_getnumcon", "numcon", library.numcon);
  script.number("VLN_getnumcone", "numcone", library.numcone);
  script.number("VLN_getnumbarvar", "numbarvar", library.numbarvar);
  script.number("VLN_getmaxnamelen", "maxlen", library.maxnamelen);
  for (std::size_t j = 0; j < library.dims.size(); ++j) {
    script.number("VLN_getdimbarvarj j=" + std::to_string(j), "dimbarvarj", library.dims[j]);
  }
  names(script, "VLN_getvarname", "j", library.varnames);
  names(script, "VLN_getconname", "i", library.connames);
  names(script, "VLN_getbarvarname", "j", library.barvarnames);
  for (int i = 0; i < 3; ++i) solution(script, library.solutions[static_cast<std::size_t>(i)], i);
  for (const auto& [param, value] : library.intparams) {
    script.number("VLN_getintparam param=" + std::to_string(param), "value", value);
  }
  script.number("VLN_getobjsense", "sense", library.sense);
  for (const auto& [code, name] : library.codenames) {
    script.text("VLN_getcodedesc code=" + std::to_string(code), "symname", name);
  }
  script.number("VLN_optimizetrm", "trm", run.trm);
  script.number("VLN_optimizermt", "trm", run.trm);
  script.number("VLN_getlasterror", "lastmsglen", run.lastmsglen);
  script.text("VLN_getlasterror", "lastmsg", library.lasterror);
  for (const Event& one : run.events) event(script, one);
  return script.stream().str();
}

}  // namespace random_runs
