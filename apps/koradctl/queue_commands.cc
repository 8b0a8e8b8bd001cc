#include "queue_commands.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

#include "contracts/error.h"
#include "contracts/text.h"
#include "ctl_format.h"
#include "platform/connector.h"
#include "platform/connector_directory.h"
#include "platform/connector_message.h"
#include "platform/file_system.h"
#include "platform/platform.h"
#include "platform/profile.h"

namespace korad::ctl {
namespace {

struct QueueEntry {
  std::string id;
  std::string folder;
};

FileSystem& Files() { return Platform::Current().GetFileSystem(); }

// The MvAgent.ini sections that name a queue folder: a Path key, and a ClassID that is
// the directory connector's or none (a monitor's section may have a Path of its own).
void AddConfiguredQueues(const std::string& home, std::vector<QueueEntry>& queues) {
  const std::string serviceFile = home + "/BIN/MvAgent.ini";
  for (const std::string& section : GetPrivateProfileSectionNames(serviceFile)) {
    if (GetPrivateProfileString(section, "Path", "", serviceFile).empty()) continue;
    const std::string classId = GetPrivateProfileString(section, "ClassID", "", serviceFile);
    if (!classId.empty() && !EqualsNoCase(classId, kDirectoryConnectorClassId)) continue;
    queues.push_back({section, ConnectorDirectory::FolderFor(section)});
  }
}

void AddQueueFolders(const std::string& home, std::vector<QueueEntry>& queues) {
  const std::string connectors = home + "/Connectors";
  FileSystem& files = Files();
  for (const std::string& name : files.List(connectors, "*")) {
    const std::string folder = connectors + "/" + name;
    if (!files.IsDirectory(folder)) continue;
    const bool listed = std::any_of(queues.begin(), queues.end(),
                                    [&](const QueueEntry& entry) { return EqualsNoCase(entry.folder, folder); });
    if (!listed) queues.push_back({name, folder});
  }
}

void WriteSummary(std::ostream& out, std::string_view verb, int64_t count, std::string_view preposition,
                  std::string_view queue) {
  out << verb << count << " message(s) " << preposition << ' ' << OneLine(queue);
}

}  // namespace

std::string ExistingQueueFolder(std::string_view queue) {
  const std::string folder = ConnectorDirectory::FolderFor(queue);
  if (!Files().IsDirectory(folder)) {
    RaiseLibraryError("no queue '" + std::string(queue) + "': its folder " + folder + " doesn't exist");
  }
  return folder;
}

int QueueList(std::ostream& out) {
  const std::string home = Platform::Current().HomeDirectory();
  std::vector<QueueEntry> queues;
  AddConfiguredQueues(home, queues);
  AddQueueFolders(home, queues);
  std::stable_sort(queues.begin(), queues.end(),
                   [](const QueueEntry& a, const QueueEntry& b) { return UpperAscii(a.id) < UpperAscii(b.id); });
  for (const QueueEntry& queue : queues) {
    const int64_t count = Files().IsDirectory(queue.folder) ? MakeDirectoryConnector(queue.folder)->Count() : -1;
    WriteQueueLine(out, queue.id, count, queue.folder);
  }
  return kExitOk;
}

int QueueShow(std::string_view queue, std::ostream& out) {
  ExistingQueueFolder(queue);
  std::shared_ptr<Connector> connector = ConnectorDirectory().GetConnector(queue);
  const int64_t waiting = connector->Count();
  const std::vector<ConnectorMessage> messages = connector->Peek(std::numeric_limits<size_t>::max());
  for (size_t i = 0; i < messages.size(); ++i) WriteMessage(out, i + 1, messages[i]);
  WriteSummary(out, "", static_cast<int64_t>(messages.size()), "on", queue);
  // Files listed but not shown were expired or unreadable (or taken meanwhile).
  if (waiting > static_cast<int64_t>(messages.size())) {
    out << ", " << waiting - static_cast<int64_t>(messages.size()) << " more expired or unreadable";
  }
  out << '\n';
  return kExitOk;
}

int QueueDrain(std::string_view queue, std::ostream& out, const std::atomic<bool>& stop) {
  ExistingQueueFolder(queue);
  std::shared_ptr<Connector> connector = ConnectorDirectory().GetConnector(queue);
  connector->Open();
  // The connector is the process's: count what this drain adds to its tallies.
  const int64_t expiredBefore = connector->ExpiredCount();
  const int64_t rejectedBefore = connector->RejectedCount();
  int64_t taken = 0;
  while (!stop.load()) {
    std::optional<ConnectorMessage> message = connector->Receive();
    if (!message) break;
    WriteMessage(out, static_cast<size_t>(++taken), *message);
    out.flush();
  }
  WriteSummary(out, "took ", taken, "from", queue);
  const int64_t expired = connector->ExpiredCount() - expiredBefore;
  const int64_t rejected = connector->RejectedCount() - rejectedBefore;
  if (expired > 0) out << ", dropped " << expired << " expired";
  if (rejected > 0) out << ", set aside " << rejected << " unreadable";
  if (stop.load()) out << ", stopped";
  out << '\n';
  return kExitOk;
}

int QueueSend(std::string_view queue, std::string body, const SendOptions& options, std::ostream& out) {
  ConnectorMessage message;
  message.SetBody(std::move(body));
  message.SetTargetQueue(options.targetQueue);
  message.SetTimeToLive(options.timeToLive);
  message.SetPriority(options.priority);
  message.SetEntityId(options.entityId);
  message.SetEventSourceId(options.eventSourceId);
  const std::string id = ConnectorDirectory().GetConnector(queue)->Send(message);
  out << "sent " << id << " to " << OneLine(queue) << " (" << OneLine(ConnectorDirectory::FolderFor(queue)) << ")\n";
  return kExitOk;
}

}  // namespace korad::ctl
