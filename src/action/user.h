// User: who started an action. Its Attributes stand in front of it, with "NAME" as the
// standard key, so a message's user name lands in Name.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "contracts/error_reporter.h"
#include "contracts/object.h"
#include "foundation/attributes.h"

namespace korad {

class User final : public Dispatchable<User>, public ErrorReporter {
  struct Passkey {};

 public:
  static constexpr std::string_view kClassId = "KORADevServices.User";

  // A user wired to its Attributes, which need the user itself as their parent.
  static std::shared_ptr<User> Create();
  explicit User(Passkey) {}
  ~User() override;
  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<User>& Dispatch();
  static const std::vector<std::string>& StandardAttributeNames();

  const std::string& Name() const noexcept { return m_name; }
  void SetName(std::string_view name) { m_name = name; }
  const AttributesRef& GetAttributes() const noexcept { return m_attributes; }
  void SetAttributes(AttributesRef attributes) { m_attributes = std::move(attributes); }
  // Clears the parent link of the Attributes.
  void Finalize();

  // Internal. Hands the logger on to the Attributes.
  void SetLogManager(LogManagerRef logManager) override;

 private:
  std::string m_name;
  AttributesRef m_attributes;
};

using UserRef = std::shared_ptr<User>;

}  // namespace korad
