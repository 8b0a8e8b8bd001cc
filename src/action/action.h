// Action: what an actor is asked to do, as the actor receives it. It owns its event (and
// through it the user), its own Attributes, AllAttributes (action, event and user
// attributes, one entry a key) and InitialAttributes (the configured defaults).
//
// Owned Attributes point back at their owner, counted, so a graph lives until Finalize
// breaks the links: whoever creates an Action calls Finalize before letting it go.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "contracts/error_reporter.h"
#include "contracts/object.h"
#include "foundation/attributes.h"

namespace korad {

class ActiveEvent;

class Action final : public Dispatchable<Action>, public ErrorReporter {
  struct Passkey {};

 public:
  static constexpr std::string_view kClassId = "KORADevServices.Action";

  // The whole graph: a new ActiveEvent by class id and the three Attributes.
  static std::shared_ptr<Action> Create();
  explicit Action(Passkey) {}
  ~Action() override;
  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<Action>& Dispatch();
  static const std::vector<std::string>& StandardAttributeNames();

  const AttributesRef& GetAttributes() const noexcept { return m_attributes; }
  void SetAttributes(AttributesRef attributes) { m_attributes = std::move(attributes); }
  const AttributesRef& AllAttributes() const noexcept { return m_allAttributes; }
  void SetAllAttributes(AttributesRef attributes) { m_allAttributes = std::move(attributes); }
  const std::shared_ptr<korad::ActiveEvent>& ActiveEvent() const noexcept { return m_activeEvent; }
  void SetActiveEvent(std::shared_ptr<korad::ActiveEvent> event) { m_activeEvent = std::move(event); }
  const std::string& Moniker() const noexcept { return m_moniker; }
  void SetMoniker(std::string_view moniker) { m_moniker = moniker; }
  const std::string& Description() const noexcept { return m_description; }
  void SetDescription(std::string_view description) { m_description = description; }
  // Breaks the parent links of the three Attributes, then the event's.
  void Finalize();
  const std::string& RawEvent() const noexcept { return m_rawEvent; }
  void SetRawEvent(std::string_view text) { m_rawEvent = text; }
  const std::string& Response() const noexcept { return m_response; }
  void SetResponse(std::string_view response) { m_response = response; }

  // ---- Internal ----
  // Copies InitialAttributes into the graph: "ACTION.", "EVENT." and "USER." keys go to
  // their collection under the name after the point, any other key whole to the event;
  // every one also to AllAttributes.
  void Initialize();
  // The collection an upper-case prefix names: "ACTION", "EVENT" or "USER"; null for any
  // other. Raises 424 when the graph misses it.
  Attributes* CollectionOf(std::string_view prefix);
  // Hands the logger on to the event, Attributes and AllAttributes.
  void SetLogManager(LogManagerRef logManager) override;
  const AttributesRef& InitialAttributes() const noexcept { return m_initialAttributes; }
  void SetInitialAttributes(AttributesRef attributes) { m_initialAttributes = std::move(attributes); }

 private:
  AttributesRef m_attributes;
  AttributesRef m_allAttributes;
  std::shared_ptr<korad::ActiveEvent> m_activeEvent;
  std::string m_moniker;
  std::string m_description;
  std::string m_rawEvent;
  std::string m_response;
  AttributesRef m_initialAttributes;
};

using ActionRef = std::shared_ptr<Action>;

}  // namespace korad
