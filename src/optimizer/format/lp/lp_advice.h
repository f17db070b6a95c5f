// Advice where the words of an LP file make no sense, or make a sense that nobody means. The reader
// takes almost any characters for a name, so that `>= 1,5` would be a variable ",5" with the
// coefficient 1. These functions tell such words from names.
#pragma once

#include <string_view>

namespace vorlan {

// True if the word begins as the names that people and programs make: with a letter of any script,
// or with a '_' that no digit follows.
bool begins_like_lp_name(std::string_view word);

// Why the word that stands directly behind a number, or right of a relation, is taken for a typo
// and not for a variable.
std::string_view advice_on_typo(std::string_view word);

}  // namespace vorlan
