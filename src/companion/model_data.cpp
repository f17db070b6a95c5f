#include "model_data.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace vorlan::companion {

namespace {

using nlohmann::json;

// A folder of this process alone, gone with the object.
class PrivateFolder {
 public:
  PrivateFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vorlan.XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error(pattern + ": cannot be made");
    path_ = pattern;
  }
  ~PrivateFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  PrivateFolder(const PrivateFolder&) = delete;
  PrivateFolder& operator=(const PrivateFolder&) = delete;

  std::string file(const char* name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

json read_document(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  return json::parse(stream);
}

// Infinities are texts, as JSON has no numbers for them.
double number(const json& value) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  if (!value.is_string()) return value.get<double>();
  return value.get<std::string>() == "-inf" ? -kInfinity : kInfinity;
}

// A text that is not UTF-8 is a map with its bytes in hexadecimal digits.
std::string text(const json& value) {
  if (value.is_string()) return value.get<std::string>();
  const std::string digits = value.at("bytes").get<std::string>();
  std::string bytes;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
  }
  return bytes;
}

std::size_t size_of(const json& map, const char* key) {
  return map.contains(key) ? map.at(key).size() : 0;
}

std::vector<Range> ranges(const json& map) {
  std::vector<Range> found(size_of(map, "lower"));
  for (std::size_t i = 0; i < found.size(); ++i) {
    found[i] = {number(map["lower"][i]), number(map["upper"][i])};
  }
  return found;
}

// Names; an unnamed item has the prefix and its index.
std::vector<std::string> names(const json& map, std::size_t count, char prefix) {
  std::vector<std::string> found(count);
  const bool named = size_of(map, "names") == count;
  for (std::size_t i = 0; i < count; ++i) {
    if (named) found[i] = text(map["names"][i]);
    if (found[i].empty()) found[i] = prefix + std::to_string(i);
  }
  return found;
}

std::vector<LinearTerm> matrix_terms_by_columns(const json& document) {
  std::vector<LinearTerm> terms;
  if (!document.contains("coefficients")) return terms;
  const json& map = document["coefficients"];
  for (std::size_t j = 0; j + 1 < map["start"].size(); ++j) {
    const auto end = map["start"][j + 1].get<std::size_t>();
    for (auto k = map["start"][j].get<std::size_t>(); k < end; ++k) {
      terms.push_back({map["row"][k].get<int>(), static_cast<int>(j), number(map["value"][k])});
    }
  }
  return terms;
}

int index_at(const json& map, const char* key, std::size_t place) {
  return map.contains(key) ? map[key][place].get<int>() : 0;
}

std::vector<QuadraticTerm> quadratic_terms(const json& owner) {
  std::vector<QuadraticTerm> terms;
  if (!owner.contains("quadratic")) return terms;
  const json& map = owner["quadratic"];
  for (std::size_t k = 0; k < map["value"].size(); ++k) {
    terms.push_back({index_at(map, "constraint", k), index_at(map, "row", k),
                     index_at(map, "col", k), number(map["value"][k])});
  }
  return terms;
}

std::vector<MatrixTerm> matrix_terms(const json& owner) {
  std::vector<MatrixTerm> terms;
  if (!owner.contains("matrices")) return terms;
  const json& map = owner["matrices"];
  for (std::size_t k = 0; k < map["value"].size(); ++k) {
    terms.push_back({index_at(map, "constraint", k), index_at(map, "variable", k),
                     index_at(map, "row", k), index_at(map, "col", k), number(map["value"][k])});
  }
  return terms;
}

std::vector<ModelCone> cones(const json& variables) {
  std::vector<ModelCone> found;
  if (!variables.contains("cones")) return found;
  const json& map = variables["cones"];
  const std::size_t count = map["kind"].size();
  const std::vector<std::string> cone_names = names(map, count, 'k');
  std::size_t member = 0;
  std::size_t exponent = 0;
  for (std::size_t k = 0; k < count; ++k) {
    ModelCone cone;
    cone.name = cone_names[k];
    cone.kind = static_cast<ConeKind>(map["kind"][k].get<int>());
    for (int i = 0; i < map["size"][k].get<int>(); ++i) {
      cone.members.push_back(map["members"][member++].get<int>());
    }
    for (int i = 0; i < index_at(map, "exponent count", k); ++i) {
      cone.exponents.push_back(number(map["exponents"][exponent++]));
    }
    found.push_back(std::move(cone));
  }
  return found;
}

std::vector<ModelSet> sets(const json& document) {
  std::vector<ModelSet> found;
  if (!document.contains("sets")) return found;
  const json& map = document["sets"];
  const std::vector<std::string> set_names = names(map, map["kind"].size(), 's');
  std::size_t first = 0;
  for (std::size_t k = 0; k < map["kind"].size(); ++k) {
    const auto size = map["size"][k].get<std::size_t>();
    std::vector<std::pair<double, int>> ordered;
    for (std::size_t i = first; i < first + size; ++i) {
      ordered.emplace_back(number(map["weights"][i]), map["members"][i].get<int>());
    }
    std::sort(ordered.begin(), ordered.end());
    ModelSet set{set_names[k], map["kind"][k].get<int>(), {}};
    for (const auto& [weight, member] : ordered) set.members.push_back(member);
    found.push_back(std::move(set));
    first += size;
  }
  return found;
}

std::vector<Indicator> indicators(const json& document) {
  std::vector<Indicator> found;
  if (!document.contains("indicators")) return found;
  const json& map = document["indicators"];
  for (std::size_t k = 0; k < map["constraint"].size(); ++k) {
    found.push_back(
        {map["constraint"][k].get<int>(), map["variable"][k].get<int>(), number(map["value"][k])});
  }
  return found;
}

std::vector<Kind> kinds(const json& variables, std::size_t count) {
  std::vector<Kind> found(count, Kind::kContinuous);
  for (std::size_t j = 0; j < size_of(variables, "kind"); ++j) {
    found[j] = static_cast<Kind>(variables["kind"][j].get<int>());
  }
  return found;
}

// What a later version of the library may write is not passed over silently.
std::vector<std::string> unknown_parts(const json& document) {
  constexpr const char* kKnown[] = {
      "format",       "version",    "modelname",        "objective", "variables", "constraints",
      "coefficients", "parameters", "matrix variables", "solutions", "sets",      "indicators"};
  std::vector<std::string> unknown;
  for (const auto& [key, value] : document.items()) {
    bool known = false;
    for (const std::string_view word : kKnown) known = known || word == key;
    if (!known) unknown.push_back(key);
  }
  return unknown;
}

ModelData data_of(const json& document) {
  ModelData data;
  const json& objective = document.at("objective");
  const json& variables = document.at("variables");
  const json& constraints = document.at("constraints");
  data.maximize = objective.at("sense") == "maximize";
  data.constant = objective.contains("constant") ? number(objective["constant"]) : 0.0;
  for (const json& cost : objective.at("linear")) data.cost.push_back(number(cost));
  data.quadratic_cost = quadratic_terms(objective);
  data.matrix_cost = matrix_terms(objective);
  data.bounds = ranges(variables);
  data.kinds = kinds(variables, data.bounds.size());
  data.variable_names = names(variables, data.bounds.size(), 'x');
  data.cones = cones(variables);
  data.sides = ranges(constraints);
  data.constraint_names = names(constraints, data.sides.size(), 'c');
  data.quadratic_terms = quadratic_terms(constraints);
  data.matrix_terms = matrix_terms(constraints);
  data.terms = matrix_terms_by_columns(document);
  data.sets = sets(document);
  data.indicators = indicators(document);
  if (document.contains("matrix variables")) {
    const json& matrices = document["matrix variables"];
    data.dimensions = matrices["dimension"].get<std::vector<int>>();
    data.matrix_names = names(matrices, data.dimensions.size(), 'X');
  }
  data.unknown_parts = unknown_parts(document);
  return data;
}

}  // namespace

ModelData read_model_data(Session& session) {
  const PrivateFolder folder;
  const std::string file = folder.file("model.jtask");
  session.write_quietly(file);
  return data_of(read_document(file));
}

double read_bound(Session& session) {
  const PrivateFolder folder;
  const std::string file = folder.file("solution.json");
  session.write_solution_quietly(file);
  const json document = read_document(file);
  const json figures = document.value("figures", json::object());
  return figures.contains("bound") ? number(figures["bound"])
                                   : std::numeric_limits<double>::quiet_NaN();
}

}  // namespace vorlan::companion
