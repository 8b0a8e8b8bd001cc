// queue list | show | drain | send: the queues of the agent at the platform's home.
// Each returns the exit code and raises korad::Error on failure (a missing queue...).
#pragma once

#include <atomic>
#include <ostream>
#include <string>
#include <string_view>

#include "ctl_options.h"

namespace korad::ctl {

// The folder of a queue, which must exist; raises otherwise.
std::string ExistingQueueFolder(std::string_view queue);

int QueueList(std::ostream& out);
int QueueShow(std::string_view queue, std::ostream& out);
// Stops early, after a whole message, once `stop` is set.
int QueueDrain(std::string_view queue, std::ostream& out, const std::atomic<bool>& stop);
int QueueSend(std::string_view queue, std::string body, const SendOptions& options, std::ostream& out);

}  // namespace korad::ctl
