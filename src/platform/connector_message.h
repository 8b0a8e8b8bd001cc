// ConnectorMessage: the "MvConnect.ConnectorMessage" component, one message on a
// connector's queue: a body of bytes and the few fields the agent's router reads.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "contracts/object.h"
#include "contracts/ole_date.h"

namespace korad {

class ConnectorMessage final : public Dispatchable<ConnectorMessage> {
 public:
  static constexpr std::string_view kClassId = "MvConnect.ConnectorMessage";

  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<ConnectorMessage>& Dispatch();

  // Bytes, not transcoded; may hold anything, NUL and line ends included.
  const std::string& Body() const noexcept { return m_body; }
  void SetBody(std::string body) { m_body = std::move(body); }
  // Seconds the message may wait on a queue after it was sent; 0 or less: no limit.
  int32_t TimeToLive() const noexcept { return m_timeToLive; }
  void SetTimeToLive(int32_t seconds) noexcept { m_timeToLive = seconds; }
  int32_t Priority() const noexcept { return m_priority; }
  void SetPriority(int32_t priority) noexcept { m_priority = priority; }
  int32_t EntityId() const noexcept { return m_entityId; }
  void SetEntityId(int32_t entityId) noexcept { m_entityId = entityId; }
  // The queue the router hands the message on to ("mvIncidentQ").
  const std::string& TargetQueue() const noexcept { return m_targetQueue; }
  void SetTargetQueue(std::string queue) { m_targetQueue = std::move(queue); }
  const std::string& EventSourceId() const noexcept { return m_eventSourceId; }
  void SetEventSourceId(std::string id) { m_eventSourceId = std::move(id); }

  // Set by the connector that sent it: when (UTC, by the platform clock; 0 before it
  // was sent) and under which id. The time to live counts from SentUtc.
  OleDate SentUtc() const noexcept { return m_sentUtc; }
  void SetSentUtc(OleDate utc) noexcept { m_sentUtc = utc; }
  const std::string& MessageId() const noexcept { return m_messageId; }
  void SetMessageId(std::string id) { m_messageId = std::move(id); }

  // True when a time to live is set and `utcNow` is at or past SentUtc plus it.
  bool IsExpired(OleDate utcNow) const noexcept;

  // The form a message has in a file: "Name: value" header lines, a blank line, then
  // the body bytes exactly (see connector_message.cc). The message id is not part of
  // it: a queue keeps it in the file name.
  std::string ToFileText() const;
  // Reads that form back; raises the library's error on a header it can't read or a
  // body whose length differs from the one the header states (a truncated file).
  static ConnectorMessage FromFileText(std::string_view text);

 private:
  std::string m_body;
  int32_t m_timeToLive = 0;
  int32_t m_priority = 0;
  int32_t m_entityId = 0;
  std::string m_targetQueue;
  std::string m_eventSourceId;
  OleDate m_sentUtc;
  std::string m_messageId;
};

}  // namespace korad
