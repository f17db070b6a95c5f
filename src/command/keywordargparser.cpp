// The splitting trims no blank, folds no case and rejects nothing: that is left to the commands.
#include "keywordargparser.h"

bool KeywordArgParser::next() {
  if (rest.empty()) return false;

  const std::size_t comma = rest.find(',');
  const std::string_view item = rest.substr(0, comma);
  rest = comma == std::string_view::npos ? std::string_view{} : rest.substr(comma + 1);

  const std::size_t equals = item.find('=');
  key = item.substr(0, equals);
  if (equals != std::string_view::npos) value = item.substr(equals + 1);
  return true;
}
