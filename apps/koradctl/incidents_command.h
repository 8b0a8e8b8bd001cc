// incidents [--follow]: the incidents on the monitors' outbound queue, one line each.
//
// Incident messages (destination "mvIncidentQ") are taken off the queue one by one, by
// id, as they are printed; with --keep they are only looked at, and a follower
// remembers which it has shown. Every other message on the queue (data collection for
// "MvDataCollectionQ", ...) stays where it is, in order, for the reader it belongs to:
// the tool names it once on the error stream, so nothing disappears unseen. An incident
// message whose body can't be read stays too, reported with its error.
//
// Following looks at the queue every interval, and reads the messages only when the
// number of waiting files changed since the last look, or every few looks in case one
// message left as another arrived.
#pragma once

#include <atomic>
#include <ostream>

#include "ctl_options.h"

namespace korad::ctl {

// Returns the exit code; raises korad::Error when the queue is missing (without follow)
// or can't be read. Returns once `stop` is set, checked several times a second.
int Incidents(const IncidentsOptions& options, std::ostream& out, std::ostream& err, const std::atomic<bool>& stop);

}  // namespace korad::ctl
