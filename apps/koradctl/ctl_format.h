// Everything koradctl prints, in one place, so that the forms stay stable: one line per
// item, fields divided by " | ", control characters never reaching the terminal raw.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>

#include "incident_reader.h"

namespace korad {
class ConnectorMessage;
class IncidentForm;
class OleDate;
}  // namespace korad

namespace korad::ctl {

// The text on one line: CR and LF as "\r" and "\n", other control bytes as "\xNN".
std::string OneLine(std::string_view text);
// "YYYY-MM-DDTHH:MM:SSZ" of a UTC date; "-" for none.
std::string UniversalTime(OleDate utc);

// "ID | COUNT | FOLDER"; a negative count is a missing folder.
void WriteQueueLine(std::ostream& out, std::string_view id, int64_t count, std::string_view folder);

// The header line of a message and its body, each body line indented by two blanks;
// CR LF ends a line, other control bytes but tab show as "\xNN".
void WriteMessage(std::ostream& out, size_t position, const ConnectorMessage& message);

// "TIME | STATUS | RESOURCE | CONDITION | KEY=VALUE, ..." ("-" when there are none);
// with `verbose`, a line "    NAME=VALUE" for each attribute below it.
void WriteIncident(std::ostream& out, const IncidentSummary& incident, bool verbose);

void WriteStateFileLine(std::ostream& out, std::string_view path, bool exists, size_t itemCount);
void WriteStateItem(std::ostream& out, std::string_view configuration, std::string_view key, std::string_view value);
void WriteFormFileLine(std::ostream& out, std::string_view path, bool exists, size_t formCount);
// The form's line and one line per custom attribute.
void WriteForm(std::ostream& out, size_t position, const IncidentForm& form);

// The module's line, then one line per line of the current error ("***mvCrLf***"
// read back as a line end), trailing empty lines left out.
void WriteHeartbeat(std::ostream& out, std::string_view module, std::string_view date, std::string_view error);

}  // namespace korad::ctl
