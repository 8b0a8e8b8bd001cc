// Reads the body of an incident message back into what an operator wants to see of it,
// through the same reader the server side uses for both incident text forms.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace korad::ctl {

struct IncidentSummary {
  std::string time;       // OccurrenceUniversal as sent; empty when the incident has none
  std::string status;     // "new", "updated" or "resolved"
  std::string resource;
  std::string condition;  // without the "(Updated)" or "(Resolved)" that gave the status
  int32_t priority = 0;
  // NAME=VALUE of each name in KeyAttributes, in that order; a name the incident
  // doesn't carry has an empty value. Without KeyAttributes: the attributes but those
  // the engine adds to every incident (mv..., OccurrenceUniversal, Ack and companions).
  std::vector<std::pair<std::string, std::string>> keyAttributes;
  // Every attribute the incident carries beyond Class, Source and Priority, in order.
  std::vector<std::pair<std::string, std::string>> attributes;
};

// Raises the reader's error when the body isn't an incident string.
IncidentSummary ReadIncident(std::string_view body);

// The status a condition's suffix gives, and the condition without it.
std::pair<std::string, std::string> SplitConditionStatus(std::string_view condition);

}  // namespace korad::ctl
