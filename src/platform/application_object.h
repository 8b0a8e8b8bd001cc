// "mvSystem.Application" as an object the library creates by class id: a view of the
// platform's host application (the service's status and its log writer).
#pragma once
#include <cstdint>
#include <memory>
#include <string_view>
#include "contracts/object.h"
#include "platform/application.h"

namespace korad {

class ClassRegistry;

class ApplicationObject final : public Dispatchable<ApplicationObject> {
 public:
  static constexpr std::string_view kClassId = "mvSystem.Application";
  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<ApplicationObject>& Dispatch();

  // 4 while the agent service runs.
  int32_t Status();
  // The service's log writer, for the agent's activity log.
  std::shared_ptr<LogWriter> Logger();
};

void RegisterApplicationClass(ClassRegistry& registry);

}  // namespace korad
