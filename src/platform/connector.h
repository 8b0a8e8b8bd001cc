// A connector: a named message queue of the agent. Senders put ConnectorMessages on it;
// one reader takes them off, oldest first. Several senders (threads and processes) may
// share a queue, and so may several readers: each message goes to one of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/connector_message.h"

namespace korad {

class Connector {
 public:
  virtual ~Connector() = default;

  // Readies the queue for reading (its storage is created if missing, messages that a
  // crashed reader had taken but not finished are put back). Opening an open connector
  // does nothing. Raises when the storage can't be reached.
  virtual void Open() = 0;
  // Ends reading; closing a closed connector does nothing. Messages stay queued.
  virtual void Close() = 0;
  virtual bool IsOpen() const = 0;

  // Queues a copy of `message`, stamped with the send time (platform clock) and a new
  // message id, which is returned. Works whether or not the connector is open, since
  // senders share the service's connectors and never open them. The message becomes
  // visible to readers whole or not at all; on failure (disk full...) it raises and
  // nothing is queued.
  virtual std::string Send(const ConnectorMessage& message) = 0;

  // Takes the oldest message off the queue, by send order; nullopt when none is left.
  // A message whose time to live has passed (by the platform clock) is dropped and
  // counted in ExpiredCount, never returned. Two readers never get the same message.
  // A stored message that can't be read is set aside, counted in RejectedCount, and
  // the next one is tried. Raises the library's error when the connector isn't open.
  virtual std::optional<ConnectorMessage> Receive() = 0;

  // Up to `maxCount` of the oldest live messages, left on the queue: for an operator's
  // look at a queue. Expired messages are skipped but not dropped. Open or closed.
  virtual std::vector<ConnectorMessage> Peek(size_t maxCount) = 0;
  // Takes the message with `messageId` (as Peek gave it) off the queue, for a reader that
  // picks messages by what they hold and leaves the others queued. nullopt when it is no
  // longer there (another reader took it) or when it expired or can't be read, with the
  // same dropping and counting as Receive. Raises when the connector isn't open.
  virtual std::optional<ConnectorMessage> ReceiveById(std::string_view messageId) = 0;
  // Messages waiting, expired ones included until a Receive drops them. Open or closed.
  virtual int64_t Count() = 0;

  // Messages this connector object dropped as expired, and set aside as unreadable.
  virtual int64_t ExpiredCount() const = 0;
  virtual int64_t RejectedCount() const = 0;
};

// The "MvConnect.DirectoryConnector": one file per message in `folder` (see
// linux/directory_connector.cc for the names and the claim protocol).
inline constexpr std::string_view kDirectoryConnectorClassId = "MvConnect.DirectoryConnector";
std::shared_ptr<Connector> MakeDirectoryConnector(std::string folder);

}  // namespace korad
