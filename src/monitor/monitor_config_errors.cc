// Configuration errors and module heartbeats. Each configuration's last error is kept in
// ConfigErrors, stored across restarts in the module's own CE<name>.SER, and written on
// each heartbeat into the section of this module in the shared MonitorHeartbeats.SER,
// where the agent's heartbeat picks it up.
#include <string>
#include <vector>

#include "contracts/error.h"
#include "foundation/file_functions.h"
#include "foundation/global_functions.h"
#include "foundation/log_manager.h"
#include "incident/serialized_file.h"
#include "monitor/file_lines.h"
#include "monitor/monitor_manager.h"
#include "platform/date_time_converter.h"
#include "platform/file_system.h"
#include "platform/platform.h"
#include "platform/profile.h"
#include "platform/scripting_dictionary.h"
#include "platform/string_builder.h"

namespace korad {
namespace {

constexpr std::string_view kCrLf = "\r\n";
constexpr std::string_view kFileLineBreak = "**morvaneCrLf**";
constexpr std::string_view kHeartbeatLineBreak = "***mvCrLf***";


// The heartbeat value is one ini line: pairs first, then any lone CR or LF goes.
std::string OneLine(std::string_view text) {
  std::string flat = ReplaceText(text, kCrLf, kHeartbeatLineBreak);
  std::erase_if(flat, [](char c) { return c == '\r' || c == '\n'; });
  return flat;
}

}  // namespace

std::string MonitorManager::BuildConfigurationError() {
  std::string text;
  Guard("MonitorManager.BuildConfigurationError: ", [&] {
    Trace("Build ConfigErr: Preparing to process keys for " + m_monitorName);
    if (!m_configErrors) return;
    for (const std::string& key : m_configErrors->Keys()) {
      const Value* item = m_configErrors->Find(key);
      const std::string error = item ? item->ToText() : std::string();
      if (error.empty()) {
        Trace("Build ConfigErr: No ConfigErr found for " + key);
        continue;
      }
      Trace("Build ConfigErr: Processing key '" + key + "'");
      if (m_configErrors->Exists(key)) {
        text += "[mv[" + key + "]]: " + error + std::string(kCrLf) + std::string(kCrLf);
        Trace("Build ConfigErr: Processed key '" + key + "': " + error);
      } else {
        Trace("Build ConfigErr: No error found for '" + key + "'");
      }
    }
  });
  return text;
}

void MonitorManager::CleanConfigErrors(const SectionNameArray& sections) {
  Guard("MonitorManager.CleanConfigErrors: ", [&] {
    if (!sections) return;
    std::string joined;
    for (size_t i = 0; i < sections->size(); ++i) {
      if (i > 0) joined += "-";
      joined += (*sections)[i];
    }
    joined += "-";
    if (!m_configErrors) return;
    // Searched without a "-" in front: the error of a removed configuration whose name
    // is the tail of a remaining one stays. Kept so, as the server has always seen it.
    const std::string haystack = UpperAscii(joined);
    for (const std::string& key : m_configErrors->Keys()) {
      if (haystack.find(UpperAscii(key + "-")) != std::string::npos) continue;
      m_configErrors->Remove(key);
      Trace("CleanConfigErrors: Removing Configuration Errors for " + key);
    }
  });
}

void MonitorManager::UpdateHeartbeats(std::string_view moduleName, std::string_view errorText) {
  Guard("MonitorManager.UpdateHeartbeats: ", [&] {
    const std::string folder = m_homeDirectory + "/Serialize/";
    try {
      if (!FileExists(folder)) Platform::Current().GetFileSystem().CreateDirectories(folder);
    } catch (...) {
      // The write below reports it.
    }
    const std::string file = folder + "MonitorHeartbeats.SER";
    const std::string error = OneLine(errorText);
    const std::string date = DateTimeConverter::ToUniversalText(UTCNow());
    if (!WritePrivateProfileString(moduleName, "HBDate", date, file)) {
      RaiseLibraryError("Could not write to Module Heartbeats file (1)");
    }
    if (!WritePrivateProfileString(moduleName, "CurrentError", error, file)) {
      RaiseLibraryError("Could not write to Module Heartbeats file (2)");
    }
  });
}

namespace {

// The configuration error file lives beside the state and form files, found as they are.
SerializedFileFolder ConfigErrorFolder(std::string_view serializeLocation) {
  SerializedFileFolder folder;
  folder.SetLocation(serializeLocation);
  return folder;
}

}  // namespace

void MonitorManager::LoadConfigurationErrors(std::string_view moduleName) {
  Guard("MonitorManager.LoadConfigurationErrors: ", [&] {
    if (!m_configErrors) m_configErrors = std::make_shared<ScriptingDictionary>();
    m_configErrors->RemoveAll();
    Trace("LoadConfigurationErrors: Cleared Configuration Errors for " + std::string(moduleName));
    const std::string file = ConfigErrorFolder(m_serializeLocation).FilePath("CE", moduleName);
    // A module that never had an error has no file; that is no failure.
    const std::string content =
        ReadSerializedFile(file, m_logManager, "LoadConfigurationErrors: ", m_monitorName).value_or(std::string());
    for (const std::string_view line : FileLines(content)) {
      const size_t equals = line.find('=');
      if (equals == std::string_view::npos || equals == 0) continue;
      // A key written twice is a damaged file: Add raises, and the handler reports it.
      m_configErrors->Add(line.substr(0, equals), Value(ReplaceText(line.substr(equals + 1), kFileLineBreak, kCrLf)));
    }
    Trace("LoadConfigurationErrors: Loaded Configuration Errors for " + std::string(moduleName));
  });
}

void MonitorManager::SaveConfigurationErrors(std::string_view moduleName) {
  Guard("MonitorManager.SaveConfigurationErrors: ", [&] {
    const SerializedFileFolder folder = ConfigErrorFolder(m_serializeLocation);
    FileSystem& files = Platform::Current().GetFileSystem();
    try {
      files.CreateDirectories(folder.Location());
    } catch (...) {
      // The write below reports it.
    }
    StringBuilder text;
    if (m_configErrors) {
      m_configErrors->ForEach([&](std::string_view key, const Value& item) {
        if (key.empty()) return;
        text.Append(key).Append("=").Append(ReplaceText(item.ToText(), kCrLf, kFileLineBreak)).Append(kCrLf);
      });
    }
    // Always rewritten; with no errors the file is empty. Replaced whole, never half.
    files.WriteFileAtomic(folder.FilePath("CE", moduleName), text.Text());
  });
}

}  // namespace korad
