// The server's own log: one JSON object a line on standard error, for machines and for people. No
// token, no content of a model is ever given to it.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace vorlan::server {

struct EventField {
  std::string_view name;
  std::string value;
};

void log_event(std::string_view event, std::initializer_list<EventField> fields = {});

// A named step of the server's work at which a test may let it fall, as kill -9 would: the
// environment variable VORLAN_SERVER_FALL_AT holds the step's name, and after a colon how many
// times the step is passed before. Without the variable it does nothing.
void fall_point(std::string_view step);

}  // namespace vorlan::server
