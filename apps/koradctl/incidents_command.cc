#include "incidents_command.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "contracts/error.h"
#include "contracts/text.h"
#include "ctl_format.h"
#include "incident_reader.h"
#include "monitor/queue_names.h"
#include "platform/connector.h"
#include "platform/connector_directory.h"
#include "platform/connector_message.h"
#include "platform/file_system.h"
#include "platform/platform.h"
#include "queue_commands.h"

namespace korad::ctl {
namespace {

// While following, a full read at least every this many looks, even when the count of
// waiting messages stayed the same.
constexpr int kLooksPerFullRead = 10;
constexpr auto kStopCheck = std::chrono::milliseconds(20);

class IncidentReader {
 public:
  IncidentReader(const IncidentsOptions& options, std::ostream& out, std::ostream& err)
      : m_options(options), m_out(out), m_err(err), m_folder(ConnectorDirectory::FolderFor(options.queue)) {}

  bool QueueExists() { return Platform::Current().GetFileSystem().IsDirectory(m_folder); }

  // One look at the queue; reads the messages when something may have changed.
  void Look(bool force) {
    if (!QueueExists()) return;
    if (!m_connector) m_connector = ConnectorDirectory().GetConnector(m_options.queue);
    if (!m_options.keep && !m_connector->IsOpen()) m_connector->Open();
    const int64_t waiting = m_connector->Count();
    if (!force && waiting == m_expectedCount && ++m_quietLooks < kLooksPerFullRead) return;
    m_quietLooks = 0;
    m_expectedCount = waiting - ReadAll();
    m_out.flush();
  }

  bool Done() const { return m_options.maxCount > 0 && m_printed >= m_options.maxCount; }

 private:
  // Prints what is new on the queue; the number of messages taken off it.
  int64_t ReadAll() {
    const std::vector<ConnectorMessage> messages = m_connector->Peek(std::numeric_limits<size_t>::max());
    std::set<std::string> present;
    std::map<std::string, int64_t> leftByTarget;
    int64_t taken = 0;
    for (const ConnectorMessage& message : messages) {
      if (Done()) break;
      present.insert(message.MessageId());
      if (m_noted.contains(message.MessageId())) continue;
      if (!EqualsNoCase(message.TargetQueue(), kIncidentQueue)) {
        ++leftByTarget[message.TargetQueue()];
        m_noted.insert(message.MessageId());
        continue;
      }
      IncidentSummary incident;
      try {
        incident = ReadIncident(message.Body());
      } catch (...) {
        m_err << "koradctl: left unreadable incident message " << message.MessageId() << " on "
              << OneLine(m_options.queue) << ": " << OneLine(CurrentExceptionAsError().Description()) << '\n';
        m_noted.insert(message.MessageId());
        continue;
      }
      if (m_options.keep) {
        m_noted.insert(message.MessageId());
      } else {
        // Another reader may have been first, or it expired: then it isn't ours to show.
        if (!m_connector->ReceiveById(message.MessageId())) continue;
        ++taken;
      }
      if (incident.time.empty()) incident.time = UniversalTime(message.SentUtc());
      WriteIncident(m_out, incident, m_options.verbose);
      ++m_printed;
    }
    for (const auto& [target, count] : leftByTarget) {
      m_err << "koradctl: left " << count << " message(s) for " << (target.empty() ? "no target" : OneLine(target))
            << " on " << OneLine(m_options.queue) << '\n';
    }
    // Forget what is gone, so a long follow doesn't grow; a stop at the count limit
    // didn't see the rest and keeps their marks.
    if (!Done()) std::erase_if(m_noted, [&](const std::string& id) { return !present.contains(id); });
    return taken;
  }

  const IncidentsOptions& m_options;
  std::ostream& m_out;
  std::ostream& m_err;
  std::string m_folder;
  std::shared_ptr<Connector> m_connector;
  std::set<std::string> m_noted;  // ids left on the queue that were reported or shown
  int64_t m_printed = 0;
  int64_t m_expectedCount = -1;
  int m_quietLooks = 0;
};

void Pause(std::chrono::milliseconds interval, const std::atomic<bool>& stop) {
  const auto until = std::chrono::steady_clock::now() + interval;
  while (!stop.load()) {
    const auto now = std::chrono::steady_clock::now();
    if (now >= until) return;
    std::this_thread::sleep_for(std::min<std::chrono::steady_clock::duration>(until - now, kStopCheck));
  }
}

}  // namespace

int Incidents(const IncidentsOptions& options, std::ostream& out, std::ostream& err, const std::atomic<bool>& stop) {
  // The agent makes the folder at its first send, so a follower waits for it.
  if (!options.follow) ExistingQueueFolder(options.queue);
  IncidentReader reader(options, out, err);
  reader.Look(true);
  while (options.follow && !reader.Done() && !stop.load()) {
    Pause(std::chrono::milliseconds(options.intervalMs), stop);
    if (!stop.load()) reader.Look(false);
  }
  return kExitOk;
}

}  // namespace korad::ctl
