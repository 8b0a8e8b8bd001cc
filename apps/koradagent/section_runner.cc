#include "section_runner.h"

#include "agent_log.h"
#include "contracts/class_registry.h"
#include "contracts/error.h"
#include "platform/clock.h"
#include "platform/platform.h"
#include "section_schedule.h"

namespace korad::agent {
namespace {

using SteadyClock = std::chrono::steady_clock;

std::string Describe(const Error& error) {
  std::string text = error.Description();
  if (!error.Source().empty()) text = error.Source() + ": " + text;
  return text + " (" + std::to_string(error.Number()) + ")";
}

std::string SecondsText(std::chrono::milliseconds interval) {
  return FormatDouble(static_cast<double>(interval.count()) / 1000.0) + " seconds";
}

}  // namespace

SectionRunner::SectionRunner(SectionConfig section, ClassRegistry& registry, RunnerSettings settings)
    : m_section(std::move(section)), m_registry(registry), m_settings(settings) {}

SectionRunner::~SectionRunner() {
  RequestStop();
  Join();
}

void SectionRunner::Start() { m_thread = std::thread([this] { Run(); }); }

void SectionRunner::RequestStop() {
  {
    std::lock_guard lock(m_mutex);
    m_stop = true;
  }
  m_wake.notify_all();
}

void SectionRunner::Join() {
  if (m_thread.joinable()) m_thread.join();
}

bool SectionRunner::WaitUntil(SteadyClock::time_point deadline) {
  std::unique_lock lock(m_mutex);
  return !m_wake.wait_until(lock, deadline, [this] { return m_stop; });
}

std::string SectionRunner::Prefix() const { return "Section '" + m_section.name + "': "; }

void SectionRunner::ReportFailure(std::string& last, const std::string& text) {
  AgentLog(text == last ? logLevelDebug : logLevelError, Prefix() + text);
  last = text;
}

ObjectRef SectionRunner::Prepare() {
  ObjectRef object;
  try {
    object = m_registry.TryCreate(m_section.classId);
  } catch (...) {
    ReportFailure(m_lastPrepareFailure, "class '" + m_section.classId + "' failed to create an object: " +
                                            Describe(CurrentExceptionAsError()) + RetryText());
    return nullptr;
  }
  if (!object) {
    ReportFailure(m_lastPrepareFailure, "class '" + m_section.classId + "' can't be created: no such class" +
                                            " in the library or the plug-ins" + RetryText());
    return nullptr;
  }
  for (const auto& [key, value] : m_section.properties) {
    try {
      object->LetProperty(key, Value(value));
    } catch (...) {
      // A key the class doesn't know is the service file's mistake, not the object's:
      // the object runs with what it has.
      if (m_failedPrepares == 0) {
        AgentLog(logLevelWarningLow, Prefix() + "property '" + key + "' not set: " + Describe(CurrentExceptionAsError()));
      }
    }
  }
  if (!m_section.initializeMethod.empty()) {
    try {
      object->CallMethod(m_section.initializeMethod);
    } catch (...) {
      ReportFailure(m_lastPrepareFailure, m_section.initializeMethod + " failed: " +
                                              Describe(CurrentExceptionAsError()) + RetryText());
      return nullptr;
    }
  }
  return object;
}

std::string SectionRunner::RetryText() const {
  return m_settings.once ? std::string() : "; trying again every " + SecondsText(m_settings.retryInterval);
}

void SectionRunner::Execute(Object& object) {
  try {
    object.CallMethod(m_section.executeMethod);
    if (!m_lastExecuteFailure.empty()) {
      AgentLog(logLevelInfo, Prefix() + m_section.executeMethod + " works again");
      m_lastExecuteFailure.clear();
    }
  } catch (...) {
    ReportFailure(m_lastExecuteFailure, m_section.executeMethod + " failed: " + Describe(CurrentExceptionAsError()));
  }
}

void SectionRunner::Run() {
  ObjectRef object;
  while (!(object = Prepare())) {
    ++m_failedPrepares;
    if (m_settings.once || !WaitUntil(SteadyClock::now() + m_settings.retryInterval)) return;
  }
  AgentLog(logLevelInfo, Prefix() + "running " + m_section.classId +
                             (m_failedPrepares > 0 ? " after " + std::to_string(m_failedPrepares) + " failed tries" : ""));

  if (m_section.executeMethod.empty()) {
    // An object without an ExecuteMethod (a connector, a router) lives until the stop.
    if (!m_settings.once) {
      std::unique_lock lock(m_mutex);
      m_wake.wait(lock, [this] { return m_stop; });
    }
    return;
  }
  const SectionSchedule schedule = ScheduleOf(m_section);
  for (const std::string& warning : schedule.warnings) AgentLog(logLevelWarningLow, Prefix() + warning);

  SteadyClock::time_point next = SteadyClock::now();
  if (!m_settings.once) next += DelayToFirstRun(schedule, Platform::Current().GetClock().LocalNow());
  while (WaitUntil(next)) {
    Execute(*object);
    if (m_settings.once) break;
    // Runs that a long ExecuteMethod overlapped are skipped, keeping the grid.
    const SteadyClock::time_point now = SteadyClock::now();
    next += schedule.interval;
    if (next <= now) next += ((now - next) / schedule.interval + 1) * schedule.interval;
  }
  object.reset();  // released on the thread that used it
}

}  // namespace korad::agent
