// The queues the engine sends on, for the engine and for tools that read them back.
#pragma once
#include <string_view>

namespace korad {

// The connector a monitor section sends on unless it names another.
inline constexpr std::string_view kRouterConnectorId = "MvRouterQ";
// Incident strings, one per message.
inline constexpr std::string_view kIncidentQueue = "mvIncidentQ";
// Tracked objects of a pass, between their start and end marks.
inline constexpr std::string_view kDataCollectionQueue = "MvDataCollectionQ";

}  // namespace korad
