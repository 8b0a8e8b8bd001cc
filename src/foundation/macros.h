// Macros in configuration values, expanded when a value is read:
//   [?mvEnvVar.NAME]          an environment variable, or nothing
//   [?mvRegistry.PATH]        a registry value (see ReadRegistryValue), or nothing
//   [?mvDateOffset,I,N]       shifts the date of the date tokens by N intervals I (DateAdd codes)
//   [?mvDate.MM|M|DD|D|YYYY|YY]  parts of the (shifted) local date
//   [?mvDate.WDL|WDS]         today's weekday name, long or short; never shifted
//   [?mvProperty.NAME]        the GLOBAL.NAME property of Module.pro (ReplaceProperties)
// Tokens match case-sensitively (only WDL and WDS ignore case), nothing is escaped and
// tokens don't nest.
//
// Every function works in place on a Value holding a string. A Value of another kind can
// hold no token, so it is left as it is, kind included; callers only pass strings.
//
// The cut-and-join steps find positions in the text as it stands but cut the pieces from
// a copy trimmed of blanks, so a text with leading blanks is cut off by as many
// characters (and may raise 5 when a piece's length comes out negative). Values written
// by the server carry no leading blanks; the behaviour is kept as plug-ins know it.
#pragma once

#include <string>
#include <string_view>

#include "contracts/interfaces.h"
#include "contracts/value.h"

namespace korad {

class ScriptingDictionary;

// ExpandEnvVars, ExpandRegistry and ExpandDates in this order, so an environment
// variable may carry a registry or date macro. Errors of the date stage pass to the caller.
void ExpandMacros(Value& text);

// Replaces each [?mvEnvVar.NAME] by the variable's value; an unset or empty variable
// removes the token. A value holding a token is expanded on the next pass.
// A token without its "]" is found again and again: this never returns. Configuration
// files come from the server, which closes its tokens, and no guard is wanted here.
void ExpandEnvVars(Value& text);

// Replaces each [?mvRegistry.PATH] by ReadRegistryValue(PATH). A token without its "]"
// cuts the text off where the token starts, so this stage always ends.
void ExpandRegistry(Value& text);

// Expands the date tokens against the local time now. Only the first [?mvDateOffset]
// counts and is removed; later ones, and one missing a "," or the "]", stay in the text.
// A bad interval raises 5, a bad number 13 (both from the date arithmetic and the
// number conversion), a date out of range 6.
void ExpandDates(Value& text);

// Replaces [?mvProperty.NAME] by the value of the property "GLOBAL." + upper-cased NAME of
// `properties` (a map from LoadProperties); a token without such a property stays as
// written. The search goes on behind the start of the last hit, so a value that begins
// with its own token ends after one replacement. The three names only label the trace,
// which goes to `logManager` under the module's name at level 7.
void ReplaceProperties(Value& text, std::string_view section, std::string_view configurationName,
                       std::string_view moduleName, ScriptingDictionary& properties,
                       const LogManagerRef& logManager);

// The value at `path`, "[{Encrypt}]HIVE\Sub\Key!ValueName", always as plain text. Only
// string and 32-bit values are read (a 32-bit value as its signed decimal text); anything
// else, and every failure to open or query, reads as blank. A value stored as cipher text
// is decrypted; with "{Encrypt}" a string value that isn't scheme 4 cipher text is
// rewritten as scheme 4 cipher text (a 32-bit value can't hold one and stays; a missing
// value isn't created). The first "{mvCargo...}" marker is removed from
// the result. The prefix "{Encrypt}" is removed from `path`. Errors of the encrypter pass
// to the caller.
std::string ReadRegistryValue(std::string& path);

}  // namespace korad
